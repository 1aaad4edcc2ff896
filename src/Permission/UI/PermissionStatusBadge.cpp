#include "Permission/UI/PermissionStatusBadge.h"

#include "Platform/HostTexts.h"
#include "Platform/UI/Symbols.h"

#include <QEvent>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>

namespace mosaro {

namespace {
constexpr int horizontalPadding = 8;
constexpr int verticalPadding = 3;
constexpr int symbolGap = 4;

Symbol symbolFor(const PermissionState& state)
{
    switch (state.kind) {
    case PermissionState::Kind::granted:
        return Symbol::checkmarkCircleFill;
    case PermissionState::Kind::denied:
        return Symbol::exclamationTriangleFill;
    case PermissionState::Kind::notDetermined:
        break;
    }
    return Symbol::questionmarkCircle;
}
} // namespace

PermissionStatusBadge::PermissionStatusBadge(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setState(PermissionState::notDetermined());
}

QString PermissionStatusBadge::label(const PermissionState& state)
{
    switch (state.kind) {
    case PermissionState::Kind::granted:
        return QStringLiteral("Granted");
    case PermissionState::Kind::denied:
        return QStringLiteral("Not granted");
    case PermissionState::Kind::notDetermined:
        break;
    }
    return QStringLiteral("Not requested yet");
}

QString PermissionStatusBadge::tooltip(const PermissionState& state)
{
    switch (state.kind) {
    case PermissionState::Kind::granted:
        return hostText(HostText::permissionGrantedTooltip);
    case PermissionState::Kind::denied:
        return hostText(HostText::permissionDeniedTooltip);
    case PermissionState::Kind::notDetermined:
        break;
    }
    return hostText(HostText::permissionNotDeterminedTooltip);
}

void PermissionStatusBadge::setState(const PermissionState& state)
{
    m_state = state;
    setToolTip(tooltip(state));
    setAccessibleName(label(state));
    updateGeometry();
    update();
}

QColor PermissionStatusBadge::color() const
{
    switch (m_state.kind) {
    case PermissionState::Kind::granted:
        return QColor(0x2E, 0xA0, 0x43);
    case PermissionState::Kind::denied:
        return QColor(0xE8, 0x7B, 0x00);
    case PermissionState::Kind::notDetermined:
        break;
    }
    return palette().color(QPalette::PlaceholderText);
}

QFont PermissionStatusBadge::labelFont() const
{
    QFont f = font();
    f.setPointSizeF(f.pointSizeF() * 0.85);
    f.setWeight(QFont::Medium);
    return f;
}

QSize PermissionStatusBadge::sizeHint() const
{
    const QFontMetrics metrics(labelFont());
    const int symbol = metrics.height();
    return {horizontalPadding * 2 + symbol + symbolGap + metrics.horizontalAdvance(label(m_state)) + 1,
            verticalPadding * 2 + metrics.height()};
}

void PermissionStatusBadge::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor c = color();
    const QRectF capsule = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const double radius = capsule.height() / 2;
    QColor fill = c;
    fill.setAlphaF(0.18);
    QColor outline = c;
    outline.setAlphaF(0.45);
    painter.setPen(QPen(outline, 1));
    painter.setBrush(fill);
    painter.drawRoundedRect(capsule, radius, radius);

    const QFontMetrics metrics(labelFont());
    const int symbol = metrics.height();
    const QRectF symbolRect(horizontalPadding, (height() - symbol) / 2.0, symbol, symbol);
    paintSymbol(painter, symbolRect.adjusted(1, 1, -1, -1), symbolFor(m_state), c);
    painter.setFont(labelFont());
    painter.setPen(palette().color(QPalette::WindowText));
    const QRectF textRect(symbolRect.right() + symbolGap, 0, width() - symbolRect.right() - symbolGap, height());
    painter.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, label(m_state));
}

void PermissionStatusBadge::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::FontChange || event->type() == QEvent::PaletteChange)
        updateGeometry();
    QWidget::changeEvent(event);
}

} // namespace mosaro
