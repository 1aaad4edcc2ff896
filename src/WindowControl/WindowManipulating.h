#pragma once

#include "Platform/Expected.h"
#include "WindowControl/FocusedWindow.h"
#include "WindowControl/WindowManipulationError.h"

#include <optional>

namespace mosaro {

// Reads the focused window and moves windows; the presenter and the resolver hold one of these.
class WindowManipulating {
public:
    virtual ~WindowManipulating() = default;
    // Nothing when there is nothing to tile (already logged), or an error.
    virtual Expected<std::optional<FocusedWindow>, WindowManipulationError> focusedWindow() = 0;
    // Moves and resizes the window to a frame in screen coordinates.
    virtual Status<WindowManipulationError> move(const FocusedWindow& window, const Rect& frame) = 0;
};

} // namespace mosaro
