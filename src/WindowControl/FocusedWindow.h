#pragma once

#include "Platform/Accessibility.h"
#include "Platform/Geometry.h"

#include <QString>
#include <cstdint>
#include <optional>

namespace mosaro {

// The target window as resolved at the trigger. Equality ignores the element.
struct FocusedWindow {
    std::int32_t processID = 0;
    std::optional<std::uint32_t> windowID;
    std::optional<QString> title;
    bool isFullscreen = false;
    bool isMinimized = false;
    bool isResizable = false;
    Rect frame; // screen coordinates
    AXElementRef axElement;

    bool isTileable() const { return !isFullscreen && !isMinimized && isResizable; }
    // The title for log lines: "<untitled>" when there is none.
    QString titleForLog() const { return title ? *title : QStringLiteral("<untitled>"); }

    friend bool operator==(const FocusedWindow& a, const FocusedWindow& b)
    {
        return a.processID == b.processID && a.windowID == b.windowID && a.title == b.title &&
               a.isFullscreen == b.isFullscreen && a.isMinimized == b.isMinimized && a.isResizable == b.isResizable &&
               a.frame == b.frame;
    }
};

} // namespace mosaro
