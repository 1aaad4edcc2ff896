#pragma once

#include "Grid/DisplayRegion.h"
#include "Grid/GridLayout.h"
#include "Grid/GridTypes.h"
#include "WindowControl/FocusedWindow.h"

namespace mosaro {

// What one visible overlay session shows.
struct OverlayPresentation {
    DisplayRegion display;
    FocusedWindow targetWindow;
    GridLayout grid;
    HighlightedRegion region;
    friend bool operator==(const OverlayPresentation&, const OverlayPresentation&) = default;
};

// What applying one input asks the presenter to do next.
struct OverlayOutcome {
    enum class Kind {
        crossDisplay,
        ignored,
        updated,
        commit,
        dismiss,
        resized
    };
    Kind kind = Kind::ignored;
    CrossDisplayDirection direction = CrossDisplayDirection::next; // crossDisplay only

    static OverlayOutcome crossDisplay(CrossDisplayDirection d) { return {Kind::crossDisplay, d}; }
    static OverlayOutcome of(Kind kind) { return {kind, CrossDisplayDirection::next}; }

    friend bool operator==(const OverlayOutcome& a, const OverlayOutcome& b)
    {
        return a.kind == b.kind && (a.kind != Kind::crossDisplay || a.direction == b.direction);
    }
};

} // namespace mosaro
