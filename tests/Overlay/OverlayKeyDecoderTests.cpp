#include "Overlay/OverlayKeyDecoder.h"
#include "Platform/KeyEvent.h"
#include "support/KeyCodes.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using KeyboardShortcuts::Key;
using KeyboardShortcuts::Shortcut;
namespace Flag = ModifierFlag;

namespace {

using namespace test::keys;
constexpr std::uint16_t space = 49;

class OverlayKeyDecoderTest : public test::ShortcutPackageTest {};

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
