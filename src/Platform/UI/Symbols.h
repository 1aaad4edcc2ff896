#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>
#include <QString>

class QPainter;

namespace mosaro {

// The small pictograms windows show beside texts. Each is the desktop theme's icon of the same
// meaning when the theme has one, else a glyph drawn here as vectors, so it is sharp at any scale.
enum class Symbol {
    gear,                    // preferences-system
    keyboard,                // input-keyboard
    infoCircle,              // help-about
    displayWarning,          // a display that is not connected
    xmarkCircleFill,         // clearing a value
    checkmarkCircleFill,     // granted
    exclamationTriangleFill, // refused
    questionmarkCircle,      // not asked yet
    lockShield,              // privacy
};

// The freedesktop icon name looked up first.
QString themeIconName(Symbol symbol);

// The theme's icon, or the drawn glyph in the palette's text colour.
QIcon symbolIcon(Symbol symbol);
// Only the drawn glyph, in the given colour (or the palette's text colour when invalid).
QIcon drawnSymbolIcon(Symbol symbol, QColor color = {});

// Draws the glyph into the rectangle (kept square and centred).
void paintSymbol(QPainter& painter, const QRectF& rect, Symbol symbol, const QColor& color);

} // namespace mosaro
