#include "Platform/KeyEvent.h"
#include "Shortcuts/ShortcutConflict.h"
#include "Shortcuts/ShortcutRecorder.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using KeyboardShortcuts::Key;
using KeyboardShortcuts::Shortcut;
namespace Flag = ModifierFlag;

namespace {

class ShortcutRecorderTest : public test::ShortcutPackageTest {
protected:
    std::optional<ShortcutConflict> conflictFor(Shortcut s, HotkeyAction row)
    {
        return findShortcutConflict(s.carbonKeyCode, s.carbonModifiers, nameFor(row));
    }
    // Answers every alert with `answer` and remembers what was asked.
    std::function<bool(const ShortcutConflict&)> answering(bool answer)
    {
        return [this, answer](const ShortcutConflict& c) {
            asked.push_back(c);
            return answer;
        };
    }
    std::optional<Shortcut> stored(HotkeyAction action) { return KeyboardShortcuts::getShortcut(nameFor(action)); }

    std::vector<ShortcutConflict> asked;
};

TEST_F(ShortcutRecorderTest, ConflictLookup)
{
    using C = ShortcutConflict;
    const Shortcut commandSpace(Key::space, Flag::command);
    EXPECT_EQ(conflictFor(commandSpace, HotkeyAction::confirm), C::withSystemShortcut("Spotlight"));
    EXPECT_EQ(conflictFor(Shortcut(Key::z, Flag::command | Flag::shift), HotkeyAction::confirm),
              C::withSystemShortcut("Redo"));
    // Fn is not a distinguishing modifier.
    EXPECT_EQ(conflictFor(Shortcut(Key::f3, Flag::function), HotkeyAction::confirm),
              C::withSystemShortcut("Mission Control"));
    EXPECT_EQ(conflictFor(Shortcut(Key::f3, Flag::shift), HotkeyAction::confirm), std::nullopt);

    // The trigger's stored default is another action's shortcut; its own row never conflicts.
    EXPECT_EQ(conflictFor(Shortcut(36, 256), HotkeyAction::confirm), C::withAction(HotkeyAction::trigger));
    EXPECT_EQ(conflictFor(Shortcut(36, 256), HotkeyAction::trigger), std::nullopt);

    const Shortcut optionUp(Key::upArrow, Flag::option);
    KeyboardShortcuts::storeActionShortcut(optionUp, nameFor(HotkeyAction::navigateUp));
    EXPECT_EQ(conflictFor(optionUp, HotkeyAction::extendUp), C::withAction(HotkeyAction::navigateUp));
    EXPECT_EQ(conflictFor(Shortcut(Key::upArrow, Flag::option | Flag::function), HotkeyAction::extendUp),
              C::withAction(HotkeyAction::navigateUp));
    EXPECT_EQ(conflictFor(optionUp, HotkeyAction::navigateUp), std::nullopt);

    // Built-in bindings are not stored, so they never conflict.
    EXPECT_EQ(conflictFor(Shortcut(Key::returnKey), HotkeyAction::extendUp), std::nullopt);

    // A system shortcut is reported before an action holding the same keys.
    KeyboardShortcuts::storeActionShortcut(commandSpace, nameFor(HotkeyAction::dismiss));
    EXPECT_EQ(conflictFor(commandSpace, HotkeyAction::confirm), C::withSystemShortcut("Spotlight"));
}

TEST_F(ShortcutRecorderTest, AlertTexts)
{
    const auto system = conflictAlertText(ShortcutConflict::withSystemShortcut("Quit application"),
                                          Shortcut(Key::q, Flag::command), "Move up");
    EXPECT_EQ(system.messageText, "Shortcut conflict");
    EXPECT_EQ(system.informativeText,
              "Super+Q is also used by your desktop for Quit application. Using it for Move up here may "
              "interfere with that system shortcut.");
    EXPECT_EQ(system.buttons, (QStringList{"Use Anyway", "Cancel"}));

    const auto action = conflictAlertText(ShortcutConflict::withAction(HotkeyAction::navigateUp),
                                          Shortcut(Key::upArrow, Flag::option), "Extend up");
    EXPECT_EQ(action.informativeText, "Alt+Up is already assigned to “Move up” in Mosaro. Using it for Extend up will "
                                      "leave “Move up” without a binding.");
}

TEST_F(ShortcutRecorderTest, ControlText)
{
    EXPECT_EQ(recorderControlText(HotkeyAction::resizeRemoveRow, std::nullopt, false, 0), "Alt+Up");
    EXPECT_EQ(recorderControlText(HotkeyAction::trigger, Shortcut(36, 256), false, 0), "Super+Return");
    EXPECT_EQ(recorderControlText(HotkeyAction::trigger, std::nullopt, false, 0), "Click to record");
    EXPECT_EQ(recorderControlText(HotkeyAction::trigger, Shortcut(36, 256), true, 0), "Type shortcut…");
    EXPECT_EQ(recorderControlText(HotkeyAction::trigger, std::nullopt, true, Flag::command | Flag::control),
              "Ctrl+Super+…");
    EXPECT_EQ(recorderControlText(HotkeyAction::trigger, std::nullopt, true, Flag::capsLock | Flag::function),
              "Type shortcut…");
}

TEST_F(ShortcutRecorderTest, CaptureStoresOverlayKeysDirectlyAndEscapeIsAKey)
{
    const Shortcut escape = capturedShortcut(53, Flag::capsLock | Flag::function);
    EXPECT_EQ(escape, Shortcut(53, 0));
    EXPECT_TRUE(applyCapturedShortcut(HotkeyAction::dismiss, escape, answering(false)));
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(stored(HotkeyAction::dismiss), escape);
    EXPECT_EQ(hotKeys.registerCalls.size(), 1u); // just the trigger default
    EXPECT_EQ(changedNames, QStringList{"trigger"});

    // Cancel leaves the previous shortcut.
    EXPECT_FALSE(applyCapturedShortcut(HotkeyAction::dismiss, capturedShortcut(49, Flag::command), answering(false)));
    EXPECT_EQ(asked, std::vector{ShortcutConflict::withSystemShortcut("Spotlight")});
    EXPECT_EQ(stored(HotkeyAction::dismiss), escape);

    // Clearing an overlay row removes its key; the row falls back to its built-in binding.
    clearRecordedShortcut(HotkeyAction::dismiss);
    EXPECT_FALSE(defaults.values.contains("KeyboardShortcuts_dismiss"));
    EXPECT_EQ(recorderControlText(HotkeyAction::dismiss, stored(HotkeyAction::dismiss), false, 0), "Escape");
}

TEST_F(ShortcutRecorderTest, UseAnywayLeavesTheOtherActionUnbound)
{
    const Shortcut optionUp = capturedShortcut(126, Flag::option);
    applyCapturedShortcut(HotkeyAction::navigateUp, optionUp, answering(false));
    EXPECT_TRUE(applyCapturedShortcut(HotkeyAction::extendUp, optionUp, answering(true)));
    EXPECT_EQ(stored(HotkeyAction::extendUp), optionUp);
    EXPECT_FALSE(defaults.values.contains("KeyboardShortcuts_navigateUp"));
    EXPECT_EQ(conflictFor(optionUp, HotkeyAction::resizeRemoveRow),
              ShortcutConflict::withAction(HotkeyAction::extendUp));

    // Taking the trigger's keys for an overlay row clears the trigger the way its own row would.
    EXPECT_TRUE(applyCapturedShortcut(HotkeyAction::confirm, Shortcut(36, 256), answering(true)));
    EXPECT_EQ(storedValue(HotkeyAction::trigger), QVariant(false));
    EXPECT_TRUE(hotKeys.live.empty());
    EXPECT_EQ(stored(HotkeyAction::confirm), Shortcut(36, 256));

    // Keys that are a system shortcut and another action's too: the alert names the system
    // shortcut, and the other action is still left unbound.
    const Shortcut commandSpace = capturedShortcut(49, Flag::command);
    KeyboardShortcuts::storeActionShortcut(commandSpace, nameFor(HotkeyAction::navigateLeft));
    EXPECT_TRUE(applyCapturedShortcut(HotkeyAction::navigateRight, commandSpace, answering(true)));
    EXPECT_EQ(asked.back(), ShortcutConflict::withSystemShortcut("Spotlight"));
    EXPECT_FALSE(stored(HotkeyAction::navigateLeft));
    EXPECT_EQ(stored(HotkeyAction::navigateRight), commandSpace);
}

TEST_F(ShortcutRecorderTest, TriggerRowGoesThroughThePackage)
{
    const Shortcut controlT = capturedShortcut(17, Flag::control);
    EXPECT_TRUE(applyCapturedShortcut(HotkeyAction::trigger, controlT, answering(false)));
    ASSERT_EQ(hotKeys.liveRegistrations().size(), 1u);
    EXPECT_EQ(hotKeys.liveRegistrations()[0].keyCode, 17u);
    EXPECT_EQ(changedNames, (QStringList{"trigger", "trigger"}));

    clearRecordedShortcut(HotkeyAction::trigger);
    EXPECT_EQ(stored(HotkeyAction::trigger), std::nullopt);
    EXPECT_TRUE(hotKeys.live.empty());
    EXPECT_EQ(recorderControlText(HotkeyAction::trigger, stored(HotkeyAction::trigger), false, 0), "Click to record");
}

} // namespace
