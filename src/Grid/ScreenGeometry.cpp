#include "Grid/ScreenGeometry.h"

namespace mosaro {

double primaryScreenHeight(const ScreenList& screens)
{
    for (const auto& screen : screens.screens()) {
        const Rect frame = screen->frame();
        if (frame.x == 0 && frame.y == 0)
            return frame.height;
    }
    if (const auto main = screens.mainScreen())
        return main->frame().height;
    return 0;
}

Rect flippedRect(const Rect& rect, double primaryHeight)
{
    return {rect.x, primaryHeight - rect.y - rect.height, rect.width, rect.height};
}

ScreenRef screenContaining(const ScreenList& screens, Point point)
{
    for (const auto& screen : screens.screens()) {
        if (screen->frame().contains(point))
            return screen;
    }
    return nullptr;
}

} // namespace mosaro
