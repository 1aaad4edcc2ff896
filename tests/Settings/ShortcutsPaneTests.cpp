#include "KeyboardShortcuts/Key.h"
#include "Overlay/OverlayKeyDecoder.h"
#include "Settings/UI/ShortcutsPane.h"
#include "Shortcuts/UI/ShortcutRecorderWidget.h"
#include "support/KeyCodes.h"
#include "support/SettingsWindowFixture.h"

#include <QToolButton>

using namespace mosaro;
using namespace mosaro::test;
using KeyboardShortcuts::Key;
using KeyboardShortcuts::Shortcut;
namespace Flag = ModifierFlag;

namespace {

constexpr std::uint32_t carbonCommand = 0x100;
constexpr std::uint32_t carbonControlOption = 0x1000 | 0x800;

class ShortcutsPaneTest : public SettingsWindowTest {
protected:
    ShortcutsPane& pane() { return *open(SettingsPane::shortcuts).shortcutsPane(); }
    ShortcutRecorderWidget& row(HotkeyAction action)
    {
        ShortcutRecorderWidget* r = window->shortcutsPane()->recorder(action);
        EXPECT_NE(r, nullptr);
        return *r;
    }
    // Clicks the row's recorder and types the combination into it.
    void record(HotkeyAction action, std::uint16_t key, std::uint64_t flags = 0)
    {
        row(action).mainButton()->click();
        ASSERT_TRUE(row(action).isRecording());
        typeCombination(key, flags);
    }
    std::optional<Shortcut> stored(HotkeyAction action) { return KeyboardShortcuts::getShortcut(nameFor(action)); }
    std::vector<std::pair<std::uint32_t, std::uint32_t>> liveHotkeys() const
    {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> out;
        for (const auto& r : hotKeys.liveRegistrations())
            out.emplace_back(r.keyCode, r.modifiers);
        return out;
    }
};

TEST_F(ShortcutsPaneTest, ARecordedOverlayKeyIsWhatTheOverlayDecodes)
{
    pane();
    record(HotkeyAction::navigateDown, keys::j);
    EXPECT_FALSE(row(HotkeyAction::navigateDown).isRecording());
    EXPECT_EQ(stored(HotkeyAction::navigateDown), Shortcut(keys::j, 0));
    EXPECT_EQ(row(HotkeyAction::navigateDown).controlText(), "J");
    EXPECT_EQ(decodeOverlayKey(keys::j, 0), OverlayInput::navigate(Direction::down));
    EXPECT_EQ(decodeOverlayKey(125, 0), OverlayInput::navigate(Direction::down)) << "the built-in binding stays";
    EXPECT_TRUE(hotKeys.live.size() == 1u) << "overlay keys are never registered system-wide";

    // Escape alone is a shortcut like any other, not a way out.
    record(HotkeyAction::confirm, keys::escape);
    EXPECT_EQ(stored(HotkeyAction::confirm), Shortcut(keys::escape, 0));
    EXPECT_EQ(decodeOverlayKey(keys::escape, 0), OverlayInput::confirm());
}

// While capturing nothing is grabbed, so the trigger's own keys reach the recorder, and the held
// modifiers show; cancelling or closing stores nothing and brings the hotkeys back.
TEST_F(ShortcutsPaneTest, CancellingOrClosingMidCaptureStoresNothingAndResumesTheHotkeys)
{
    pane();
    row(HotkeyAction::trigger).mainButton()->click();
    EXPECT_TRUE(liveHotkeys().empty());
    EXPECT_EQ(hotKeys.pressHotKey(keys::returnKey, carbonCommand), HotKeyStatus::eventNotHandled);
    sendKey(QEvent::KeyPress, 59, 0);
    sendKey(QEvent::KeyPress, 58, Flag::control);
    EXPECT_EQ(row(HotkeyAction::trigger).controlText(), "Ctrl+Alt+…");
    EXPECT_TRUE(row(HotkeyAction::trigger).cancelButton()->isVisibleTo(window.get()));
    row(HotkeyAction::trigger).cancelButton()->click();
    EXPECT_FALSE(row(HotkeyAction::trigger).isRecording());
    EXPECT_TRUE(KeyboardShortcuts::isEnabled());
    EXPECT_EQ(liveHotkeys().size(), 1u);

    // One recorder at a time.
    row(HotkeyAction::confirm).mainButton()->click();
    row(HotkeyAction::dismiss).mainButton()->click();
    EXPECT_FALSE(row(HotkeyAction::confirm).isRecording());
    EXPECT_TRUE(row(HotkeyAction::dismiss).isRecording());

    window->close();
    EXPECT_EQ(ShortcutRecorderWidget::activeRecorder(), nullptr);
    EXPECT_TRUE(KeyboardShortcuts::isEnabled());
    EXPECT_EQ(liveHotkeys().size(), 1u);
    EXPECT_EQ(stored(HotkeyAction::dismiss), std::nullopt);
}

TEST_F(ShortcutsPaneTest, AnotherActionsShortcutUseAnywayLeavesThatActionWithoutABinding)
{
    pane();
    const Shortcut optionUp(Key(keys::up), Flag::option);
    KeyboardShortcuts::storeActionShortcut(optionUp, nameFor(HotkeyAction::navigateUp));
    row(HotkeyAction::navigateUp).reload();

    auto answer = answerNextAlert("Cancel");
    record(HotkeyAction::extendUp, keys::up, Flag::option);
    EXPECT_TRUE(answer->informativeText.startsWith("Alt+Up is already assigned to “Move up”"));
    EXPECT_EQ(answer->defaultButton, "Use Anyway");
    EXPECT_EQ(stored(HotkeyAction::extendUp), std::nullopt);
    EXPECT_EQ(stored(HotkeyAction::navigateUp), optionUp);

    answer = answerNextAlert("Use Anyway");
    record(HotkeyAction::extendUp, keys::up, Flag::option);
    EXPECT_EQ(stored(HotkeyAction::extendUp), optionUp);
    EXPECT_EQ(stored(HotkeyAction::navigateUp), std::nullopt);
    EXPECT_FALSE(defaults.values.contains("KeyboardShortcuts_navigateUp"));
    EXPECT_EQ(row(HotkeyAction::navigateUp).controlText(), "Up") << "the other row shows its built-in key again";
    EXPECT_EQ(decodeOverlayKey(keys::up, Flag::option), OverlayInput::extend(Direction::up));

    // Taking the trigger's keys for an overlay action unbinds the trigger and its hotkey.
    answer = answerNextAlert("Use Anyway");
    record(HotkeyAction::confirm, keys::returnKey, Flag::command);
    EXPECT_TRUE(answer->informativeText.contains("“Toggle overlay”"));
    EXPECT_EQ(stored(HotkeyAction::trigger), std::nullopt);
    EXPECT_EQ(defaults.values.value("KeyboardShortcuts_trigger"), QVariant(false));
    EXPECT_TRUE(liveHotkeys().empty());
    EXPECT_EQ(row(HotkeyAction::trigger).controlText(), "Click to record");
}

TEST_F(ShortcutsPaneTest, ResetToDefaultsTwiceLeavesTheSameStore)
{
    ShortcutsPane& p = pane();
    record(HotkeyAction::trigger, keys::t, Flag::control | Flag::option);
    EXPECT_EQ(liveHotkeys(), (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{keys::t, carbonControlOption}}));
    record(HotkeyAction::navigateLeft, keys::j);
    KeyboardShortcuts::storeActionShortcut(Shortcut(Key(keys::q)), nameFor(HotkeyAction::resizeAddRow));

    p.resetButton()->click();
    const QVariantMap expected{{"KeyboardShortcuts_trigger", triggerDefaultJson}};
    EXPECT_EQ(defaults.values, expected);
    EXPECT_EQ(p.resetToken(), 1);
    EXPECT_EQ(row(HotkeyAction::trigger).controlText(), "Super+Return");
    EXPECT_EQ(row(HotkeyAction::navigateLeft).controlText(), "Left");
    EXPECT_EQ(liveHotkeys(), (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{keys::returnKey, carbonCommand}}));

    p.resetButton()->click();
    EXPECT_EQ(defaults.values, expected);
    EXPECT_EQ(p.resetToken(), 2);
    EXPECT_EQ(p.recorders().size(), 17);
    EXPECT_EQ(liveHotkeys(), (std::vector<std::pair<std::uint32_t, std::uint32_t>>{{keys::returnKey, carbonCommand}}));
    EXPECT_EQ(hotKeys.pressHotKey(keys::returnKey, carbonCommand), HotKeyStatus::noErr);
    EXPECT_EQ(triggers, 1);

    // After the user cleared the trigger, the reset brings it back.
    row(HotkeyAction::trigger).clearButton()->click();
    p.resetButton()->click();
    EXPECT_EQ(defaults.values, expected);
    EXPECT_EQ(liveHotkeys().size(), 1u);
}

} // namespace
