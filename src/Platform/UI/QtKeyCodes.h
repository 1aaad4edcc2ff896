#pragma once

#include <cstdint>
#include <optional>

class QKeyEvent;

namespace mosaro {

// The portable key code of a key Qt delivered. Qt gives the XKB key code of the keymap the
// display server sent; on X11 and for a real keyboard that is the physical key. A Wayland virtual
// keyboard (a remote desktop, a test's typing tool) sends a keymap of its own whose key codes mean
// nothing elsewhere, so a code whose key does not give the symbol Qt reports is found again by that
// symbol in the layout the desktop configures by default (XKB_DEFAULT_*).
std::optional<std::uint16_t> portableKeyCode(const QKeyEvent& event);

} // namespace mosaro
