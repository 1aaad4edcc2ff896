// Every text the product is fixed to say, byte for byte, against what the code says: the log
// lines and intervals, the keys and names others read, and the labels of every window and menu.
#include "App/CommandLine.h"
#include "App/MenuContent.h"
#include "Diagnostics/DiagnosticsReport.h"
#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "Permission/PermissionState.h"
#include "Permission/UI/OnboardingWidget.h"
#include "Permission/UI/PermissionStatusBadge.h"
#include "Platform/HostTexts.h"
#include "Settings/SettingsPane.h"
#include "Shortcuts/ShortcutConflict.h"
#include "support/ApplicationEnvironment.h"
#include "support/FakeOverlayPlatform.h"
#include "support/SettingsWindowFixture.h"

#include <QAbstractButton>
#include <QGroupBox>
#include <QLabel>
#include <QTabWidget>
#include <QTextDocument>

using namespace mosaro;
using namespace mosaro::test;
namespace M = mosaro::LogMessages;

MOSARO_APPLICATION_ENVIRONMENT(QApplication);

namespace {

// Every text a window shows a person: labels (as plain text), buttons, tooltips, titles.
QStringList shownTexts(const QWidget* root)
{
    QStringList out{root->windowTitle()};
    for (const QWidget* w : root->findChildren<const QWidget*>()) {
        out << w->toolTip();
        if (const auto* label = qobject_cast<const QLabel*>(w)) {
            QTextDocument doc;
            doc.setHtml(label->text());
            out << label->text() << doc.toPlainText();
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(w)) {
            out << button->text();
        } else if (const auto* box = qobject_cast<const QGroupBox*>(w)) {
            out << box->title();
        } else if (const auto* tabs = qobject_cast<const QTabWidget*>(w)) {
            for (int i = 0; i < tabs->count(); ++i)
                out << tabs->tabText(i);
        }
    }
    return out;
}

struct Row {
    const char* name;
    QString expected;
    QString produced;
};

// A text shown somewhere in the window: the row produces it when it is there.
Row shown(const char* name, const QStringList& texts, const QString& expected)
{
    return {name, expected, texts.contains(expected) ? expected : QStringLiteral("<not shown>")};
}

class SystemTexts : public SettingsWindowTest {};

TEST_F(SystemTexts, EveryFixedTextIsWhatTheCodeProduces)
{
    const KeyboardShortcuts::Shortcut commandT(17, 256);
    std::vector<Row> rows{
        // lifecycle
        {"log didFinishLaunching", "applicationDidFinishLaunching — wiring up presenter", M::didFinishLaunching},
        {"log presenterStarted", "presenter.start() called; trigger hotkey should be live", M::presenterStarted},
        {"log willTerminate", "applicationWillTerminate — tearing down presenter", M::willTerminate},
        {"log registeredLoginItem", "Registered Mosaro as a login item", M::registeredLoginItem},
        {"log unregisteredLoginItem", "Unregistered Mosaro as a login item", M::unregisteredLoginItem},
        {"log loginItemFailed", "Failed to set launch-at-login to %{bool}d: %s", M::loginItemFailed},
        // overlay
        {"log presenterStart", "OverlayPresenter.start — subscribing to trigger", M::presenterStart},
        {"log triggerWhileVisible", "trigger while visible — dismissing", M::triggerWhileVisible},
        {"log triggerBlockedPermission", "trigger blocked: permission %s", M::triggerBlockedPermission},
        {"log axPermissionMissing", "AX permission missing at resolve time", M::axPermissionMissing},
        {"log resolveFailed", "resolve failed: %s", M::resolveFailed},
        {"log noFocusedWindow", "no focused window resolved — beeping", M::noFocusedWindow},
        {"log notTileable",
         "trigger blocked: window not tileable (fullscreen=%{bool,public}d minimized=%{bool,public}d "
         "resizable=%{bool,public}d)",
         M::notTileable},
        {"log overlayShow", "overlay show: window=%{private}s display=%s", M::overlayShow},
        {"log panelPresented",
         "panel presented: frame=%s isKey=%{bool,public}d isVisible=%{bool,public}d screen=%{public}s",
         M::panelPresented},
        {"log keyDown", "keyDown keyCode=%hu shift=%{bool}d cmd=%{bool}d opt=%{bool}d → %s", M::keyDown},
        {"log commitMove", "commit move: window=%{private}s → %s", M::commitMove},
        {"log commitNotResizable", "commit failed: window not resizable (%s)", M::commitNotResizable},
        {"log commitFailed", "commit failed: %s", M::commitFailed},
        {"log crossDisplayJump", "cross-display jump (%{public}s): %{public}s → %{public}s", M::crossDisplayJump},
        {"log crossDisplaySingle", "cross-display jump requested but only one display is connected",
         M::crossDisplaySingle},
        {"log persistedGlobalResize", "persisted global resize: %ld×%ld", M::persistedGlobalResize},
        {"log persistedDisplayResize", "persisted resize for display '%{public}s': %ld×%ld", M::persistedDisplayResize},
        {"log persistResizeFailed", "failed to persist resize: %s", M::persistResizeFailed},
        {"log overlayDismiss", "overlay dismiss", M::overlayDismiss},
        {"log spaceChanged", "active space changed while overlay visible — dismissing", M::spaceChanged},
        {"log displaysChanged", "display configuration changed while overlay visible — dismissing", M::displaysChanged},
        {"log resignedKey", "overlay resigned key (focus lost) — dismissing", M::resignedKey},
        // permission, preferences, window manager, onboarding
        {"log permissionState", "permission state → %{public}s", M::permissionState},
        {"log migratingV1", "Migrating preferences v1 → v2", M::migratingV1},
        {"log unknownVersion", "Unknown preferences version %ld; returning defaults", M::unknownVersion},
        {"log newerVersion",
         "preferences schemaVersion=%ld is newer than supported (%ld); using defaults without overwriting file",
         M::newerVersion},
        {"log persistFailed", "Failed to persist preferences: %s", M::persistFailed},
        {"log noFrontmostApp", "resolve nil: no frontmost application", M::noFrontmostApp},
        {"log selfFrontmost", "resolve nil: Mosaro itself is frontmost", M::selfFrontmost},
        {"log noAXFocusedWindow", "resolve nil: frontmost app has no AX focused window", M::noAXFocusedWindow},
        {"log frameUnreadable", "resolve nil: window frame unreadable", M::frameUnreadable},
        {"log axSetFailed", "AX set %{public}s failed: %d", M::axSetFailed},
        {"log restoringFrame", "move failed mid-sequence — restoring original frame", M::restoringFrame},
        {"log onboardingSkipped", "onboarding skipped — permission already granted", M::onboardingSkipped},
        {"log showingOnboarding", "showing onboarding — permission not granted", M::showingOnboarding},
        {"interval show", "sc-001 show-overlay", M::showOverlayInterval},
        {"interval highlight", "sc-002 highlight-update", M::highlightUpdateInterval},
        {"interval commit", "sc-002a commit-move", M::commitMoveInterval},
        // keys, names and files others read
        {"log subsystem", "tech.brenmark.mosaro", Log::subsystem},
        {"report categories", "lifecycle overlay permission preferences windowmanager perf",
         Log::reportCategories().join(' ')},
        {"onboarding category", "onboarding", Log::onboarding().category()},
        {"defaults key prefix", "KeyboardShortcuts_trigger",
         KeyboardShortcuts::userDefaultsKey(nameFor(HotkeyAction::trigger))},
        {"stored shortcut", R"({"carbonKeyCode":17,"carbonModifiers":256})",
         KeyboardShortcuts::encodeShortcut(commandT)},
        {"prompt flag key", "tech.brenmark.mosaro.hasPromptedAccessibility", PermissionGate::promptFlagKey},
        {"preferences notification", "tech.brenmark.mosaro.preferencesDidChangeOnDisk",
         preferencesDidChangeOnDiskNotification},
        {"pane notification", "tech.brenmark.mosaro.openSettingsToPane", openSettingsToPaneNotification},
        {"pane key", "pane", openSettingsToPaneKey},
        {"preferences file", "/Mosaro/preferences.json",
         preferencesFileURL().right(int(qstrlen("/Mosaro/preferences.json")))},
        {"permission granted", "granted", toString(PermissionState::granted())},
        {"permission notDetermined", "notDetermined", toString(PermissionState::notDetermined())},
        {"report header", "Mosaro Diagnostics\n====================\n", DiagnosticsText::header},
        {"report no log", "(no Mosaro log entries in the last 5 min)", DiagnosticsText::noLogEntries},
        // the conflict alerts
        {"alert title", "Shortcut conflict",
         conflictAlertText(ShortcutConflict::withAction(HotkeyAction::confirm), commandT, "Move up").messageText},
        {"alert buttons", "Use Anyway|Cancel",
         conflictAlertText(ShortcutConflict::withAction(HotkeyAction::confirm), commandT, "Move up").buttons.join('|')},
        {"alert action",
         "Super+T is already assigned to “Confirm placement” in Mosaro. Using it for Move up will "
         "leave “Confirm placement” without a binding.",
         conflictAlertText(ShortcutConflict::withAction(HotkeyAction::confirm), commandT, "Move up").informativeText},
        {"alert system",
         "Super+T is also used by your desktop for Spotlight. Using it for Move up here may "
         "interfere with that system shortcut.",
         conflictAlertText(ShortcutConflict::withSystemShortcut("Spotlight"), commandT, "Move up").informativeText},
        {"badge granted", "Granted", PermissionStatusBadge::label(PermissionState::granted())},
        {"badge denied", "Not granted", PermissionStatusBadge::label(PermissionState::denied(true))},
        {"badge not asked", "Not requested yet", PermissionStatusBadge::label(PermissionState::notDetermined())},
        // what `mosaro --help` and `--version` print
        {"help",
         "Usage: mosaro [option]\n"
         "A keyboard-driven window tiler for X11 desktops.\n"
         "\n"
         "Without an option Mosaro starts in the system tray; when it already runs in this\n"
         "session, the running one shows its settings instead.\n"
         "\n"
         "Options:\n"
         "  --help         Show this help and exit.\n"
         "  --version      Print the version and exit.\n"
         "  --trigger      Ask the running Mosaro to open its grid on the focused window.\n"
         "  --quit         Ask the running Mosaro to quit.\n"
         "  --check        Check whether this desktop can run Mosaro, say what is missing, and exit.\n"
         "  --verbose      Log debug messages too, and echo the log on standard error.\n"
         "  --log-stderr   Echo the log on standard error.\n"
         "  --log-stdout   Echo the log on standard output.\n"
         "  --log-private  Show private values (window titles, paths) in the journal and the echoed log.\n",
         CommandLine::helpText()},
        {"version", "mosaro 1.2.3\n", CommandLine::versionText(QStringLiteral("1.2.3"))},
    };

    // Each action: its stored name and its title.
    const std::pair<const char*, const char*> actions[] = {
        {"trigger", "Toggle overlay"},
        {"navigateUp", "Move up"},
        {"navigateDown", "Move down"},
        {"navigateLeft", "Move left"},
        {"navigateRight", "Move right"},
        {"extendUp", "Extend up"},
        {"extendDown", "Extend down"},
        {"extendLeft", "Extend left"},
        {"extendRight", "Extend right"},
        {"confirm", "Confirm placement"},
        {"dismiss", "Dismiss overlay"},
        {"crossDisplayNext", "Jump to next display"},
        {"crossDisplayPrevious", "Jump to previous display"},
        {"resizeAddColumn", "Add column to grid"},
        {"resizeRemoveColumn", "Remove column from grid"},
        {"resizeAddRow", "Add row to grid"},
        {"resizeRemoveRow", "Remove row from grid"},
    };
    ASSERT_EQ(std::size(actions), allHotkeyActions().size());
    for (const auto& [raw, title] : actions) {
        const auto action = hotkeyActionFromRawValue(raw);
        rows.push_back({"action name", raw, action ? rawValue(*action) : QStringLiteral("<unknown>")});
        rows.push_back({"action title", title, action ? displayTitle(*action) : QStringLiteral("<unknown>")});
    }

    // The tray menu.
    AccessibilityStatusMonitor::shared().resetForTesting();
    AccessibilityStatusMonitor::shared().configure(&gate, &scheduler);
    FakeApplication application;
    const MenuContent content(AccessibilityStatusMonitor::shared(), updater, application, {});
    QStringList menu;
    for (const auto& entry : content.entries())
        menu << entry.title;
    AccessibilityStatusMonitor::shared().resetForTesting();
    for (const char* title :
         {"About Mosaro", "Settings…", "Check for Updates…", "Copy Diagnostics", "Report a Bug…", "Quit Mosaro"})
        rows.push_back(shown("menu", menu, title));

    // The settings window, pane by pane, with one display connected and one remembered.
    screens.add({0, 0, 1920, 1080}, "HDMI-1");
    Preferences prefs;
    prefs.proSettings.perDisplayMode = true;
    prefs.proSettings.perDisplayGrids.overrides = {{"Projector", {2, 1}}};
    ASSERT_TRUE(savePreferences(prefs, path));
    SettingsWindow& w = open();
    const QStringList general = shownTexts(&w);
    for (const char* text : {"Mosaro Settings - General",
                             "General",
                             "Shortcuts",
                             "About",
                             "Startup",
                             "Launch Mosaro at login",
                             "Displays",
                             "Use a different grid per display",
                             "When off, the same grid is used everywhere. When on, configure each display "
                             "individually below.",
                             "Grid",
                             "Columns",
                             "Rows",
                             "Margin",
                             "Uniform pixel gap between cells and around the screen edge.",
                             "Legal",
                             "Terms of Service",
                             "Privacy Policy",
                             "(not connected)",
                             "Reset",
                             "Use the global grid for this display"})
        rows.push_back(shown("general pane", general, text));
    w.selectPane(SettingsPane::shortcuts);
    const QStringList shortcuts = shownTexts(&w);
    for (const char* text :
         {"Mosaro Settings - Shortcuts", "System-wide",
          "The only shortcut that works from any app. All other shortcuts below only fire while the overlay is "
          "visible.",
          "Navigate", "Extend selection", "Confirm & dismiss", "Reset to Defaults", "Clear shortcut"})
        rows.push_back(shown("shortcuts pane", shortcuts, text));
    w.selectPane(SettingsPane::about);
    const QStringList about = shownTexts(&w);
    for (const char* text :
         {"Mosaro Settings - About", "Mosaro", "Bundle ID", "Updates", "Automatically check for updates",
          "Manual check", "Check for Updates…",
          "Updates are free for everyone and installed in place. Automatic checks run in the background about once "
          "a day.",
          "Permissions", "Welcome window", "Show again"})
        rows.push_back(shown("about pane", about, text));

    OnboardingWidget welcome;
    const QStringList welcomeTexts = shownTexts(&welcome);
    for (const char* text :
         {"Welcome to Mosaro", "What Mosaro does not see",
          "Window contents are never read. Keystrokes outside the shortcuts you configure are not captured. Nothing "
          "is sent anywhere — Mosaro works fully offline.",
          "Changing your mind later", "Not now"})
        rows.push_back(shown("welcome window", welcomeTexts, text));

    ASSERT_EQ(rows.size(), 151u);
    for (const Row& row : rows)
        EXPECT_EQ(row.produced.toStdString(), row.expected.toStdString()) << row.name;
}

// The Linux wordings of the host-text table have left the first platform's facilities behind.
TEST(HostTexts, NoLinuxWordingNamesTheFirstPlatform)
{
    int checked = 0;
    for (int i = 0; i <= int(HostText::permissionNotDeterminedTooltip); ++i, ++checked) {
        const QString text = hostText(HostText(i));
        EXPECT_FALSE(text.isEmpty()) << i;
        for (const char* word :
             {"macOS", "Mac", "System Settings", "Accessibility", "menu bar", "Dock", "⌘", "⌥", "⌃", "⇧"})
            EXPECT_FALSE(text.contains(QString::fromUtf8(word))) << text.toStdString() << " names " << word;
    }
    EXPECT_EQ(checked, 44);
}

} // namespace
