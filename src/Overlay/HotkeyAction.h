#pragma once

#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/Shortcut.h"
#include "Overlay/OverlayInput.h"

#include <QString>
#include <array>
#include <optional>

namespace mosaro {

// Every bindable action: the system-wide trigger first, then the sixteen overlay keys.
enum class HotkeyAction {
    trigger,
    confirm,
    dismiss,
    navigateUp,
    navigateDown,
    navigateLeft,
    navigateRight,
    extendUp,
    extendDown,
    extendLeft,
    extendRight,
    crossDisplayNext,
    crossDisplayPrevious,
    resizeAddColumn,
    resizeRemoveColumn,
    resizeAddRow,
    resizeRemoveRow,
};

inline constexpr std::size_t hotkeyActionCount = 17;

const std::array<HotkeyAction, hotkeyActionCount>& allHotkeyActions();

// The case name; also the name the action's shortcut is stored under.
QString rawValue(HotkeyAction action);
std::optional<HotkeyAction> hotkeyActionFromRawValue(const QString& rawValue);
QString displayTitle(HotkeyAction action);

// The fixed key an overlay action answers to when nothing recorded claims the key; none for
// the trigger, whose default lives in its name.
std::optional<KeyboardShortcuts::Shortcut> builtInBinding(HotkeyAction action);
std::optional<OverlayInput> overlayInput(HotkeyAction action);

// The action's shortcut name (the trigger's carries Command + Return as its default). The first
// call for a name creates it in the shortcut package, which may install the default.
KeyboardShortcuts::Name nameFor(HotkeyAction action);

} // namespace mosaro
