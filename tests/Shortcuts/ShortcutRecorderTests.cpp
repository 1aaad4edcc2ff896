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

// Keys that are a system shortcut and another action's too: the alert names the system shortcut,
// and the other action is still left unbound; a captured combination drops Caps Lock and Fn.
TEST_F(ShortcutRecorderTest, UseAnywayOverASystemShortcutStillUnbindsTheOtherAction)
{
    const Shortcut commandSpace = capturedShortcut(49, Flag::command | Flag::capsLock | Flag::function);
    EXPECT_EQ(commandSpace, Shortcut(Key::space, Flag::command));
    KeyboardShortcuts::storeActionShortcut(commandSpace, nameFor(HotkeyAction::navigateLeft));
    EXPECT_TRUE(applyCapturedShortcut(HotkeyAction::navigateRight, commandSpace, answering(true)));
    EXPECT_EQ(asked, std::vector{ShortcutConflict::withSystemShortcut("Spotlight")});
    EXPECT_FALSE(stored(HotkeyAction::navigateLeft));
    EXPECT_EQ(stored(HotkeyAction::navigateRight), commandSpace);
}

} // namespace
