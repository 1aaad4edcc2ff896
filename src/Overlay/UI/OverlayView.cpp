#include "Overlay/UI/OverlayView.h"

#include "Overlay/OverlayDrawing.h"

#include <QPainter>

namespace mosaro {

OverlayView::OverlayView(QWidget* parent) : QWidget(parent), m_accent(palette().color(QPalette::Highlight))
{
    setAttribute(Qt::WA_TranslucentBackground);
    m_animation.setDuration(int(OverlayDrawing::highlightAnimationSeconds * 1000));
    m_animation.setEasingCurve(QEasingCurve::Linear);
    connect(&m_animation, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void OverlayView::setViewModel(std::shared_ptr<OverlayViewModel> viewModel)
{
    disconnect(m_connection);
    m_viewModel = std::move(viewModel);
    m_lastRegion.reset();
    if (m_viewModel) {
        m_connection =
            connect(m_viewModel.get(), &OverlayViewModel::presentationChanged, this, [this] { presentationChanged(); });
        if (const auto& p = m_viewModel->presentation())
            m_lastRegion = p->region;
    }
    update();
}

void OverlayView::setBackground(QImage background)
{
    m_background = std::move(background);
    update();
}

void OverlayView::presentationChanged()
{
    const auto& p = m_viewModel ? m_viewModel->presentation() : std::nullopt;
    if (p && m_lastRegion && *m_lastRegion != p->region) {
        // Animate from wherever the highlight is now, keyed to the region.
        const QRectF from =
            m_animation.state() == QAbstractAnimation::Running ? m_animation.currentValue().toRectF() : QRectF();
        m_animation.stop();
        if (from.isValid()) {
            m_animation.setStartValue(from);
        } else {
            OverlayPresentation previous = *p;
            previous.region = *m_lastRegion;
            m_animation.setStartValue(highlightRect(previous, size()));
        }
        m_animation.setEndValue(highlightRect(*p, size()));
        m_animation.start();
    }
    m_lastRegion = p ? std::optional(p->region) : std::nullopt;
    update();
}

void OverlayView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (!m_viewModel)
        return;
    OverlayPaintOptions options{m_accent, m_background.isNull() ? nullptr : &m_background, std::nullopt};
    if (m_animation.state() == QAbstractAnimation::Running)
        options.highlight = m_animation.currentValue().toRectF();
    paintOverlay(painter, m_viewModel->presentation(), QSizeF(size()), options);
}

} // namespace mosaro
