#include "Platform/UI/Symbols.h"

#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QPixmap>
#include <cmath>
#include <numbers>

namespace mosaro {

namespace {

// A square of side 24 units, scaled into the target rectangle.
void paintGlyph(QPainter& p, Symbol symbol, const QColor& color)
{
    const QColor white(Qt::white);
    QPen stroke(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setBrush(Qt::NoBrush);
    p.setPen(stroke);
    switch (symbol) {
    case Symbol::gear: {
        QPainterPath teeth;
        constexpr int count = 8;
        for (int i = 0; i < count * 2; ++i) {
            const double angle = std::numbers::pi * i / count;
            const double next = std::numbers::pi * (i + 1) / count;
            const double radius = (i % 2 == 0) ? 10.5 : 8.0;
            const QPointF a(12 + radius * std::cos(angle), 12 + radius * std::sin(angle));
            const QPointF b(12 + radius * std::cos(next), 12 + radius * std::sin(next));
            if (i == 0)
                teeth.moveTo(a);
            else
                teeth.lineTo(a);
            teeth.lineTo(b);
        }
        teeth.closeSubpath();
        teeth.addEllipse(QPointF(12, 12), 3.4, 3.4);
        teeth.setFillRule(Qt::OddEvenFill);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawPath(teeth);
        break;
    }
    case Symbol::keyboard: {
        p.drawRoundedRect(QRectF(2, 6, 20, 13), 2.5, 2.5);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        for (int row = 0; row < 2; ++row) {
            for (int col = 0; col < 5; ++col)
                p.drawRect(QRectF(4.6 + col * 3.2, 8.6 + row * 3.2, 1.9, 1.9));
        }
        p.drawRoundedRect(QRectF(7.5, 15.2, 9, 1.9), 0.8, 0.8);
        break;
    }
    case Symbol::infoCircle: {
        p.drawEllipse(QPointF(12, 12), 9.5, 9.5);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawEllipse(QPointF(12, 7.8), 1.4, 1.4);
        p.drawRoundedRect(QRectF(10.9, 10.5, 2.2, 7.5), 1, 1);
        break;
    }
    case Symbol::displayWarning:
    case Symbol::exclamationTriangleFill: {
        const QColor fill = symbol == Symbol::displayWarning ? QColor(0xF0, 0x9A, 0x00) : color;
        QPainterPath triangle;
        triangle.moveTo(12, 2.5);
        triangle.lineTo(22.5, 20.5);
        triangle.lineTo(1.5, 20.5);
        triangle.closeSubpath();
        p.setPen(QPen(fill, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(fill);
        p.drawPath(triangle);
        p.setPen(Qt::NoPen);
        p.setBrush(white);
        p.drawRoundedRect(QRectF(10.9, 8, 2.2, 7), 1, 1);
        p.drawEllipse(QPointF(12, 17.6), 1.3, 1.3);
        break;
    }
    case Symbol::xmarkCircleFill:
    case Symbol::checkmarkCircleFill: {
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawEllipse(QPointF(12, 12), 10, 10);
        p.setPen(QPen(white, 2.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        if (symbol == Symbol::xmarkCircleFill) {
            p.drawLine(QPointF(8.3, 8.3), QPointF(15.7, 15.7));
            p.drawLine(QPointF(15.7, 8.3), QPointF(8.3, 15.7));
        } else {
            p.drawPolyline(QPolygonF({QPointF(7.2, 12.4), QPointF(10.6, 15.8), QPointF(16.8, 8.6)}));
        }
        break;
    }
    case Symbol::lockShield: {
        QPainterPath shield;
        shield.moveTo(12, 2);
        shield.lineTo(20.5, 5.2);
        shield.cubicTo(20.5, 13.5, 17, 19, 12, 22);
        shield.cubicTo(7, 19, 3.5, 13.5, 3.5, 5.2);
        shield.closeSubpath();
        p.drawPath(shield);
        p.drawArc(QRectF(9.6, 7.2, 4.8, 5.6), 0, 180 * 16);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawRoundedRect(QRectF(8.6, 10.4, 6.8, 5.6), 1, 1);
        break;
    }
    case Symbol::questionmarkCircle: {
        p.drawEllipse(QPointF(12, 12), 9.5, 9.5);
        QPainterPath hook;
        hook.moveTo(9, 9.6);
        hook.cubicTo(9, 6.2, 15, 6.2, 15, 9.6);
        hook.cubicTo(15, 11.8, 12, 12, 12, 14.4);
        p.setPen(QPen(color, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.drawPath(hook);
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawEllipse(QPointF(12, 17.6), 1.3, 1.3);
        break;
    }
    }
}

class GlyphIconEngine final : public QIconEngine {
public:
    GlyphIconEngine(Symbol symbol, QColor color) : m_symbol(symbol), m_color(color) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        QColor color = m_color.isValid() ? m_color : QGuiApplication::palette().color(QPalette::WindowText);
        if (mode == QIcon::Disabled)
            color.setAlphaF(color.alphaF() * 0.45);
        paintSymbol(*painter, rect, m_symbol, color);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }
    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        // Drawn at the device pixels asked for, so a 2x screen gets a 2x glyph.
        QPixmap pixmap(size * scale);
        pixmap.fill(Qt::transparent);
        {
            QPainter painter(&pixmap);
            paint(&painter, QRect(QPoint(0, 0), pixmap.size()), mode, state);
        }
        pixmap.setDevicePixelRatio(scale);
        return pixmap;
    }
    QIconEngine* clone() const override { return new GlyphIconEngine(m_symbol, m_color); }
    QString key() const override { return QStringLiteral("mosaro-glyph"); }

private:
    Symbol m_symbol;
    QColor m_color;
};

} // namespace

QString themeIconName(Symbol symbol)
{
    switch (symbol) {
    case Symbol::gear:
        return QStringLiteral("preferences-system");
    case Symbol::keyboard:
        return QStringLiteral("input-keyboard");
    case Symbol::infoCircle:
        return QStringLiteral("help-about");
    case Symbol::displayWarning:
        return QStringLiteral("dialog-warning");
    case Symbol::xmarkCircleFill:
        return QStringLiteral("edit-clear");
    case Symbol::checkmarkCircleFill:
        return QStringLiteral("emblem-ok");
    case Symbol::exclamationTriangleFill:
        return QStringLiteral("dialog-warning");
    case Symbol::questionmarkCircle:
        return QStringLiteral("dialog-question");
    case Symbol::lockShield:
        return QStringLiteral("security-high");
    }
    return {};
}

QIcon symbolIcon(Symbol symbol)
{
    const QIcon themed = QIcon::fromTheme(themeIconName(symbol));
    return themed.isNull() ? drawnSymbolIcon(symbol) : themed;
}

QIcon drawnSymbolIcon(Symbol symbol, QColor color)
{
    return QIcon(new GlyphIconEngine(symbol, color));
}

void paintSymbol(QPainter& painter, const QRectF& rect, Symbol symbol, const QColor& color)
{
    const double side = std::min(rect.width(), rect.height());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect.center().x() - side / 2, rect.center().y() - side / 2);
    painter.scale(side / 24.0, side / 24.0);
    paintGlyph(painter, symbol, color);
    painter.restore();
}

} // namespace mosaro
