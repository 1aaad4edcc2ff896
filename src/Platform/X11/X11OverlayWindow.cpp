#include "Platform/X11/X11OverlayWindow.h"

#include "Diagnostics/Log/Log.h"
#include "Grid/ScreenGeometry.h"
#include "Overlay/UI/OverlayView.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/X11/X11HotKeyService.h"

#include <QGuiApplication>
#include <QPalette>
#include <QtEndian>

#include <xcb/shape.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace mosaro {

namespace {

constexpr const char* modeMessage = "overlay drawn %{public}s: compositing manager %{public}s";
constexpr const char* grabFailedMessage = "overlay could not take the keyboard; another client holds it";
constexpr const char* grabRetryMessage = "keyboard held by another client (status %d); retrying from the event loop";

// While another client holds the keyboard (a desktop's shortcut daemon that started us), the
// grab is retried from the event loop at this pace, for up to a second.
constexpr int kGrabRetryMs = 5;
constexpr int kGrabAttempts = 200;

// Off-screen position of the translucent window between showings: left of every display.
constexpr int kParkGap = 64;

std::vector<xcb_rectangle_t> xRects(const QRegion& region)
{
    std::vector<xcb_rectangle_t> out;
    out.reserve(std::size_t(region.rectCount()));
    for (const QRect& r : region)
        out.push_back({std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    return out;
}

void setShape(xcb_connection_t* c, xcb_shape_kind_t kind, xcb_window_t window, const std::vector<xcb_rectangle_t>& r)
{
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_YX_BANDED, window, 0, 0, std::uint32_t(r.size()),
                         r.data());
}

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

// ---------------------------------------------------------------------------------------------
// X11OverlaySurface

X11OverlaySurface::X11OverlaySurface(X11Connection& connection) : m_connection(connection)
{
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* event) {
        if ((event->response_type & 0x7f) != XCB_EXPOSE)
            return false;
        const auto* expose = reinterpret_cast<const xcb_expose_event_t*>(event);
        if (expose->window != m_argb || m_argb == XCB_WINDOW_NONE)
            return false;
        m_exposed += QRect(expose->x, expose->y, expose->width, expose->height);
        if (expose->count == 0) {
            const QRegion exposed = std::exchange(m_exposed, QRegion());
            if (onExposed && m_shown && m_mode == Mode::translucent)
                onExposed(exposed);
            else
                m_contents.reset();
        }
        return true;
    });
}

X11OverlaySurface::~X11OverlaySurface()
{
    m_connection.removeEventListener(m_listener);
    if (!m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    for (xcb_window_t w : {m_lines, m_outline, m_argb, m_input})
        if (w != XCB_WINDOW_NONE)
            xcb_destroy_window(c, w);
    if (m_argbGc)
        xcb_free_gc(c, m_argbGc);
    if (m_colormap)
        xcb_free_colormap(c, m_colormap);
    m_connection.flush();
}

void X11OverlaySurface::nameWindow(xcb_window_t window, const char* name, bool withPid)
{
    xcb_connection_t* c = m_connection.connection();
    static const char wmClass[] = "mosaro\0Mosaro";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof wmClass,
                        wmClass);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, m_connection.atom("_NET_WM_NAME"),
                        m_connection.atom("UTF8_STRING"), 8, std::uint32_t(std::strlen(name)), name);
    if (withPid) {
        const std::uint32_t pid = std::uint32_t(::getpid());
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, m_connection.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32,
                            1, &pid);
    }
}

bool X11OverlaySurface::ensureInputWindow()
{
    if (m_input != XCB_WINDOW_NONE)
        return true;
    if (!m_connection.isConnected())
        return false;
    xcb_connection_t* c = m_connection.connection();
    m_input = xcb_generate_id(c);
    const std::uint32_t values[] = {1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                           XCB_EVENT_MASK_FOCUS_CHANGE};
    xcb_create_window(c, 0, m_input, m_connection.root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    // No pid: it is not a panel anyone sees.
    nameWindow(m_input, "Mosaro keyboard", false);
    xcb_map_window(c, m_input);
    return true;
}

void X11OverlaySurface::requestKeyboard()
{
    if (!ensureInputWindow())
        return;
    xcb_connection_t* c = m_connection.connection();
    if (m_grabCookie)
        xcb_discard_reply(c, m_grabCookie->sequence);
    m_grabCookie = xcb_grab_keyboard(c, 0, m_input, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    m_grabSequence = m_grabCookie->sequence;
    // The manager's answer is for this showing only; an older question goes unanswered.
    if (m_managerCookie)
        xcb_discard_reply(c, m_managerCookie->sequence);
    m_managerCookie.reset();
    const std::string name = "_NET_WM_CM_S" + std::to_string(m_connection.screenNumber());
    if (const xcb_atom_t selection = m_connection.atom(name); selection != XCB_ATOM_NONE)
        m_managerCookie = xcb_get_selection_owner(c, selection);
    m_connection.flush();
}

std::uint8_t X11OverlaySurface::keyboardStatus()
{
    if (m_grabCookie) {
        auto grab = m_connection.reply<xcb_grab_keyboard_reply_t>(xcb_grab_keyboard_reply, *m_grabCookie);
        m_grabCookie.reset();
        m_grabStatus = grab ? (*grab)->status : std::uint8_t(XCB_GRAB_STATUS_NOT_VIEWABLE);
    }
    return m_grabStatus;
}

std::uint8_t X11OverlaySurface::grabKeyboard()
{
    if (!ensureInputWindow())
        return XCB_GRAB_STATUS_NOT_VIEWABLE;
    if (m_grabCookie)
        xcb_discard_reply(m_connection.connection(), m_grabCookie->sequence);
    m_grabCookie = xcb_grab_keyboard(m_connection.connection(), 0, m_input, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC,
                                     XCB_GRAB_MODE_ASYNC);
    m_grabSequence = m_grabCookie->sequence;
    return keyboardStatus();
}

bool X11OverlaySurface::isBeforeLastGrab(const xcb_generic_event_t* event) const
{
    // An event carries the sequence number of the last request of ours the server had
    // processed; the earlier grab's end is reported before the new grab was made.
    return std::int32_t(event->full_sequence - m_grabSequence) < 0;
}

void X11OverlaySurface::ungrabKeyboard()
{
    if (!m_connection.isConnected())
        return;
    xcb_ungrab_keyboard(m_connection.connection(), XCB_CURRENT_TIME);
    m_connection.flush();
}

xcb_window_t X11OverlaySurface::compositingManager()
{
    if (!m_managerCookie) {
        const std::string name = "_NET_WM_CM_S" + std::to_string(m_connection.screenNumber());
        const xcb_atom_t selection = m_connection.atom(name);
        if (selection == XCB_ATOM_NONE)
            return XCB_WINDOW_NONE;
        m_managerCookie = xcb_get_selection_owner(m_connection.connection(), selection);
    }
    auto reply = m_connection.reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner_reply, *m_managerCookie);
    m_managerCookie.reset();
    return reply ? (*reply)->owner : xcb_window_t(XCB_WINDOW_NONE);
}

bool X11OverlaySurface::ensureTranslucentWindow()
{
    if (m_argb != XCB_WINDOW_NONE)
        return true;
    xcb_connection_t* c = m_connection.connection();
    xcb_screen_t* screen = m_connection.screen();
    if (!m_argbVisualLooked) {
        m_argbVisualLooked = true;
        for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem && !m_argbVisual;
             xcb_depth_next(&depths)) {
            if (depths.data->depth != 32)
                continue;
            for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem; xcb_visualtype_next(&visuals)) {
                if (visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR && visuals.data->red_mask == 0xff0000 &&
                    visuals.data->green_mask == 0xff00 && visuals.data->blue_mask == 0xff) {
                    m_argbVisual = visuals.data->visual_id;
                    break;
                }
            }
        }
    }
    if (!m_argbVisual)
        return false;
    m_colormap = xcb_generate_id(c);
    xcb_create_colormap(c, XCB_COLORMAP_ALLOC_NONE, m_colormap, m_connection.root(), m_argbVisual);
    m_argb = xcb_generate_id(c);
    // No background: the server never paints over what we drew.
    const std::uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0, 1, XCB_EVENT_MASK_EXPOSURE, m_colormap};
    m_argbSize = QSize(1, 1);
    xcb_create_window(
        c, 32, m_argb, m_connection.root(), -kParkGap - 1, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, m_argbVisual,
        XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
        values);
    setShape(c, XCB_SHAPE_SK_INPUT, m_argb, {});
    nameWindow(m_argb, "Mosaro overlay", true);
    const std::uint32_t utility = m_connection.atom("_NET_WM_WINDOW_TYPE_UTILITY");
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, m_argb, m_connection.atom("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32,
                        1, &utility);
    // Stay composited even though the window covers a whole display, and without a shadow.
    const std::uint32_t dontBypass = 2, noShadow = 0;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, m_argb, m_connection.atom("_NET_WM_BYPASS_COMPOSITOR"),
                        XCB_ATOM_CARDINAL, 32, 1, &dontBypass);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, m_argb, m_connection.atom("_COMPTON_SHADOW"), XCB_ATOM_CARDINAL, 32,
                        1, &noShadow);
    m_argbGc = xcb_generate_id(c);
    const std::uint32_t gcValues[] = {0, 0};
    xcb_create_gc(c, m_argbGc, m_argb, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, gcValues);
    return true;
}

bool X11OverlaySurface::ensureOutlineWindows()
{
    if (m_outline != XCB_WINDOW_NONE)
        return true;
    xcb_connection_t* c = m_connection.connection();
    xcb_screen_t* screen = m_connection.screen();
    m_outline = xcb_generate_id(c);
    const std::uint32_t values[] = {screen->black_pixel, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, m_outline, m_connection.root(), 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                      values);
    m_lines = xcb_generate_id(c);
    const std::uint32_t childValues[] = {screen->white_pixel};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, m_lines, m_outline, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, childValues);
    for (xcb_window_t w : {m_outline, m_lines}) {
        setShape(c, XCB_SHAPE_SK_INPUT, w, {});
        setShape(c, XCB_SHAPE_SK_BOUNDING, w, {});
    }
    nameWindow(m_outline, "Mosaro overlay", true);
    xcb_map_window(c, m_lines); // shown whenever its parent is
    m_outlineSize = QSize(1, 1);
    return true;
}

std::uint32_t X11OverlaySurface::rootPixel(QRgb colour) const
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

void X11OverlaySurface::prepare(const QRect& xRect)
{
    if (!m_connection.isConnected() || !ensureInputWindow())
        return;
    xcb_connection_t* c = m_connection.connection();
    const xcb_window_t manager = compositingManager();
    Mode mode = Mode::outline;
    if (manager != XCB_WINDOW_NONE && ensureTranslucentWindow())
        mode = Mode::translucent;
    Log::overlay().debug(modeMessage, mode == Mode::translucent ? "translucent" : "as an outline",
                         manager != XCB_WINDOW_NONE ? "present" : "absent");

    if (mode != m_mode) {
        m_contents.reset();
        if (m_mode == Mode::translucent && m_argbMapped) {
            // Nothing blends it any more; its buffer is not worth keeping.
            xcb_unmap_window(c, m_argb);
            m_argbMapped = false;
        }
    }
    m_mode = mode;
    m_rect = xRect;

    if (mode == Mode::translucent) {
        if (manager != m_compositor) {
            m_compositor = manager; // a new manager redirects the window into a new buffer
            m_contents.reset();
        }
        if (m_argbSize != xRect.size() || !m_argbMapped) {
            m_argbSize = xRect.size();
            m_contents.reset();
            const std::uint32_t values[] = {std::uint32_t(-xRect.width() - kParkGap), std::uint32_t(xRect.y()),
                                            std::uint32_t(xRect.width()), std::uint32_t(xRect.height())};
            xcb_configure_window(
                c, m_argb,
                XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
            if (!m_argbMapped) {
                xcb_map_window(c, m_argb);
                m_argbMapped = true;
            }
        }
    } else {
        ensureOutlineWindows();
        if (m_outlineSize != xRect.size()) {
            m_outlineSize = xRect.size();
            m_contents.reset();
            const std::uint32_t size[] = {std::uint32_t(xRect.width()), std::uint32_t(xRect.height())};
            xcb_configure_window(c, m_outline, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
            xcb_configure_window(c, m_lines, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
        }
    }
}

void X11OverlaySurface::positionTranslucent(bool onScreen)
{
    xcb_connection_t* c = m_connection.connection();
    const int x = onScreen ? m_rect.x() : -m_rect.width() - kParkGap;
    if (onScreen) {
        const std::uint32_t values[] = {std::uint32_t(x), std::uint32_t(m_rect.y()), XCB_STACK_MODE_ABOVE};
        xcb_configure_window(c, m_argb, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_STACK_MODE,
                             values);
    } else {
        const std::uint32_t values[] = {std::uint32_t(x)};
        xcb_configure_window(c, m_argb, XCB_CONFIG_WINDOW_X, values);
    }
}

void X11OverlaySurface::show()
{
    if (!m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    if (m_mode == Mode::translucent && m_argb != XCB_WINDOW_NONE) {
        positionTranslucent(true);
    } else if (m_outline != XCB_WINDOW_NONE) {
        const std::uint32_t values[] = {std::uint32_t(m_rect.x()), std::uint32_t(m_rect.y()), XCB_STACK_MODE_ABOVE};
        xcb_configure_window(c, m_outline, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_STACK_MODE,
                             values);
        xcb_map_window(c, m_outline);
    }
    m_shown = true;
    m_connection.flush();
}

void X11OverlaySurface::hide()
{
    if (!m_shown || !m_connection.isConnected()) {
        m_shown = false;
        return;
    }
    m_shown = false;
    if (m_mode == Mode::translucent && m_argb != XCB_WINDOW_NONE)
        positionTranslucent(false);
    else if (m_outline != XCB_WINDOW_NONE)
        xcb_unmap_window(m_connection.connection(), m_outline);
    m_connection.flush();
}

void X11OverlaySurface::fillRects(const std::vector<QRect>& rects, QRgb pixel)
{
    if (m_argb == XCB_WINDOW_NONE || rects.empty() || !m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    const std::uint32_t foreground = pixel;
    xcb_change_gc(c, m_argbGc, XCB_GC_FOREGROUND, &foreground);
    std::vector<xcb_rectangle_t> out;
    out.reserve(rects.size());
    for (const QRect& r : rects)
        out.push_back({std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    // A request holds at most 65535 four-byte units without BIG-REQUESTS.
    constexpr std::size_t perRequest = 30000;
    for (std::size_t i = 0; i < out.size(); i += perRequest)
        xcb_poly_fill_rectangle(c, m_argb, m_argbGc, std::uint32_t(std::min(perRequest, out.size() - i)),
                                out.data() + i);
}

void X11OverlaySurface::putImage(const QImage& image, QPoint at)
{
    if (m_argb == XCB_WINDOW_NONE || image.isNull() || !m_connection.isConnected())
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
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, m_argb, m_argbGc, std::uint16_t(pixels.width()),
                      std::uint16_t(rows), std::int16_t(at.x()), std::int16_t(at.y() + y), 0, 32,
                      std::uint32_t(rowBytes * std::size_t(rows)), pixels.constScanLine(y));
    }
}

void X11OverlaySurface::setOutline(const QRegion& lines, QRgb lineColour, const QRegion& outline, QRgb outlineColour)
{
    if (m_outline == XCB_WINDOW_NONE || !m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    if (m_outlineColour != outlineColour) {
        m_outlineColour = outlineColour;
        const std::uint32_t pixel = rootPixel(outlineColour);
        xcb_change_window_attributes(c, m_outline, XCB_CW_BACK_PIXEL, &pixel);
        xcb_clear_area(c, 0, m_outline, 0, 0, 0, 0);
    }
    if (m_lineColour != lineColour) {
        m_lineColour = lineColour;
        const std::uint32_t pixel = rootPixel(lineColour);
        xcb_change_window_attributes(c, m_lines, XCB_CW_BACK_PIXEL, &pixel);
        xcb_clear_area(c, 0, m_lines, 0, 0, 0, 0);
    }
    // The child first: until its parent follows, every pixel shows either the old or the new
    // frame, never a line colour where the outline goes.
    setShape(c, XCB_SHAPE_SK_BOUNDING, m_lines, xRects(lines));
    setShape(c, XCB_SHAPE_SK_BOUNDING, m_outline, xRects(lines + outline));
}

// ---------------------------------------------------------------------------------------------
// X11OverlayWindow

X11OverlayWindow::X11OverlayWindow(X11Connection& connection, X11OverlaySurface& surface, const X11ScreenList& screens,
                                   LocalEventMonitors& monitors, NotificationCenter& defaultCenter,
                                   X11HotKeyService* hotKeys, QColor accent)
    : m_connection(connection), m_surface(surface), m_screens(screens), m_monitors(monitors), m_center(defaultCenter),
      m_hotKeys(hotKeys), m_view(std::make_unique<OverlayView>(surface, accent))
{
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) { return handleEvent(e); });
    m_grabRetry.setInterval(kGrabRetryMs);
    QObject::connect(&m_grabRetry, &QTimer::timeout, [this] { retryGrab(); });
}

X11OverlayWindow::~X11OverlayWindow()
{
    m_connection.removeEventListener(m_listener);
    if (!m_closed)
        close();
}

QRect X11OverlayWindow::xRect() const
{
    const Rect r = flippedRect(m_frame, m_screens.lastPrimaryHeight());
    return QRect(int(r.x), int(r.y), int(r.width), int(r.height));
}

void X11OverlayWindow::setFrame(const Rect& frame)
{
    m_frame = frame;
}

void X11OverlayWindow::setContent(std::shared_ptr<OverlayViewModel> viewModel)
{
    m_view->setViewModel(std::move(viewModel));
}

bool X11OverlayWindow::tryGrab()
{
    const std::uint8_t status = m_surface.grabKeyboard();
    m_isKey = status == XCB_GRAB_STATUS_SUCCESS;
    return m_isKey;
}

void X11OverlayWindow::takeKeyboard()
{
    if (m_keyboardAsked || m_closed || !m_connection.isConnected())
        return;
    m_keyboardAsked = true;
    m_surface.owner = this;
    m_surface.requestKeyboard();
}

void X11OverlayWindow::settleGrab()
{
    if (m_grabAnswered || !m_keyboardAsked)
        return;
    m_grabAnswered = true;
    const std::uint8_t status = m_surface.keyboardStatus();
    m_isKey = status == XCB_GRAB_STATUS_SUCCESS;
    if (!m_isKey) {
        Log::overlay().debug(grabRetryMessage, int(status));
        m_grabRetry.start();
    }
}

void X11OverlayWindow::retryGrab()
{
    if (m_closed || !ownsSurface()) {
        m_grabRetry.stop();
        return;
    }
    if (tryGrab()) {
        m_grabRetry.stop();
        return;
    }
    if (++m_grabAttempts < kGrabAttempts)
        return;
    m_grabRetry.stop();
    Log::overlay().error(grabFailedMessage);
    m_center.post(PlatformNotifications::windowDidResignKey, static_cast<OverlayWindow*>(this));
}

void X11OverlayWindow::makeKeyAndOrderFront()
{
    if (m_closed || !m_connection.isConnected())
        return;
    takeKeyboard();
    m_surface.owner = this;
    m_surface.onExposed = [this](const QRegion& region) {
        m_view->repaint(region);
        m_connection.flush();
    };
    const auto active = xcb_get_property(m_connection.connection(), 0, m_connection.root(),
                                         m_connection.atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW, 0, 1);
    // Drawn before it is shown: the first frame on screen is complete. The only wait is for
    // the compositing manager's answer, asked for together with the keyboard.
    m_surface.prepare(xRect());
    m_view->show();
    m_surface.show();
    settleGrab();
    if (auto reply = m_connection.reply<xcb_get_property_reply_t>(xcb_get_property_reply, active);
        reply && (*reply)->type == XCB_ATOM_WINDOW && (*reply)->format == 32 && (*reply)->value_len >= 1)
        m_activeAtShow = *static_cast<const xcb_window_t*>(xcb_get_property_value(reply->get()));
}

void X11OverlayWindow::loseKey()
{
    if (!m_isKey)
        return;
    m_isKey = false;
    m_center.post(PlatformNotifications::windowDidResignKey, static_cast<OverlayWindow*>(this));
}

bool X11OverlayWindow::handleEvent(xcb_generic_event_t* event)
{
    if (m_closed || !ownsSurface())
        return false;
    const std::uint8_t type = event->response_type & 0x7f;
    switch (type) {
    case XCB_KEY_PRESS:
    case XCB_KEY_RELEASE: {
        auto* key = reinterpret_cast<xcb_key_press_event_t*>(event);
        if (!m_isKey || key->event != m_surface.keyWindow())
            return false;
        // A key with no place in the key model still reaches the overlay, which closes on it.
        const std::uint16_t code =
            macKeyCodeForEvdev(key->detail >= x11KeycodeOffset ? key->detail - x11KeycodeOffset : 0).value_or(0xFFFF);
        // Modifier keys alone change flags; they are not key presses of their own.
        const bool isModifier = code >= 54 && code <= 63;
        const KeyEvent::Type kind = isModifier              ? KeyEvent::Type::flagsChanged
                                    : type == XCB_KEY_PRESS ? KeyEvent::Type::keyDown
                                                            : KeyEvent::Type::keyUp;
        const KeyEvent keyEvent{kind, code, modifierFlagsFromX11State(key->state), static_cast<OverlayWindow*>(this)};
        if (auto passed = m_monitors.dispatch(keyEvent); passed && passed->type == KeyEvent::Type::keyDown)
            keyDown(*passed);
        return true;
    }
    case XCB_FOCUS_OUT: {
        auto* focus = reinterpret_cast<xcb_focus_out_event_t*>(event);
        // The previous panel's grab ending (a jump) is not this panel losing the keyboard.
        if (focus->event == m_surface.keyWindow() && focus->mode == XCB_NOTIFY_MODE_UNGRAB &&
            !m_surface.isBeforeLastGrab(event))
            loseKey();
        return false;
    }
    case XCB_PROPERTY_NOTIFY: {
        auto* prop = reinterpret_cast<xcb_property_notify_event_t*>(event);
        if (m_isKey && prop->window == m_connection.root() && prop->atom == m_connection.atom("_NET_ACTIVE_WINDOW")) {
            const auto active = m_connection.windows(m_connection.root(), prop->atom);
            const xcb_window_t now = active ? active->front() : xcb_window_t(XCB_WINDOW_NONE);
            // Some window managers clear the active window when it goes away; that is not the
            // user moving the focus elsewhere, and the commit will answer for the lost window.
            const bool targetVanished = now == XCB_WINDOW_NONE && m_activeAtShow != XCB_WINDOW_NONE &&
                                        !m_connection.windowExists(m_activeAtShow);
            if (now != m_activeAtShow && !targetVanished)
                loseKey(); // another window became active: the overlay lost focus
        }
        return false;
    }
    default:
        return false;
    }
}

void X11OverlayWindow::releaseKeyboard()
{
    m_grabRetry.stop();
    if (ownsSurface())
        m_surface.ungrabKeyboard();
    if (m_hotKeys)
        m_hotKeys->forgetHeldKeys();
}

void X11OverlayWindow::resignKeyWindow()
{
    releaseKeyboard();
    loseKey();
}

void X11OverlayWindow::orderOut()
{
    if (!ownsSurface())
        return;
    m_view->hide();
    m_surface.hide();
}

void X11OverlayWindow::close()
{
    if (m_closed)
        return;
    onKeyDown = nullptr;
    if (m_isKey || m_grabRetry.isActive())
        releaseKeyboard();
    m_closed = true;
    m_isKey = false;
    m_view->hide();
    m_view->setViewModel(nullptr);
    if (ownsSurface()) {
        m_surface.hide();
        m_surface.owner = nullptr;
        m_surface.onExposed = nullptr;
    }
}

bool X11OverlayWindow::isVisible() const
{
    return !m_closed && ownsSurface() && m_surface.isShown();
}

ScreenRef X11OverlayWindow::screen() const
{
    for (const ScreenRef& screen : m_screens.lastRead())
        if (screen->frame().contains(m_frame.midpoint()))
            return screen;
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// X11OverlayWindowFactory

X11OverlayWindowFactory::X11OverlayWindowFactory(X11Connection& connection, const X11ScreenList& screens,
                                                 LocalEventMonitors& monitors, NotificationCenter& defaultCenter,
                                                 X11HotKeyService* hotKeys)
    : m_connection(connection), m_screens(screens), m_monitors(monitors), m_center(defaultCenter), m_hotKeys(hotKeys)
{}

X11OverlayWindowFactory::~X11OverlayWindowFactory() = default;

std::unique_ptr<OverlayWindow> X11OverlayWindowFactory::makeOverlayWindow()
{
    if (!m_surface)
        m_surface = std::make_unique<X11OverlaySurface>(m_connection);
    const QColor accent = qobject_cast<QGuiApplication*>(QCoreApplication::instance())
                              ? QGuiApplication::palette().color(QPalette::Highlight)
                              : QColor(48, 140, 198);
    return std::make_unique<X11OverlayWindow>(m_connection, *m_surface, m_screens, m_monitors, m_center, m_hotKeys,
                                              accent);
}

} // namespace mosaro
