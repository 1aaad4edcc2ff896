#include "Permission/PermissionState.h"

namespace mosaro {

QString toString(const PermissionState& state)
{
    switch (state.kind) {
    case PermissionState::Kind::granted:
        return QStringLiteral("granted");
    case PermissionState::Kind::notDetermined:
        return QStringLiteral("notDetermined");
    case PermissionState::Kind::denied:
        return state.canPromptAgain ? QStringLiteral("denied(canPromptAgain: true)")
                                    : QStringLiteral("denied(canPromptAgain: false)");
    }
    return QStringLiteral("notDetermined");
}

} // namespace mosaro
