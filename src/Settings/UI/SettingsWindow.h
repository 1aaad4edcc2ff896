#pragma once

#include "Permission/OnboardingPresenter.h"
#include "Permission/PermissionGate.h"
#include "Platform/LoginItemService.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Screen.h"
#include "Platform/System.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesStore.h"
#include "Settings/AboutSettings.h"
#include "Settings/SettingsPane.h"
#include "Updates/UpdaterController.h"

#include <QPointer>
#include <QWidget>
#include <optional>

class QTabWidget;

namespace mosaro {

class AboutPane;
class GeneralPane;
class ShortcutsPane;

// What the settings window works with; all of it outlives the window.
struct SettingsEnvironment {
    NotificationCenter& defaultCenter;
    ScreenList& screens;
    LoginItemService& loginItems;
    UpdaterController& updater;
    PermissionGate& gate;
    Scheduler& scheduler;
    OnboardingPresenter& onboarding;
    BundleFacts bundle;
    QString preferencesPath = preferencesFileURL();
};

// The settings window: General, Shortcuts and About as tabs in a fixed 580 x 600 content area,
// titled after the selected tab. It owns the preferences store the General tab edits and keeps it
// in step with what the overlay writes.
class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int contentWidth = 580;
    static constexpr int contentHeight = 600;

    explicit SettingsWindow(const SettingsEnvironment& environment, QWidget* parent = nullptr);
    ~SettingsWindow() override;

    SettingsPane selectedPane() const;
    void selectPane(SettingsPane pane);

    PreferencesStore& preferencesStore() { return m_store; }
    GeneralPane* generalPane() const { return m_general; }
    ShortcutsPane* shortcutsPane() const { return m_shortcuts; }
    AboutPane* aboutPane() const { return m_about; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    NotificationCenter& m_center;
    PreferencesStore m_store;
    QTabWidget* m_tabs = nullptr;
    GeneralPane* m_general = nullptr;
    ShortcutsPane* m_shortcuts = nullptr;
    AboutPane* m_about = nullptr;
    std::optional<NotificationCenter::Token> m_paneObserver;
    std::optional<NotificationCenter::Token> m_diskObserver;
};

// The one settings window of the application: opens it, or brings it to the front, and keeps a
// pane asked for while it is closed for its next opening.
class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    explicit SettingsWindowController(SettingsEnvironment environment, QObject* parent = nullptr);
    ~SettingsWindowController() override;

    void show();
    SettingsWindow* window() const { return m_window; }

private:
    SettingsEnvironment m_env;
    QPointer<SettingsWindow> m_window;
    std::optional<SettingsPane> m_pendingPane;
    NotificationCenter::Token m_paneObserver = 0;
};

} // namespace mosaro
