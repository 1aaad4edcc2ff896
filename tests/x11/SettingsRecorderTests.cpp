// The Shortcuts pane's recorder on a real X server with a window manager: keys typed through
// XTEST into the trigger's row move the system-wide grab, and the new combination pressed in
// another window reaches the trigger's handler while the old one no longer does.

#include "support/KeyCodes.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Permission/OnboardingPresenter.h"
#include "Permission/PermissionGate.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/X11ScreenList.h"
#include "Platform/X11/XkbKeyboardLayout.h"
#include "Settings/UI/SettingsWindow.h"
#include "Settings/UI/ShortcutsPane.h"
#include "Shortcuts/UI/ShortcutRecorderWidget.h"
#include "support/EventLoopWait.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSettingsPlatform.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/x11/X11Session.h"
#include "support/x11/XTestKeyboard.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QThread>

#include <gtest/gtest.h>

#include <functional>

using namespace mosaro;
using namespace mosaro::test;

namespace {


// Whether another client may grab the combination on the root, that is, nobody holds it.
bool grabbable(const QString& display, std::uint16_t macKeyCode, std::uint64_t flags)
{
    X11Connection probe(display);
    const auto keycode = xcb_keycode_t(*evdevForMacKeyCode(macKeyCode) + x11KeycodeOffset);
    const auto cookie = xcb_grab_key_checked(probe.connection(), 0, probe.root(), x11ModifiersFromFlags(flags), keycode,
                                             XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    return probe.check(cookie).hasValue();
}

TEST(SettingsRecorderOnX11, RecordingANewTriggerMovesTheSystemWideGrab)
{
    X11Session session({1280, 900, QStringLiteral("openbox")});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    const auto other = session.startClient({"--title", "Notes", "--geometry", "400x300+700+80"});
    ASSERT_TRUE(other);

    qputenv("DISPLAY", session.displayName().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("XDG_DATA_HOME", session.tempPath().toLocal8Bit() + "/data");
    int argc = 1;
    char name[] = "mosaro_settings_x11_tests";
    char* argv[] = {name, nullptr};
    QApplication app(argc, argv);

    X11Connection connection(session.displayName());
    connection.attachToEventLoop();
    X11HotKeyService hotKeys(connection);
    XkbKeyboardLayout layout(connection);
    X11ScreenList screens(connection);
    X11AccessibilityTrust trust(connection);
    XTestKeyboard keyboard(session.connection());
    ASSERT_TRUE(keyboard.isAvailable());
    InMemoryDefaultsStore defaults;
    NotificationCenter center;
    KeyboardShortcuts::resetForTesting();
    KeyboardShortcuts::configure({&defaults, &hotKeys, &layout, &center});
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));
    int triggers = 0;
    KeyboardShortcuts::onKeyDown(nameFor(HotkeyAction::trigger), [&] { ++triggers; });

    // The default trigger works from another application's window.
    ASSERT_TRUE(session.activateWindow(other->window));
    ASSERT_TRUE(keyboard.sendKeyCombination(keys::returnKey, ModifierFlag::command));
    ASSERT_TRUE(waitFor([&] { return triggers == 1; })) << "Super+Return did not reach the trigger";
    EXPECT_FALSE(grabbable(session.displayName(), keys::returnKey, ModifierFlag::command));

    FakeLoginItems loginItems;
    FakeUpdateService updates;
    UpdaterController updater(updates);
    FakeUrlOpener urls;
    FakeScheduler scheduler;
    PermissionGate gate(trust, defaults, urls);
    {
        SettingsWindowController settings(SettingsEnvironment{center, screens, loginItems, updater, gate, scheduler,
                                                              OnboardingPresenter::shared(), BundleFacts{}});
        center.post(openSettingsToPaneNotification, nullptr, openSettingsToPaneUserInfo(SettingsPane::shortcuts));
        settings.show();
        SettingsWindow* window = settings.window();
        ASSERT_TRUE(waitFor([&] { return window->isActiveWindow(); })) << "the settings window did not get the focus";
        ShortcutRecorderWidget* trigger = window->shortcutsPane()->recorder(HotkeyAction::trigger);
        ASSERT_NE(trigger, nullptr);

        // The trigger's own keys are recorded, not answered.
        trigger->mainButton()->click();
        ASSERT_TRUE(keyboard.sendKeyCombination(keys::returnKey, ModifierFlag::command));
        ASSERT_TRUE(waitFor([&] { return !trigger->isRecording(); })) << "the recorder saw no key";
        EXPECT_EQ(trigger->controlText(), QStringLiteral("Super+Return"));
        EXPECT_EQ(triggers, 1);
        EXPECT_FALSE(grabbable(session.displayName(), keys::returnKey, ModifierFlag::command)) << "grabbed again";

        trigger->mainButton()->click();
        ASSERT_TRUE(trigger->isRecording());
        // Nothing is grabbed while the recorder listens: the old trigger reaches it as keys.
        EXPECT_TRUE(grabbable(session.displayName(), keys::returnKey, ModifierFlag::command));
        ASSERT_TRUE(keyboard.sendKeyCombination(keys::t, ModifierFlag::control | ModifierFlag::option));
        ASSERT_TRUE(waitFor([&] { return !trigger->isRecording(); })) << "the recorder saw no key";
        EXPECT_EQ(trigger->controlText(), QStringLiteral("Ctrl+Alt+T"));
        EXPECT_EQ(
            KeyboardShortcuts::getShortcut(nameFor(HotkeyAction::trigger)),
            KeyboardShortcuts::Shortcut(KeyboardShortcuts::Key(keys::t), ModifierFlag::control | ModifierFlag::option));
        EXPECT_EQ(triggers, 1);
        window->close();
    }

    // The grab moved: the new combination is ours, the old one free for anybody.
    EXPECT_FALSE(grabbable(session.displayName(), keys::t, ModifierFlag::control | ModifierFlag::option));
    EXPECT_TRUE(grabbable(session.displayName(), keys::returnKey, ModifierFlag::command));
    ASSERT_TRUE(session.activateWindow(other->window));
    ASSERT_TRUE(keyboard.sendKeyCombination(keys::t, ModifierFlag::control | ModifierFlag::option));
    EXPECT_TRUE(waitFor([&] { return triggers == 2; })) << "the new trigger did not fire";
    ASSERT_TRUE(keyboard.sendKeyCombination(keys::returnKey, ModifierFlag::command));
    waitFor([] { return false; }, 300);
    EXPECT_EQ(triggers, 2) << "the old trigger still fires";
    KeyboardShortcuts::resetForTesting();
}

} // namespace
