#pragma once

#include "Grid/DisplayRegion.h"
#include "Platform/Expected.h"
#include "Platform/Screen.h"
#include "WindowControl/FocusedWindow.h"
#include "WindowControl/WindowManipulating.h"
#include "WindowControl/WindowManipulationError.h"

#include <optional>

namespace mosaro {

// Finds the window a trigger targets and the display that holds it.
struct FocusedWindowResolver {
    struct Resolved {
        FocusedWindow window;
        DisplayRegion display;
        friend bool operator==(const Resolved&, const Resolved&) = default;
    };

    FocusedWindowResolver(WindowManipulating& windowManipulator, const ScreenList& screenList)
        : manipulator(windowManipulator), screens(screenList)
    {}

    // Nothing when there is no window to tile or no display holds the window's centre.
    Expected<std::optional<Resolved>, WindowManipulationError> resolve() const;

    WindowManipulating& manipulator;
    const ScreenList& screens;
};

} // namespace mosaro
