#include "Overlay/HotkeyAction.h"
#include "Overlay/OverlayKeyDecoder.h"
#include "Platform/KeyEvent.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using KeyboardShortcuts::Shortcut;

namespace {

class HotkeyActionTest : public test::ShortcutPackageTest {};

TEST_F(HotkeyActionTest, CasesRawValuesTitlesAndNames)
{
    const auto& all = allHotkeyActions();
    ASSERT_EQ(all.size(), 17u);
    EXPECT_EQ(all.front(), HotkeyAction::trigger);
    EXPECT_EQ(all.back(), HotkeyAction::resizeRemoveRow);
    for (HotkeyAction action : all) {
        EXPECT_EQ(hotkeyActionFromRawValue(rawValue(action)), action);
        EXPECT_EQ(nameFor(action).rawValue, rawValue(action));
        // Only the trigger's name carries a default, and only the trigger has no overlay input.
        EXPECT_EQ(nameFor(action).defaultShortcut.has_value(), action == HotkeyAction::trigger);
        EXPECT_EQ(overlayInput(action).has_value(), action != HotkeyAction::trigger);
        EXPECT_EQ(builtInBinding(action).has_value(), action != HotkeyAction::trigger);
    }
    EXPECT_EQ(hotkeyActionFromRawValue("Trigger"), std::nullopt);
    EXPECT_EQ(displayTitle(HotkeyAction::trigger), "Toggle overlay");
    EXPECT_EQ(displayTitle(HotkeyAction::resizeRemoveColumn), "Remove column from grid");
    EXPECT_EQ(nameFor(HotkeyAction::trigger).defaultShortcut, Shortcut(36, 256));
}

TEST_F(HotkeyActionTest, BuiltInBindingsAreWhatTheFixedTableDecodes)
{
    EXPECT_EQ(builtInBinding(HotkeyAction::resizeRemoveRow), Shortcut(126, 0x800));
    EXPECT_EQ(builtInBinding(HotkeyAction::crossDisplayNext)->description(), "Shift+Super+Right");
    // The Shortcuts pane shows these bindings; they must be exactly the keys the overlay answers to.
    for (HotkeyAction action : allHotkeyActions()) {
        if (const auto binding = builtInBinding(action)) {
            EXPECT_EQ(decodeOverlayKey(std::uint16_t(binding->carbonKeyCode), binding->modifiers()),
                      overlayInput(action))
                << rawValue(action).toStdString();
        }
    }
}

TEST(OverlayInputText, NamesCaseAndPayload)
{
    EXPECT_EQ(toString(OverlayInput::navigate(Direction::right)), "navigate(right)");
    EXPECT_EQ(toString(OverlayInput::extend(Direction::up)), "extend(up)");
    EXPECT_EQ(toString(OverlayInput::resizeGrid(GridResize::addColumn)), "resizeGrid(addColumn)");
    EXPECT_EQ(toString(OverlayInput::dismiss()), "dismiss");
    EXPECT_EQ(toString(OverlayInput::crossDisplayPrevious()), "crossDisplayPrevious");
}

} // namespace
