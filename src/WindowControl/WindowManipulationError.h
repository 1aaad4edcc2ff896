#pragma once

#include "Platform/Accessibility.h"

#include <QString>
#include <variant>

namespace mosaro {

enum class NonResizableReason {
    fullscreen,
    minimized,
    systemDialog,
    unknownAXAttribute
};
QString toString(NonResizableReason reason); // the case name

struct WindowManipulationError {
    enum class Kind {
        windowNotResizable,
        axCallFailed,
        accessibilityPermissionMissing,
        noFocusedWindow
    };
    Kind kind = Kind::noFocusedWindow;
    NonResizableReason reason = NonResizableReason::unknownAXAttribute; // windowNotResizable only
    QString api;                                                        // axCallFailed only
    AXError axError = 0;                                                // axCallFailed only

    static WindowManipulationError windowNotResizable(NonResizableReason reason)
    {
        return {Kind::windowNotResizable, reason, {}, 0};
    }
    static WindowManipulationError axCallFailed(QString api, AXError code)
    {
        return {Kind::axCallFailed, NonResizableReason::unknownAXAttribute, std::move(api), code};
    }
    static WindowManipulationError accessibilityPermissionMissing()
    {
        return {Kind::accessibilityPermissionMissing, {}, {}, 0};
    }
    static WindowManipulationError noFocusedWindow() { return {Kind::noFocusedWindow, {}, {}, 0}; }

    // Same case with equal payloads.
    friend bool operator==(const WindowManipulationError& a, const WindowManipulationError& b)
    {
        if (a.kind != b.kind)
            return false;
        switch (a.kind) {
        case Kind::windowNotResizable:
            return a.reason == b.reason;
        case Kind::axCallFailed:
            return a.api == b.api && a.axError == b.axError;
        default:
            return true;
        }
    }
};

// e.g. "axCallFailed(api: \"AXSize\", axError: -25200)"
QString toString(const WindowManipulationError& error);

} // namespace mosaro
