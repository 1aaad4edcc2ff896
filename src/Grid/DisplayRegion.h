#pragma once

#include "Platform/Screen.h"

#include <QString>
#include <optional>
#include <vector>

namespace mosaro {

// One display, identified by its platform object.
struct DisplayRegion {
    ScreenRef screen;
    // The text that keys per-display settings: the display's localized name.
    QString displayKey() const { return screen ? screen->localizedName() : QString(); }
    friend bool operator==(const DisplayRegion& a, const DisplayRegion& b) { return a.screen == b.screen; }
};

enum class CrossDisplayDirection {
    next,
    previous
};
QString toString(CrossDisplayDirection direction); // "next", "previous"

// The index of the display a jump lands on, for a list of `count` displays (count >= 2) and the
// current display's index (none when it was disconnected, which counts as the first).
std::size_t jumpTargetIndex(std::optional<std::size_t> currentIndex, std::size_t count,
                            CrossDisplayDirection direction);

// The position of a display in the list, by identity.
std::optional<std::size_t> indexOfScreen(const std::vector<ScreenRef>& screens, const ScreenRef& screen);

} // namespace mosaro
