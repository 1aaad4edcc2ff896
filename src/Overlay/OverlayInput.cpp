#include "Overlay/OverlayInput.h"

namespace mosaro {

QString toString(const OverlayInput& input)
{
    using Kind = OverlayInput::Kind;
    switch (input.kind) {
    case Kind::navigate:
        return QStringLiteral("navigate(%1)").arg(toString(input.direction));
    case Kind::extend:
        return QStringLiteral("extend(%1)").arg(toString(input.direction));
    case Kind::resizeGrid:
        return QStringLiteral("resizeGrid(%1)").arg(toString(input.resize));
    case Kind::confirm:
        return QStringLiteral("confirm");
    case Kind::dismiss:
        return QStringLiteral("dismiss");
    case Kind::crossDisplayNext:
        return QStringLiteral("crossDisplayNext");
    case Kind::crossDisplayPrevious:
        return QStringLiteral("crossDisplayPrevious");
    }
    return QStringLiteral("dismiss");
}

} // namespace mosaro
