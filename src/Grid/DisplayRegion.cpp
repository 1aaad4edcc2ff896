#include "Grid/DisplayRegion.h"

namespace mosaro {

QString toString(CrossDisplayDirection direction)
{
    switch (direction) {
    case CrossDisplayDirection::next:
        return QStringLiteral("next");
    case CrossDisplayDirection::previous:
        return QStringLiteral("previous");
    }
    return {};
}

std::size_t jumpTargetIndex(std::optional<std::size_t> currentIndex, std::size_t count, CrossDisplayDirection direction)
{
    if (count == 0)
        return 0;
    // A disconnected display counts as the first; adding count keeps the arithmetic unsigned.
    const std::size_t i = currentIndex.value_or(0) % count;
    const std::size_t step = direction == CrossDisplayDirection::next ? 1 : count - 1;
    return (i + step) % count;
}

std::optional<std::size_t> indexOfScreen(const std::vector<ScreenRef>& screens, const ScreenRef& screen)
{
    if (!screen)
        return std::nullopt;
    for (std::size_t i = 0; i < screens.size(); ++i) {
        if (screens[i] == screen)
            return i;
    }
    return std::nullopt;
}

} // namespace mosaro
