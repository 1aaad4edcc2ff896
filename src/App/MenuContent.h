#pragma once

#include "Permission/AccessibilityStatusMonitor.h"
#include "Platform/System.h"
#include "Updates/UpdaterController.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace mosaro {

// The tray menu's entries and what they do, without any widget: its two dynamic parts follow the
// permission monitor and the updater, and it says when they changed.
class MenuContent : public QObject {
    Q_OBJECT
public:
    enum class Item {
        about,
        permissionGranted,         // a dimmed label with a check mark
        openAccessibilitySettings, // shown instead of permissionGranted while not granted
        settings,
        checkForUpdates,
        copyDiagnostics,
        reportBug,
        quit,
    };

    struct Entry {
        std::optional<Item> item; // absent: a separator
        QString title;
        QString keyEquivalent; // in the desktop's notation, e.g. "Ctrl+Q"; empty for none
        bool enabled = true;
        bool actionable = true; // false for the permission label
        bool checkmark = false;

        bool isSeparator() const { return !item; }
        friend bool operator==(const Entry&, const Entry&) = default;
    };

    // What the entries do beyond what the menu does itself.
    struct Actions {
        std::function<void()> showAbout;
        std::function<void()> openAccessibilitySettings;
        std::function<void()> openSettings;
        std::function<void()> copyDiagnostics;
        std::function<void()> reportBug;
        std::function<void()> quit;
    };

    MenuContent(AccessibilityStatusMonitor& monitor, UpdaterController& updater, Application& application,
                Actions actions, QObject* parent = nullptr);

    // Top to bottom, separators included.
    std::vector<Entry> entries() const;
    // Runs an entry's action; disabled and non-actionable entries do nothing.
    void activate(Item item);

Q_SIGNALS:
    // An entry appeared, disappeared or changed its enabled state.
    void changed();

private:
    AccessibilityStatusMonitor& m_monitor;
    UpdaterController& m_updater;
    Application& m_application;
    Actions m_actions;
};

} // namespace mosaro
