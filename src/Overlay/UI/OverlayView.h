#pragma once

#include "Overlay/OverlayViewModel.h"
#include "Overlay/UI/OverlayPainter.h"

#include <QImage>
#include <QVariantAnimation>
#include <QWidget>
#include <memory>

namespace mosaro {

// Draws the overlay from the view model and redraws whenever the presentation changes; the
// highlight glides to a new region over a short linear animation.
class OverlayView : public QWidget {
    Q_OBJECT
public:
    explicit OverlayView(QWidget* parent = nullptr);
    void setViewModel(std::shared_ptr<OverlayViewModel> viewModel);
    // What lies under the panel, painted below the dimming when windows cannot be blended.
    void setBackground(QImage background);
    void setAccent(QColor accent) { m_accent = accent; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void presentationChanged();

    std::shared_ptr<OverlayViewModel> m_viewModel;
    QMetaObject::Connection m_connection;
    QImage m_background;
    QColor m_accent;
    QVariantAnimation m_animation;
    std::optional<HighlightedRegion> m_lastRegion;
};

} // namespace mosaro
