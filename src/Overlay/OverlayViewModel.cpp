#include "Overlay/OverlayViewModel.h"

namespace mosaro {

void OverlayViewModel::setPresentation(std::optional<OverlayPresentation> presentation)
{
    if (presentation == m_presentation)
        return;
    m_presentation = std::move(presentation);
    Q_EMIT presentationChanged();
}

OverlayOutcome OverlayViewModel::apply(const OverlayInput& input)
{
    using Kind = OverlayOutcome::Kind;
    if (!m_presentation)
        return OverlayOutcome::of(Kind::ignored);

    OverlayPresentation next = *m_presentation;
    switch (input.kind) {
    case OverlayInput::Kind::navigate:
        next.region = next.region.navigated(input.direction, next.grid.dimensions());
        setPresentation(next);
        return OverlayOutcome::of(Kind::updated);
    case OverlayInput::Kind::extend:
        next.region = next.region.extended(input.direction, next.grid.dimensions());
        setPresentation(next);
        return OverlayOutcome::of(Kind::updated);
    case OverlayInput::Kind::resizeGrid:
        next.grid = next.grid.resized(input.resize);
        next.region = next.region.clamped(next.grid.dimensions());
        setPresentation(next);
        return OverlayOutcome::of(Kind::resized);
    case OverlayInput::Kind::confirm:
        return OverlayOutcome::of(Kind::commit);
    case OverlayInput::Kind::dismiss:
        return OverlayOutcome::of(Kind::dismiss);
    case OverlayInput::Kind::crossDisplayNext:
        return OverlayOutcome::crossDisplay(CrossDisplayDirection::next);
    case OverlayInput::Kind::crossDisplayPrevious:
        return OverlayOutcome::crossDisplay(CrossDisplayDirection::previous);
    }
    return OverlayOutcome::of(Kind::ignored);
}

} // namespace mosaro
