#include "Overlay/OverlayKeyDecoder.h"
#include "Platform/KeyEvent.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using KeyboardShortcuts::Key;
using KeyboardShortcuts::Shortcut;
namespace Flag = ModifierFlag;

namespace {

constexpr std::uint16_t returnKey = 36, keypadEnter = 76, escape = 53, space = 49, j = 38;
constexpr std::uint16_t left = 123, right = 124, down = 125, up = 126;
// Arrow events carry these by themselves; Caps Lock may be on at any time.
constexpr std::uint64_t arrowNoise = Flag::numericPad | Flag::function;

class OverlayKeyDecoderTest : public test::ShortcutPackageTest {
protected:
    void record(HotkeyAction action, Shortcut shortcut)
    {
        KeyboardShortcuts::storeActionShortcut(shortcut, nameFor(action));
    }
};

// Every listed binding is checked against the built-in table with the actions; here, the rest.
TEST_F(OverlayKeyDecoderTest, UnlistedCombinationsClaimNothing)
{
    EXPECT_EQ(decodeOverlayKey(keypadEnter, 0), OverlayInput::confirm());
    EXPECT_EQ(decodeOverlayKey(right, Flag::command), std::nullopt);
    EXPECT_EQ(decodeOverlayKey(up, Flag::control | Flag::shift), std::nullopt);
    EXPECT_EQ(decodeOverlayKey(up, Flag::command | Flag::shift), std::nullopt);
    EXPECT_EQ(decodeOverlayKey(returnKey, Flag::shift), std::nullopt);
    EXPECT_EQ(decodeOverlayKey(escape, Flag::option), std::nullopt);
    EXPECT_EQ(decodeOverlayKey(space, 0), std::nullopt);
}

TEST_F(OverlayKeyDecoderTest, CapsLockAndDeviceFlagsNeverChangeTheResult)
{
    const std::uint16_t keys[] = {returnKey, keypadEnter, escape, left, right, down, up, space};
    const std::uint64_t modifiers[] = {0, Flag::shift, Flag::option, Flag::command | Flag::shift, Flag::command};
    for (std::uint16_t key : keys) {
        for (std::uint64_t m : modifiers) {
            EXPECT_EQ(decodeOverlayKey(key, m | Flag::capsLock | arrowNoise | Flag::help | 0x1 | 0x100),
                      decodeOverlayKey(key, m))
                << key << " " << m;
        }
    }
}

TEST_F(OverlayKeyDecoderTest, TriggerAndUnreadableRecordsAreNotOverlayKeys)
{
    KeyboardShortcuts::setShortcut(Shortcut(Key::returnKey), nameFor(HotkeyAction::trigger));
    EXPECT_EQ(decodeOverlayKey(returnKey, 0), OverlayInput::confirm());

    defaults.values.insert("KeyboardShortcuts_navigateUp", "{\"carbonKeyCode\":38}");
    defaults.values.insert("KeyboardShortcuts_navigateLeft", 38);
    EXPECT_EQ(decodeOverlayKey(j, 0), std::nullopt);
    EXPECT_EQ(decodeOverlayKey(up, 0), OverlayInput::navigate(Direction::up));
}

} // namespace
