#include "Overlay/HotkeyAction.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Platform/KeyEvent.h"

namespace mosaro {

namespace {

using KeyboardShortcuts::Key;
using KeyboardShortcuts::Shortcut;

struct ActionInfo {
    HotkeyAction action;
    const char* rawValue;
    const char* title;
};

constexpr std::array<ActionInfo, hotkeyActionCount> actionTable{{
    {HotkeyAction::trigger, "trigger", "Toggle overlay"},
    {HotkeyAction::confirm, "confirm", "Confirm placement"},
    {HotkeyAction::dismiss, "dismiss", "Dismiss overlay"},
    {HotkeyAction::navigateUp, "navigateUp", "Move up"},
    {HotkeyAction::navigateDown, "navigateDown", "Move down"},
    {HotkeyAction::navigateLeft, "navigateLeft", "Move left"},
    {HotkeyAction::navigateRight, "navigateRight", "Move right"},
    {HotkeyAction::extendUp, "extendUp", "Extend up"},
    {HotkeyAction::extendDown, "extendDown", "Extend down"},
    {HotkeyAction::extendLeft, "extendLeft", "Extend left"},
    {HotkeyAction::extendRight, "extendRight", "Extend right"},
    {HotkeyAction::crossDisplayNext, "crossDisplayNext", "Jump to next display"},
    {HotkeyAction::crossDisplayPrevious, "crossDisplayPrevious", "Jump to previous display"},
    {HotkeyAction::resizeAddColumn, "resizeAddColumn", "Add column to grid"},
    {HotkeyAction::resizeRemoveColumn, "resizeRemoveColumn", "Remove column from grid"},
    {HotkeyAction::resizeAddRow, "resizeAddRow", "Add row to grid"},
    {HotkeyAction::resizeRemoveRow, "resizeRemoveRow", "Remove row from grid"},
}};

const ActionInfo& info(HotkeyAction action)
{
    return actionTable[static_cast<std::size_t>(action)];
}

} // namespace

const std::array<HotkeyAction, hotkeyActionCount>& allHotkeyActions()
{
    static const std::array<HotkeyAction, hotkeyActionCount> all = [] {
        std::array<HotkeyAction, hotkeyActionCount> list{};
        for (std::size_t i = 0; i < hotkeyActionCount; ++i)
            list[i] = actionTable[i].action;
        return list;
    }();
    return all;
}

QString rawValue(HotkeyAction action)
{
    return QString::fromLatin1(info(action).rawValue);
}

std::optional<HotkeyAction> hotkeyActionFromRawValue(const QString& rawValue)
{
    for (const auto& entry : actionTable) {
        if (rawValue == QLatin1String(entry.rawValue))
            return entry.action;
    }
    return std::nullopt;
}

QString displayTitle(HotkeyAction action)
{
    return QString::fromUtf8(info(action).title);
}

std::optional<Shortcut> builtInBinding(HotkeyAction action)
{
    using enum HotkeyAction;
    constexpr auto shift = ModifierFlag::shift;
    constexpr auto option = ModifierFlag::option;
    constexpr auto commandShift = ModifierFlag::command | ModifierFlag::shift;
    switch (action) {
    case trigger:
        return std::nullopt;
    case confirm:
        return Shortcut(Key::returnKey);
    case dismiss:
        return Shortcut(Key::escape);
    case navigateUp:
        return Shortcut(Key::upArrow);
    case navigateDown:
        return Shortcut(Key::downArrow);
    case navigateLeft:
        return Shortcut(Key::leftArrow);
    case navigateRight:
        return Shortcut(Key::rightArrow);
    case extendUp:
        return Shortcut(Key::upArrow, shift);
    case extendDown:
        return Shortcut(Key::downArrow, shift);
    case extendLeft:
        return Shortcut(Key::leftArrow, shift);
    case extendRight:
        return Shortcut(Key::rightArrow, shift);
    case crossDisplayNext:
        return Shortcut(Key::rightArrow, commandShift);
    case crossDisplayPrevious:
        return Shortcut(Key::leftArrow, commandShift);
    case resizeAddColumn:
        return Shortcut(Key::rightArrow, option);
    case resizeRemoveColumn:
        return Shortcut(Key::leftArrow, option);
    case resizeAddRow:
        return Shortcut(Key::downArrow, option);
    case resizeRemoveRow:
        return Shortcut(Key::upArrow, option);
    }
    return std::nullopt;
}

std::optional<OverlayInput> overlayInput(HotkeyAction action)
{
    using enum HotkeyAction;
    switch (action) {
    case trigger:
        return std::nullopt;
    case confirm:
        return OverlayInput::confirm();
    case dismiss:
        return OverlayInput::dismiss();
    case navigateUp:
        return OverlayInput::navigate(Direction::up);
    case navigateDown:
        return OverlayInput::navigate(Direction::down);
    case navigateLeft:
        return OverlayInput::navigate(Direction::left);
    case navigateRight:
        return OverlayInput::navigate(Direction::right);
    case extendUp:
        return OverlayInput::extend(Direction::up);
    case extendDown:
        return OverlayInput::extend(Direction::down);
    case extendLeft:
        return OverlayInput::extend(Direction::left);
    case extendRight:
        return OverlayInput::extend(Direction::right);
    case crossDisplayNext:
        return OverlayInput::crossDisplayNext();
    case crossDisplayPrevious:
        return OverlayInput::crossDisplayPrevious();
    case resizeAddColumn:
        return OverlayInput::resizeGrid(GridResize::addColumn);
    case resizeRemoveColumn:
        return OverlayInput::resizeGrid(GridResize::removeColumn);
    case resizeAddRow:
        return OverlayInput::resizeGrid(GridResize::addRow);
    case resizeRemoveRow:
        return OverlayInput::resizeGrid(GridResize::removeRow);
    }
    return std::nullopt;
}

KeyboardShortcuts::Name nameFor(HotkeyAction action)
{
    std::optional<Shortcut> defaultShortcut;
    if (action == HotkeyAction::trigger)
        defaultShortcut = Shortcut(Key::returnKey, ModifierFlag::command);
    KeyboardShortcuts::Name name(rawValue(action), defaultShortcut);
    KeyboardShortcuts::registerName(name);
    return name;
}

} // namespace mosaro
