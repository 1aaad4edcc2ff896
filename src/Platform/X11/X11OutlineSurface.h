#pragma once

#include "Platform/UI/PanelSurface.h"
#include "Platform/X11/X11Connection.h"

#include <optional>

namespace mosaro {

// The panel without a compositing manager: the grid lines and the highlight's outline as two
// shaped windows whose pixels the server paints from their background colours, a parent in the
// accent colour shaped to lines and outline, and a white child shaped to the lines the outline
// leaves uncovered. Nothing is blended and nothing is read from the screen.
class X11OutlineSurface final : public OutlinePanelSurface {
public:
    explicit X11OutlineSurface(X11Connection& connection);
    ~X11OutlineSurface() override;
    X11OutlineSurface(const X11OutlineSurface&) = delete;
    X11OutlineSurface& operator=(const X11OutlineSurface&) = delete;

    // Readies the windows for a showing over the rectangle (X root coordinates) without showing them.
    void prepare(const QRect& xRect);

    QSize size() const override { return m_rect.size(); }
    bool keptPixels() const override { return m_kept; }
    void setInputRegion(const QRegion& region) override;
    void show() override;
    void hide() override;
    bool isShown() const override { return m_shown; }
    void flush() override { m_connection.flush(); }
    void setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour) override;

private:
    void ensureWindows();
    // The root visual's pixel nearest to a colour.
    std::uint32_t rootPixel(QRgb colour) const;

    X11Connection& m_connection;
    QRect m_rect;
    QRegion m_input;
    bool m_shown = false;
    bool m_kept = false;
    X11Window m_outline; // parent, accent colour
    X11Window m_lines;   // child, line colour
    QSize m_size;
    std::optional<QRgb> m_outlineColour;
    std::optional<QRgb> m_lineColour;
};

} // namespace mosaro
