#include "Overlay/OverlayKeyDecoder.h"

#include "KeyboardShortcuts/Key.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/KeyEvent.h"

namespace mosaro {

namespace {

using KeyboardShortcuts::Key;
constexpr std::int64_t returnKey = Key::returnKey.rawValue;
constexpr std::int64_t keypadEnter = Key::keypadEnter.rawValue;
constexpr std::int64_t escape = Key::escape.rawValue;
constexpr std::int64_t leftArrow = Key::leftArrow.rawValue;
constexpr std::int64_t rightArrow = Key::rightArrow.rawValue;
constexpr std::int64_t downArrow = Key::downArrow.rawValue;
constexpr std::int64_t upArrow = Key::upArrow.rawValue;

std::optional<OverlayInput> recordedBinding(std::uint16_t keyCode, std::uint64_t flags)
{
    for (HotkeyAction action : allHotkeyActions()) {
        if (action == HotkeyAction::trigger)
            continue;
        const auto stored = KeyboardShortcuts::getShortcut(nameFor(action));
        if (!stored || stored->carbonKeyCode != keyCode)
            continue;
        if ((KeyboardShortcuts::appKitFromCarbon(stored->carbonModifiers) & ModifierFlag::comparedMask) == flags)
            return overlayInput(action);
    }
    return std::nullopt;
}

std::optional<Direction> arrowDirection(std::uint16_t keyCode)
{
    switch (keyCode) {
    case upArrow:
        return Direction::up;
    case downArrow:
        return Direction::down;
    case leftArrow:
        return Direction::left;
    case rightArrow:
        return Direction::right;
    default:
        return std::nullopt;
    }
}

std::optional<OverlayInput> fixedBinding(std::uint16_t keyCode, std::uint64_t flags)
{
    if (keyCode == returnKey || keyCode == keypadEnter)
        return flags == 0 ? std::optional(OverlayInput::confirm()) : std::nullopt;
    if (keyCode == escape)
        return flags == 0 ? std::optional(OverlayInput::dismiss()) : std::nullopt;
    const auto direction = arrowDirection(keyCode);
    if (!direction)
        return std::nullopt;
    if (flags == 0)
        return OverlayInput::navigate(*direction);
    if (flags == ModifierFlag::shift)
        return OverlayInput::extend(*direction);
    if (flags == ModifierFlag::option) {
        switch (*direction) {
        case Direction::up:
            return OverlayInput::resizeGrid(GridResize::removeRow);
        case Direction::down:
            return OverlayInput::resizeGrid(GridResize::addRow);
        case Direction::left:
            return OverlayInput::resizeGrid(GridResize::removeColumn);
        case Direction::right:
            return OverlayInput::resizeGrid(GridResize::addColumn);
        }
    }
    if (flags == (ModifierFlag::command | ModifierFlag::shift)) {
        if (*direction == Direction::left)
            return OverlayInput::crossDisplayPrevious();
        if (*direction == Direction::right)
            return OverlayInput::crossDisplayNext();
    }
    return std::nullopt;
}

} // namespace

std::optional<OverlayInput> decodeOverlayKey(std::uint16_t keyCode, std::uint64_t modifierFlags)
{
    const std::uint64_t flags = modifierFlags & ModifierFlag::comparedMask;
    if (auto recorded = recordedBinding(keyCode, flags))
        return recorded;
    return fixedBinding(keyCode, flags);
}

} // namespace mosaro
