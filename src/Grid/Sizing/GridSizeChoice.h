#pragma once

#include "Grid/GridTypes.h"
#include "Preferences/Preferences.h"

#include <QString>

namespace mosaro {

// The grid a session shows on a display: the display's own size when per-display mode is on and
// the display's key has an entry, else the global grid; always within 1...30 x 1...20.
GridDimensions chooseGridDimensions(const Preferences& prefs, const QString& displayKey);

// The document with a resized grid written in: the display's entry in per-display mode (nothing
// when the key is empty), else the global grid. Everything else is kept as given.
Preferences withPersistedResize(Preferences prefs, const QString& displayKey, GridDimensions newSize);

} // namespace mosaro
