#include "WindowControl/FocusedWindowResolver.h"

#include "Grid/ScreenGeometry.h"

namespace mosaro {

Expected<std::optional<FocusedWindowResolver::Resolved>, WindowManipulationError> FocusedWindowResolver::resolve() const
{
    auto window = manipulator.focusedWindow();
    if (!window)
        return unexpected(window.error());
    if (!*window)
        return std::optional<Resolved>();
    // A window straddling displays belongs to the one holding its centre.
    ScreenRef screen = screenContaining(screens, (*window)->frame.midpoint());
    if (!screen)
        return std::optional<Resolved>();
    return std::optional<Resolved>(Resolved{std::move(**window), DisplayRegion{std::move(screen)}});
}

} // namespace mosaro
