#include "Grid/Sizing/GridSizeChoice.h"

#include "Grid/GridLayout.h"

namespace mosaro {

GridDimensions chooseGridDimensions(const Preferences& prefs, const QString& displayKey)
{
    const ProSettings& settings = prefs.proSettings;
    GridDimensions dims = settings.globalGrid;
    if (settings.perDisplayMode && !displayKey.isEmpty()) {
        const auto& overrides = settings.perDisplayGrids.overrides;
        if (const auto it = overrides.find(displayKey); it != overrides.end())
            dims = it->second;
    }
    // Stored overrides are not limited on load, so the limits apply here.
    return clampedToGridLimits(dims);
}

Preferences withPersistedResize(Preferences prefs, const QString& displayKey, GridDimensions newSize)
{
    ProSettings& settings = prefs.proSettings;
    if (settings.perDisplayMode) {
        // An unnamed display can't be found again, so it never gets an entry.
        if (!displayKey.isEmpty())
            settings.perDisplayGrids.overrides[displayKey] = newSize;
    } else {
        settings.globalGrid = newSize;
    }
    return prefs;
}

} // namespace mosaro
