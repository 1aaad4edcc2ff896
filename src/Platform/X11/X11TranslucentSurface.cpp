#include "Platform/X11/X11TranslucentSurface.h"

#include "Platform/X11/X11PanelWindows.h"

#include <QtEndian>

#include <algorithm>
#include <utility>

namespace mosaro {

namespace {
// Off-screen position of the window between showings: left of every display.
constexpr int kParkGap = 64;
} // namespace

X11TranslucentSurface::X11TranslucentSurface(X11Connection& connection) : m_connection(connection)
{
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* event) {
        if ((event->response_type & 0x7f) != XCB_EXPOSE)
            return false;
        const auto* expose = reinterpret_cast<const xcb_expose_event_t*>(event);
        if (expose->window != m_window.id() || !m_window)
            return false;
        m_exposed += QRect(expose->x, expose->y, expose->width, expose->height);
        if (expose->count == 0) {
            const QRegion exposed = std::exchange(m_exposed, QRegion());
            if (onExposed && m_shown)
                onExposed(exposed);
            else
                m_lostWhileHidden = true;
        }
        return true;
    });
}

X11TranslucentSurface::~X11TranslucentSurface()
{
    m_connection.removeEventListener(m_listener);
}

bool X11TranslucentSurface::ensureWindow()
{
    if (m_window)
        return true;
    xcb_connection_t* c = m_connection.connection();
    xcb_screen_t* screen = m_connection.screen();
    if (!m_visualLooked) {
        m_visualLooked = true;
        for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem && !m_visual;
             xcb_depth_next(&depths)) {
            if (depths.data->depth != 32)
                continue;
            for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem; xcb_visualtype_next(&visuals)) {
                if (visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR && visuals.data->red_mask == 0xff0000 &&
                    visuals.data->green_mask == 0xff00 && visuals.data->blue_mask == 0xff) {
                    m_visual = visuals.data->visual_id;
                    break;
                }
            }
        }
    }
    if (!m_visual)
        return false;
    m_colormap = X11Colormap(m_connection);
    xcb_create_colormap(c, XCB_COLORMAP_ALLOC_NONE, m_colormap.id(), m_connection.root(), m_visual);
    m_window = X11Window(m_connection);
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0, 1, XCB_EVENT_MASK_EXPOSURE, m_colormap.id()};
    m_windowSize = QSize(1, 1);
    xcb_create_window(
        c, 32, m_window.id(), m_connection.root(), -kParkGap - 1, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_visual,
        XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
        values);
    setX11Shape(c, XCB_SHAPE_SK_INPUT, m_window.id(), m_input);
    nameX11PanelWindow(m_connection, m_window.id(), "Mosaro overlay", true);
    const std::uint32_t utility = m_connection.atom("_NET_WM_WINDOW_TYPE_UTILITY");
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, m_window.id(), m_connection.atom("_NET_WM_WINDOW_TYPE"),
                        XCB_ATOM_ATOM, 32, 1, &utility);
    // Stay composited even though the window covers a whole display, and without a shadow.
    const std::uint32_t dontBypass = 2, noShadow = 0;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, m_window.id(), m_connection.atom("_NET_WM_BYPASS_COMPOSITOR"),
                        XCB_ATOM_CARDINAL, 32, 1, &dontBypass);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, m_window.id(), m_connection.atom("_COMPTON_SHADOW"),
                        XCB_ATOM_CARDINAL, 32, 1, &noShadow);
    m_gc = X11GraphicsContext(m_connection);
    const std::uint32_t gcValues[] = {0, 0};
    xcb_create_gc(c, m_gc.id(), m_window.id(), XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, gcValues);
    return true;
}

void X11TranslucentSurface::prepare(const QRect& xRect, xcb_window_t manager)
{
    m_kept = !std::exchange(m_lostWhileHidden, false);
    m_rect = xRect;
    if (manager != m_compositor) {
        m_compositor = manager; // a new manager redirects the window into a new buffer
        m_kept = false;
    }
    if (m_windowSize == xRect.size() && m_mapped)
        return;
    m_windowSize = xRect.size();
    m_kept = false;
    const std::uint32_t values[] = {std::uint32_t(-xRect.width() - kParkGap), std::uint32_t(xRect.y()),
                                    std::uint32_t(xRect.width()), std::uint32_t(xRect.height())};
    xcb_configure_window(m_connection.connection(), m_window.id(),
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    if (!m_mapped) {
        xcb_map_window(m_connection.connection(), m_window.id());
        m_mapped = true;
    }
}

void X11TranslucentSurface::retire()
{
    if (!m_mapped)
        return;
    xcb_unmap_window(m_connection.connection(), m_window.id());
    m_mapped = false;
}

void X11TranslucentSurface::setInputRegion(const QRegion& region)
{
    if (region == m_input)
        return;
    m_input = region;
    if (m_window && m_connection.isConnected())
        setX11Shape(m_connection.connection(), XCB_SHAPE_SK_INPUT, m_window.id(), m_input);
}

void X11TranslucentSurface::position(bool onScreen)
{
    xcb_connection_t* c = m_connection.connection();
    const int x = onScreen ? m_rect.x() : -m_rect.width() - kParkGap;
    if (onScreen) {
        const std::uint32_t values[] = {std::uint32_t(x), std::uint32_t(m_rect.y()), XCB_STACK_MODE_ABOVE};
        xcb_configure_window(c, m_window.id(), XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_STACK_MODE,
                             values);
    } else {
        const std::uint32_t values[] = {std::uint32_t(x)};
        xcb_configure_window(c, m_window.id(), XCB_CONFIG_WINDOW_X, values);
    }
}

void X11TranslucentSurface::show()
{
    if (!m_connection.isConnected() || !m_window)
        return;
    position(true);
    m_shown = true;
    m_connection.flush();
}

void X11TranslucentSurface::hide()
{
    const bool wasShown = std::exchange(m_shown, false);
    if (!wasShown || !m_connection.isConnected() || !m_window)
        return;
    position(false);
    m_connection.flush();
}

void X11TranslucentSurface::fillRects(const std::vector<QRect>& rects, QRgb pixel)
{
    if (!m_window || rects.empty() || !m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    const std::uint32_t foreground = pixel;
    xcb_change_gc(c, m_gc.id(), XCB_GC_FOREGROUND, &foreground);
    std::vector<xcb_rectangle_t> out;
    out.reserve(rects.size());
    for (const QRect& r : rects)
        out.push_back({std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    // A request holds at most 65535 four-byte units without BIG-REQUESTS.
    constexpr std::size_t perRequest = 30000;
    for (std::size_t i = 0; i < out.size(); i += perRequest)
        xcb_poly_fill_rectangle(c, m_window.id(), m_gc.id(), std::uint32_t(std::min(perRequest, out.size() - i)),
                                out.data() + i);
}

void X11TranslucentSurface::putImage(const QImage& image, QPoint at)
{
    if (!m_window || image.isNull() || !m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    QImage pixels = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    // Pixels go as 32-bit values in the server's byte order.
    if ((xcb_get_setup(c)->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST) !=
        (QSysInfo::ByteOrder == QSysInfo::BigEndian)) {
        for (int y = 0; y < pixels.height(); ++y) {
            auto* row = reinterpret_cast<std::uint32_t*>(pixels.scanLine(y));
            for (int x = 0; x < pixels.width(); ++x)
                row[x] = qbswap(row[x]);
        }
    }
    const std::size_t rowBytes = std::size_t(pixels.width()) * 4;
    const std::size_t maxBytes = std::size_t(xcb_get_maximum_request_length(c)) * 4 - 64;
    const int rowsPerRequest = std::max(1, int(maxBytes / rowBytes));
    for (int y = 0; y < pixels.height(); y += rowsPerRequest) {
        const int rows = std::min(rowsPerRequest, pixels.height() - y);
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, m_window.id(), m_gc.id(), std::uint16_t(pixels.width()),
                      std::uint16_t(rows), std::int16_t(at.x()), std::int16_t(at.y() + y), 0, 32,
                      std::uint32_t(rowBytes * std::size_t(rows)), pixels.constScanLine(y));
    }
}

} // namespace mosaro
