#pragma once

#include "Grid/DisplayRegion.h"
#include "Grid/GridLayout.h"
#include "Grid/GridTypes.h"

#include <QString>

namespace mosaro {

// What one overlay key asks for.
struct OverlayInput {
    enum class Kind {
        navigate,
        extend,
        resizeGrid,
        confirm,
        dismiss,
        crossDisplayNext,
        crossDisplayPrevious
    };
    Kind kind = Kind::dismiss;
    Direction direction = Direction::up;       // navigate, extend
    GridResize resize = GridResize::addColumn; // resizeGrid

    static OverlayInput navigate(Direction d) { return {Kind::navigate, d, {}}; }
    static OverlayInput extend(Direction d) { return {Kind::extend, d, {}}; }
    static OverlayInput resizeGrid(GridResize r) { return {Kind::resizeGrid, {}, r}; }
    static OverlayInput confirm() { return {Kind::confirm, {}, {}}; }
    static OverlayInput dismiss() { return {Kind::dismiss, {}, {}}; }
    static OverlayInput crossDisplayNext() { return {Kind::crossDisplayNext, {}, {}}; }
    static OverlayInput crossDisplayPrevious() { return {Kind::crossDisplayPrevious, {}, {}}; }

    // Equal by case and payload.
    friend bool operator==(const OverlayInput& a, const OverlayInput& b)
    {
        if (a.kind != b.kind)
            return false;
        if (a.kind == Kind::navigate || a.kind == Kind::extend)
            return a.direction == b.direction;
        if (a.kind == Kind::resizeGrid)
            return a.resize == b.resize;
        return true;
    }
};

// e.g. "navigate(right)", "resizeGrid(addColumn)", "confirm"
QString toString(const OverlayInput& input);

} // namespace mosaro
