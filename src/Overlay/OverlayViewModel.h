#pragma once

#include "Overlay/OverlayInput.h"
#include "Overlay/OverlayPresentation.h"

#include <QObject>
#include <optional>

namespace mosaro {

// The whole state of a session; the overlay view redraws whenever it changes.
class OverlayViewModel : public QObject {
    Q_OBJECT
public:
    const std::optional<OverlayPresentation>& presentation() const { return m_presentation; }
    // Assigning an equal value notifies nobody.
    void setPresentation(std::optional<OverlayPresentation> presentation);

    OverlayOutcome apply(const OverlayInput& input);

Q_SIGNALS:
    void presentationChanged();

private:
    std::optional<OverlayPresentation> m_presentation;
};

} // namespace mosaro
