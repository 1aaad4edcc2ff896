#pragma once

#include <functional>

class QWindow;

namespace mosaro {

// Whether the desktop's own shortcuts pass their keys to one of our windows while it has the
// focus, for the shortcut recorder to see every combination a person presses. On X11 a keyboard
// grab does it and nothing is set; a Wayland platform sets both to its compositor's inhibitor.
struct DesktopShortcuts {
    static inline std::function<void(QWindow*)> inhibitFor;
    static inline std::function<void()> restore;
};

} // namespace mosaro
