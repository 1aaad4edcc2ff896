#pragma once

#include "Platform/Geometry.h"

#include <QString>
#include <memory>
#include <vector>

namespace mosaro {

// One connected display. Identity is the object: the platform hands out the same object for a
// display for as long as it stays connected, so comparing pointers finds "the same display".
// Frames are in screen coordinates: origin at the bottom-left of the primary display, y up.
class Screen {
public:
    virtual ~Screen() = default;
    virtual Rect frame() const = 0;
    virtual Rect visibleFrame() const = 0;
    virtual QString localizedName() const = 0;
    virtual double backingScaleFactor() const = 0;
};

using ScreenRef = std::shared_ptr<const Screen>;

class ScreenList {
public:
    virtual ~ScreenList() = default;
    // The connected displays in the system's order, read afresh on every call.
    virtual std::vector<ScreenRef> screens() const = 0;
    // The display holding the keyboard focus, or none.
    virtual ScreenRef mainScreen() const = 0;
};

} // namespace mosaro
