#include "WindowControl/WindowManipulationError.h"

namespace mosaro {

QString toString(NonResizableReason reason)
{
    switch (reason) {
    case NonResizableReason::fullscreen:
        return QStringLiteral("fullscreen");
    case NonResizableReason::minimized:
        return QStringLiteral("minimized");
    case NonResizableReason::systemDialog:
        return QStringLiteral("systemDialog");
    case NonResizableReason::unknownAXAttribute:
        return QStringLiteral("unknownAXAttribute");
    }
    return QStringLiteral("unknownAXAttribute");
}

QString toString(const WindowManipulationError& error)
{
    using Kind = WindowManipulationError::Kind;
    switch (error.kind) {
    case Kind::windowNotResizable:
        return QStringLiteral("windowNotResizable(reason: %1)").arg(toString(error.reason));
    case Kind::axCallFailed:
        return QStringLiteral("axCallFailed(api: \"%1\", axError: %2)").arg(error.api).arg(error.axError);
    case Kind::accessibilityPermissionMissing:
        return QStringLiteral("accessibilityPermissionMissing");
    case Kind::noFocusedWindow:
        return QStringLiteral("noFocusedWindow");
    }
    return QStringLiteral("noFocusedWindow");
}

} // namespace mosaro
