#include "Diagnostics/Log/Log.h"
#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"
#include "KeyboardShortcuts/HotkeyRegistry.h"
#include "Platform/KeyEvent.h"
#include "support/LogLines.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::KeyboardShortcuts;

namespace {

constexpr std::uint32_t cmd = 0x100;

class HotkeyRegistrationTest : public test::ShortcutPackageTest {
protected:
    void SetUp() override
    {
        ShortcutPackageTest::SetUp();
        trigger = nameFor(HotkeyAction::trigger);
        registry.subscribeTrigger(trigger, [this] { ++triggerPresses; });
    }
    std::uint32_t liveId() const { return hotKeys.liveRegistrations().at(0).id.id; }
    // The lifecycle errors about refused hotkeys.
    static QStringList refusals()
    {
        return test::loggedMessages(QStringLiteral("lifecycle"), true)
            .filter(QStringLiteral("error: Error registering"));
    }

    HotkeyRegistry registry;
    Name trigger;
    int triggerPresses = 0;
};

TEST_F(HotkeyRegistrationTest, PresenterStartingTwiceSubscribesOnce)
{
    registry.subscribeTrigger(trigger, [this] { triggerPresses += 100; });
    EXPECT_EQ(hotKeys.pressHotKey(36, cmd), HotKeyStatus::noErr);
    EXPECT_EQ(triggerPresses, 1);
    EXPECT_EQ(hotKeys.installCount, 1);

    // Release events go to key-up subscribers only.
    int releases = 0;
    onKeyUp(trigger, [&] { ++releases; });
    hotKeys.pressHotKey(36, cmd, /*down*/ false);
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(triggerPresses, 1);
}

TEST_F(HotkeyRegistrationTest, ChangingTheTriggerMovesItsSingleRegistration)
{
    setShortcut(Shortcut(36, 256), trigger);
    ASSERT_EQ(hotKeys.live.size(), 1u);
    EXPECT_EQ(liveId(), 2u); // ids are never reused

    const Shortcut optionControlT(Key::t, ModifierFlag::control | ModifierFlag::option);
    setShortcut(optionControlT, trigger);
    ASSERT_EQ(hotKeys.live.size(), 1u);
    EXPECT_EQ(hotKeys.pressHotKey(36, cmd), HotKeyStatus::eventNotHandled);
    // An overlay action sharing the keys is no subscriber: one press, one action.
    storeActionShortcut(optionControlT, nameFor(HotkeyAction::confirm));
    EXPECT_EQ(hotKeys.pressHotKey(17, 0x1800), HotKeyStatus::noErr);
    EXPECT_EQ(triggerPresses, 1);
}

TEST_F(HotkeyRegistrationTest, RefusedOrOutOfRangeRegistrationLeavesTheTriggerInactive)
{
    hotKeys.failWith = HotKeyStatus::hotKeyExists;
    Log::Store::shared().clear();
    testing::internal::CaptureStdout();
    setShortcut(Shortcut(36, 256), trigger);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error registering hotkey Super+Return: -9878\n");
    // The same line as an error of the lifecycle category, once, in the package's notation.
    EXPECT_EQ(refusals(),
              QStringList{QStringLiteral("error: Error registering hotkey %1: -9878 (another program holds this "
                                         "combination)")
                              .arg(Shortcut(36, 256).description())});
    EXPECT_TRUE(hotKeys.live.empty());
    EXPECT_EQ(storedValue(HotkeyAction::trigger), QVariant(test::triggerDefaultJson));
    enable(trigger); // counts as registered: no retry
    EXPECT_EQ(hotKeys.registerCalls.size(), 2u);

    hotKeys.failWith = HotKeyStatus::noErr;
    setShortcut(Shortcut(36, 256), trigger);
    EXPECT_EQ(hotKeys.pressHotKey(36, cmd), HotKeyStatus::noErr);
    EXPECT_EQ(triggerPresses, 1);

    Log::Store::shared().clear();
    setShortcut(Shortcut(std::int64_t(1) << 33, 256), trigger);
    setShortcut(Shortcut(36, -1), trigger);
    EXPECT_EQ(hotKeys.registerCalls.size(), 3u);
    EXPECT_EQ(Log::Store::shared().entries().size(), 2u);
}

// An open menu holds the keyboard: the hotkeys rest until it closes, then come back under their
// own ids; one refused on the way back is dropped for good. Switching the package off wins.
TEST_F(HotkeyRegistrationTest, MenuTrackingSuspendsTheHotkeysUntilTheMenuCloses)
{
    center.post(PlatformNotifications::menuDidBeginTracking);
    EXPECT_TRUE(hotKeys.live.empty());
    EXPECT_FALSE(hotKeys.receives(HotKeyEventKind::hotKeyPressed));
    EXPECT_EQ(hotKeys.pressHotKey(36, cmd), HotKeyStatus::eventNotHandled);

    center.post(PlatformNotifications::menuDidEndTracking);
    EXPECT_EQ(liveId(), 1u);
    EXPECT_EQ(hotKeys.pressHotKey(36, cmd), HotKeyStatus::noErr);
    EXPECT_EQ(triggerPresses, 1);

    center.post(PlatformNotifications::menuDidBeginTracking);
    hotKeys.failWith = HotKeyStatus::hotKeyExists;
    Log::Store::shared().clear();
    testing::internal::CaptureStdout();
    center.post(PlatformNotifications::menuDidEndTracking);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Error registering hotkey Super+Return: -9878\n");
    EXPECT_EQ(refusals().size(), 1);
    hotKeys.failWith = HotKeyStatus::noErr;
    center.post(PlatformNotifications::menuDidBeginTracking);
    center.post(PlatformNotifications::menuDidEndTracking);
    EXPECT_TRUE(hotKeys.live.empty());

    // Switched off while a menu tracks: its closing brings nothing back, switching on does.
    setShortcut(Shortcut(36, 256), trigger);
    center.post(PlatformNotifications::menuDidBeginTracking);
    setEnabled(false);
    EXPECT_TRUE(hotKeys.eventTypes.empty());
    center.post(PlatformNotifications::menuDidEndTracking);
    EXPECT_TRUE(hotKeys.live.empty());
    setEnabled(true);
    EXPECT_EQ(hotKeys.pressHotKey(36, cmd), HotKeyStatus::noErr);
    EXPECT_EQ(triggerPresses, 2);
}

TEST_F(HotkeyRegistrationTest, HandlerIgnoresEventsThatAreNotOurs)
{
    test::FakeHotKeyEvent event;
    EXPECT_EQ(hotKeys.deliver(nullptr), HotKeyStatus::eventNotHandled);
    event.eventKind = HotKeyEventKind::hotKeyPressed;
    EXPECT_EQ(hotKeys.deliver(&event), HotKeyStatus::eventParameterNotFound);
    event.id = EventHotKeyID{fourCharCode("XXXX"), 1};
    EXPECT_EQ(hotKeys.deliver(&event), HotKeyStatus::eventNotHandled);
    event.id = EventHotKeyID{hotKeySignature, 99};
    EXPECT_EQ(hotKeys.deliver(&event), HotKeyStatus::eventNotHandled);
    event.id = EventHotKeyID{hotKeySignature, 1};
    event.eventKind = 1; // a plain key down: never asked for
    EXPECT_EQ(hotKeys.deliver(&event), HotKeyStatus::eventNotHandled);
    EXPECT_EQ(triggerPresses, 0);
}

} // namespace
