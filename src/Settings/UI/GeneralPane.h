#pragma once

#include "Platform/LoginItemService.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Screen.h"
#include "Preferences/PreferencesStore.h"
#include "Settings/GeneralSettings.h"

#include <QFrame>
#include <QList>
#include <QWidget>
#include <optional>
#include <vector>

class QCheckBox;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace mosaro {

class LabeledStepper;

// One display's grid in per-display mode: its name (marked when not connected), a reset to the
// global grid, and its columns and rows.
class DisplayGridSection : public QFrame {
    Q_OBJECT
public:
    DisplayGridSection(PreferencesStore& store, ScreenEntry entry, QWidget* parent = nullptr);

    const ScreenEntry& entry() const { return m_entry; }
    LabeledStepper* columns() const { return m_columns; }
    LabeledStepper* rows() const { return m_rows; }
    QPushButton* resetButton() const { return m_reset; }
    // "(not connected)", absent for a connected display.
    QLabel* notConnectedLabel() const { return m_notConnected; }

    // Shows the store's values.
    void refresh();

private:
    PreferencesStore& m_store;
    ScreenEntry m_entry;
    LabeledStepper* m_columns = nullptr;
    LabeledStepper* m_rows = nullptr;
    QPushButton* m_reset = nullptr;
    QLabel* m_notConnected = nullptr;
};

// The General tab: start at login, the grids (one for all displays or one per display), the
// margin, and the legal pages. Every edit is written through the store at once.
class GeneralPane : public QWidget {
    Q_OBJECT
public:
    GeneralPane(PreferencesStore& store, ScreenList& screens, NotificationCenter& defaultCenter,
                LoginItemService& loginItems, QWidget* parent = nullptr);
    ~GeneralPane() override;

    QCheckBox* launchAtLoginSwitch() const { return m_launchAtLogin; }
    QCheckBox* perDisplaySwitch() const { return m_perDisplay; }
    LabeledStepper* columnsStepper() const { return m_columns; }
    LabeledStepper* rowsStepper() const { return m_rows; }
    LabeledStepper* marginStepper() const { return m_margin; }
    QLabel* noDisplaysLabel() const { return m_noDisplays; }
    QList<DisplayGridSection*> displaySections() const;
    QList<QLabel*> legalLinkLabels() const { return m_links; }
    // How often the display list was rebuilt for a change of the attached displays.
    int refreshTick() const { return m_refreshTick; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void refreshFromStore();
    void rebuildGrid();
    std::vector<ScreenEntry> currentDisplayList() const;
    void editProSettings(const std::function<void(ProSettings&)>& edit);

    PreferencesStore& m_store;
    ScreenList& m_screens;
    NotificationCenter& m_center;
    LaunchAtLoginSwitch m_loginSwitch;
    std::optional<NotificationCenter::Token> m_screensObserver;
    int m_refreshTick = 0;

    QCheckBox* m_launchAtLogin = nullptr;
    QCheckBox* m_perDisplay = nullptr;
    QWidget* m_gridBody = nullptr;
    QVBoxLayout* m_gridLayout = nullptr;
    LabeledStepper* m_columns = nullptr;
    LabeledStepper* m_rows = nullptr;
    QLabel* m_noDisplays = nullptr;
    QWidget* m_displayList = nullptr;
    LabeledStepper* m_margin = nullptr;
    QList<QLabel*> m_links;

    // What the grid section was last built for.
    std::optional<bool> m_builtForPerDisplay;
    std::vector<ScreenEntry> m_builtDisplays;
};

} // namespace mosaro
