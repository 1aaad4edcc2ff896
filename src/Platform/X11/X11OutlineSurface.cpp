#include "Platform/X11/X11OutlineSurface.h"

#include "Platform/X11/X11PanelWindows.h"

#include <utility>

namespace mosaro {

namespace {

int shiftOf(std::uint32_t mask)
{
    int shift = 0;
    while (mask && !(mask & 1)) {
        mask >>= 1;
        ++shift;
    }
    return shift;
}

} // namespace

X11OutlineSurface::X11OutlineSurface(X11Connection& connection) : m_connection(connection)
{}

X11OutlineSurface::~X11OutlineSurface() = default;

void X11OutlineSurface::ensureWindows()
{
    if (m_outline)
        return;
    xcb_connection_t* c = m_connection.connection();
    xcb_screen_t* screen = m_connection.screen();
    m_outline = X11Window(m_connection);
    const std::uint32_t values[] = {screen->black_pixel, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, m_outline.id(), m_connection.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                      values);
    m_lines = X11Window(m_connection);
    const std::uint32_t childValues[] = {screen->white_pixel};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, m_lines.id(), m_outline.id(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, childValues);
    for (xcb_window_t w : {m_outline.id(), m_lines.id()}) {
        setX11Shape(c, XCB_SHAPE_SK_INPUT, w, m_input);
        setX11Shape(c, XCB_SHAPE_SK_BOUNDING, w, QRegion());
    }
    nameX11PanelWindow(m_connection, m_outline.id(), "Mosaro overlay", true);
    xcb_map_window(c, m_lines.id()); // shown whenever its parent is
    m_size = QSize(1, 1);
}

void X11OutlineSurface::prepare(const QRect& xRect)
{
    ensureWindows();
    m_rect = xRect;
    m_kept = m_size == xRect.size();
    if (m_kept)
        return;
    m_size = xRect.size();
    const std::uint32_t size[] = {std::uint32_t(xRect.width()), std::uint32_t(xRect.height())};
    xcb_configure_window(m_connection.connection(), m_outline.id(), XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         size);
    xcb_configure_window(m_connection.connection(), m_lines.id(), XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         size);
}

void X11OutlineSurface::setInputRegion(const QRegion& region)
{
    if (region == m_input)
        return;
    m_input = region;
    if (!m_outline || !m_connection.isConnected())
        return;
    for (xcb_window_t w : {m_outline.id(), m_lines.id()})
        setX11Shape(m_connection.connection(), XCB_SHAPE_SK_INPUT, w, m_input);
}

std::uint32_t X11OutlineSurface::rootPixel(QRgb colour) const
{
    const xcb_screen_t* screen = m_connection.screen();
    for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem; xcb_depth_next(&depths)) {
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem; xcb_visualtype_next(&visuals)) {
            const xcb_visualtype_t* v = visuals.data;
            if (v->visual_id != screen->root_visual)
                continue;
            auto channel = [](std::uint32_t value, std::uint32_t mask) {
                const int shift = shiftOf(mask);
                const std::uint32_t max = mask >> shift;
                return ((value * max + 127) / 255) << shift;
            };
            return channel(std::uint32_t(qRed(colour)), v->red_mask) |
                   channel(std::uint32_t(qGreen(colour)), v->green_mask) |
                   channel(std::uint32_t(qBlue(colour)), v->blue_mask);
        }
    }
    return qGray(colour) > 127 ? screen->white_pixel : screen->black_pixel;
}

void X11OutlineSurface::show()
{
    if (!m_connection.isConnected() || !m_outline)
        return;
    xcb_connection_t* c = m_connection.connection();
    const std::uint32_t values[] = {std::uint32_t(m_rect.x()), std::uint32_t(m_rect.y()), XCB_STACK_MODE_ABOVE};
    xcb_configure_window(c, m_outline.id(), XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_STACK_MODE,
                         values);
    xcb_map_window(c, m_outline.id());
    m_shown = true;
    m_connection.flush();
}

void X11OutlineSurface::hide()
{
    const bool wasShown = std::exchange(m_shown, false);
    if (!wasShown || !m_connection.isConnected() || !m_outline)
        return;
    xcb_unmap_window(m_connection.connection(), m_outline.id());
    m_connection.flush();
}

void X11OutlineSurface::setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour)
{
    if (!m_outline || !m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    if (m_outlineColour != outlineColour) {
        m_outlineColour = outlineColour;
        const std::uint32_t pixel = rootPixel(outlineColour);
        xcb_change_window_attributes(c, m_outline.id(), XCB_CW_BACK_PIXEL, &pixel);
        xcb_clear_area(c, 0, m_outline.id(), 0, 0, 0, 0);
    }
    if (m_lineColour != lineColour) {
        m_lineColour = lineColour;
        const std::uint32_t pixel = rootPixel(lineColour);
        xcb_change_window_attributes(c, m_lines.id(), XCB_CW_BACK_PIXEL, &pixel);
        xcb_clear_area(c, 0, m_lines.id(), 0, 0, 0, 0);
    }
    // The child first: until its parent follows, every pixel shows either the old or the new
    // frame, never a line colour where the outline goes.
    setX11Shape(c, XCB_SHAPE_SK_BOUNDING, m_lines.id(), lines);
    setX11Shape(c, XCB_SHAPE_SK_BOUNDING, m_outline.id(), lines + outline);
}

} // namespace mosaro
