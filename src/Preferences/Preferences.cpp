#include "Preferences/Preferences.h"

#include "Grid/GridLayout.h"

#include <algorithm>

namespace mosaro {

namespace {
constexpr std::int64_t maxMargin = 64;
}

Preferences Preferences::sanitized() const
{
    Preferences result = *this;
    // Per-display overrides are left as stored; a session clamps whatever it uses.
    result.proSettings.globalGrid = clampedToGridLimits(proSettings.globalGrid);
    result.proSettings.margin = std::clamp<std::int64_t>(proSettings.margin, 0, maxMargin);
    return result;
}

} // namespace mosaro
