#include "Overlay/HotkeyAction.h"
#include "Overlay/OverlayKeyDecoder.h"
#include "Platform/KeyEvent.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using KeyboardShortcuts::Shortcut;

namespace {

class HotkeyActionTest : public test::ShortcutPackageTest {};

// Names round-trip; only the trigger is system-wide (a default, no overlay input).
TEST_F(HotkeyActionTest, NamesRoundTripAndOnlyTheTriggerIsSystemWide)
{
    for (HotkeyAction action : allHotkeyActions()) {
        EXPECT_EQ(hotkeyActionFromRawValue(rawValue(action)), action);
        EXPECT_EQ(nameFor(action).rawValue, rawValue(action));
        EXPECT_EQ(nameFor(action).defaultShortcut.has_value(), action == HotkeyAction::trigger);
        EXPECT_EQ(overlayInput(action).has_value(), action != HotkeyAction::trigger);
    }
    EXPECT_EQ(hotkeyActionFromRawValue("Trigger"), std::nullopt);
    EXPECT_EQ(nameFor(HotkeyAction::trigger).defaultShortcut, Shortcut(36, 256));
}

} // namespace
