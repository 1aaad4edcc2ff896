#pragma once

#include "KeyboardShortcuts/Shortcut.h"
#include "Platform/HotKeyService.h"

#include <functional>

namespace mosaro::KeyboardShortcuts {

inline constexpr std::uint32_t hotKeySignature = fourCharCode("KBHK");

// The hotkey layer: one record per registered shortcut, one event handler for all of them, and
// their suspension while a menu is tracking or the package is switched off.
class CarbonKeyboardShortcuts {
public:
    using Callback = std::function<void(const Shortcut&)>;

    static void registerShortcut(const Shortcut& shortcut, Callback onKeyDown, Callback onKeyUp);
    static void unregisterShortcut(const Shortcut& shortcut);

    // The installed handler's body.
    static OSStatus handleEvent(const HotKeyEvent* event);

    static bool isEnabled();
    static void setEnabled(bool enabled);
    static bool isMenuTracking();
    static void setMenuTracking(bool tracking);

    static void resetForTesting();

private:
    static void updateMode();
};

} // namespace mosaro::KeyboardShortcuts
