#include "Platform/X11/X11Accessibility.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

namespace mosaro {

namespace {

using Clock = std::chrono::steady_clock;

constexpr float defaultTimeout = 1.0f;
// Beyond this a frame extent is not a real decoration.
constexpr double maxFrameExtent = 4096;
// After the WM answered a request with a geometry of its own choosing, how long to let it settle.
constexpr int settleMs = 100;
constexpr int pollMs = 50;

class X11AppElement : public AXElement {
public:
    explicit X11AppElement(std::int32_t pid) : processID(pid) {}
    const std::int32_t processID;
    float timeout = defaultTimeout;
};

class X11WindowElement : public AXElement {
public:
    explicit X11WindowElement(xcb_window_t w) : window(w) {}
    const xcb_window_t window;
    float timeout = defaultTimeout;
};

bool inRange(double v, double lo, double hi)
{
    return std::isfinite(v) && v >= lo && v <= hi;
}

} // namespace

bool ewmhWindowManagerRunning(X11Connection& c)
{
    if (!c.isConnected())
        return false;
    const xcb_atom_t check = c.atom("_NET_SUPPORTING_WM_CHECK");
    const auto wm = c.windows(c.root(), check);
    if (!wm || (*wm)[0] == XCB_WINDOW_NONE)
        return false;
    // A stale property from a WM that has gone names a window that no longer names itself.
    const auto self = c.windows((*wm)[0], check);
    if (!self || (*self)[0] != (*wm)[0])
        return false;
    const auto supported = c.atoms(c.root(), c.atom("_NET_SUPPORTED"));
    const xcb_atom_t active = c.atom("_NET_ACTIVE_WINDOW");
    return supported && std::find(supported->begin(), supported->end(), active) != supported->end();
}

X11Accessibility::X11Accessibility(X11Connection& connection) : m_connection(connection)
{
    // A destroyed window's id may come back for another window, which we do not watch yet.
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) {
        if ((e->response_type & 0x7f) == XCB_DESTROY_NOTIFY) {
            const auto* d = reinterpret_cast<const xcb_destroy_notify_event_t*>(e);
            m_watched.erase(d->window);
            m_ownWindows.erase(d->window);
        }
        return false;
    });
}

X11Accessibility::~X11Accessibility()
{
    m_connection.removeEventListener(m_listener);
}

void X11Accessibility::markOwnWindow(xcb_window_t window)
{
    m_ownWindows.insert(window);
}

void X11Accessibility::unmarkOwnWindow(xcb_window_t window)
{
    m_ownWindows.erase(window);
}

bool X11Accessibility::isProcessTrusted()
{
    return ewmhWindowManagerRunning(m_connection);
}

std::int32_t X11Accessibility::currentProcessID()
{
    return std::int32_t(getpid());
}

std::optional<std::int32_t> X11Accessibility::processOf(xcb_window_t window)
{
    if (m_ownWindows.count(window))
        return currentProcessID();
    return X11Properties::processID(m_connection.propertyValue(window, m_connection.atom("_NET_WM_PID")));
}

std::optional<std::int32_t> X11Accessibility::frontmostApplicationProcessID()
{
    const auto active = m_connection.windows(m_connection.root(), m_connection.atom("_NET_ACTIVE_WINDOW"));
    if (!active || (*active)[0] == XCB_WINDOW_NONE || !m_connection.windowExists((*active)[0]))
        return std::nullopt;
    return processOf((*active)[0]).value_or(0);
}

AXElementRef X11Accessibility::createApplicationElement(std::int32_t processID)
{
    return std::make_shared<X11AppElement>(processID);
}

AXElementRef X11Accessibility::windowElement(xcb_window_t window)
{
    return std::make_shared<X11WindowElement>(window);
}

xcb_window_t X11Accessibility::windowOf(const AXElementRef& element)
{
    const auto* w = dynamic_cast<const X11WindowElement*>(element.get());
    return w ? w->window : xcb_window_t(XCB_WINDOW_NONE);
}

AXError X11Accessibility::setMessagingTimeout(const AXElementRef& element, float seconds)
{
    // Zero (or nonsense) restores the default, as on other platforms.
    const float value = std::isfinite(seconds) && seconds > 0 ? seconds : defaultTimeout;
    if (auto* app = dynamic_cast<X11AppElement*>(element.get())) {
        app->timeout = value;
        return AXErrorCode::success;
    }
    if (auto* window = dynamic_cast<X11WindowElement*>(element.get())) {
        window->timeout = value;
        return AXErrorCode::success;
    }
    return AXErrorCode::illegalArgument;
}

AXError X11Accessibility::errorCode(const X11Error& error) const
{
    switch (error.kind) {
    case X11Error::Kind::invalidWindow:
        return AXErrorCode::invalidUIElement;
    case X11Error::Kind::connectionLost:
    case X11Error::Kind::timedOut:
        return AXErrorCode::cannotComplete;
    case X11Error::Kind::requestFailed:
        break;
    }
    return AXErrorCode::failure;
}

std::optional<X11Accessibility::Extents> X11Accessibility::extents(xcb_window_t window, const char* property,
                                                                   double maxTotalWidth, double maxTotalHeight)
{
    const auto e = X11Properties::extents(m_connection.propertyValue(window, m_connection.atom(property)),
                                          maxTotalWidth, maxTotalHeight);
    if (!e)
        return std::nullopt;
    return Extents{e->left, e->right, e->top, e->bottom};
}

X11Result<X11Accessibility::Geometry> X11Accessibility::geometry(xcb_window_t window)
{
    xcb_connection_t* c = m_connection.connection();
    if (!m_connection.isConnected())
        return unexpected(X11Error{X11Error::Kind::connectionLost});
    const auto geometryCookie = xcb_get_geometry(c, window);
    const auto translateCookie = xcb_translate_coordinates(c, window, m_connection.root(), 0, 0);
    auto g = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, geometryCookie);
    auto t = m_connection.reply<xcb_translate_coordinates_reply_t>(xcb_translate_coordinates_reply, translateCookie);
    if (!g)
        return unexpected(g.error());
    if (!t)
        return unexpected(t.error());
    Geometry out;
    out.client = {double((*t)->dst_x), double((*t)->dst_y), double((*g)->width), double((*g)->height)};
    out.border = (*g)->border_width;
    out.frame = extents(window, "_NET_FRAME_EXTENTS", 2 * maxFrameExtent, 2 * maxFrameExtent).value_or(Extents{});
    out.shadow = extents(window, "_GTK_FRAME_EXTENTS", out.client.width, out.client.height).value_or(Extents{});
    const double b = out.border;
    out.visible = {out.client.x - b - out.frame.left + out.shadow.left,
                   out.client.y - b - out.frame.top + out.shadow.top,
                   out.client.width + 2 * b + out.frame.left + out.frame.right - out.shadow.left - out.shadow.right,
                   out.client.height + 2 * b + out.frame.top + out.frame.bottom - out.shadow.top - out.shadow.bottom};
    return out;
}

std::vector<xcb_atom_t> X11Accessibility::wmState(xcb_window_t window)
{
    return m_connection.atoms(window, m_connection.atom("_NET_WM_STATE")).value_or(std::vector<xcb_atom_t>{});
}

bool X11Accessibility::hasState(xcb_window_t window, const char* state)
{
    const auto states = wmState(window);
    return std::find(states.begin(), states.end(), m_connection.atom(state)) != states.end();
}

bool X11Accessibility::isFixedSize(xcb_window_t window)
{
    const auto hints = X11Properties::sizeHints(m_connection.propertyValue(window, XCB_ATOM_WM_NORMAL_HINTS));
    return hints && hints->isFixedSize();
}

std::optional<bool> X11Accessibility::allows(xcb_window_t window, const char* action)
{
    const auto actions = m_connection.atoms(window, m_connection.atom("_NET_WM_ALLOWED_ACTIONS"));
    if (!actions)
        return std::nullopt;
    return std::find(actions->begin(), actions->end(), m_connection.atom(action)) != actions->end();
}

AXError X11Accessibility::focusedWindowOf(std::int32_t processID, std::optional<AXValue>& value)
{
    const xcb_window_t root = m_connection.root();
    X11Error error;
    const auto active = m_connection.windows(root, m_connection.atom("_NET_ACTIVE_WINDOW"), 1, &error);
    if (!m_connection.isConnected())
        return AXErrorCode::cannotComplete;
    if (active && (*active)[0] != XCB_WINDOW_NONE && m_connection.windowExists((*active)[0]) &&
        processOf((*active)[0]).value_or(0) == processID) {
        value = AXValue{windowElement((*active)[0])};
        return AXErrorCode::success;
    }
    // Not the active application: its topmost window stands for its focused one.
    const auto stacking = m_connection.windows(root, m_connection.atom("_NET_CLIENT_LIST_STACKING"), 0);
    if (stacking) {
        for (auto it = stacking->rbegin(); it != stacking->rend(); ++it) {
            if (processOf(*it).value_or(0) == processID && m_connection.windowExists(*it)) {
                value = AXValue{windowElement(*it)};
                return AXErrorCode::success;
            }
        }
    }
    return AXErrorCode::noValue;
}

AXError X11Accessibility::copyAttributeValue(const AXElementRef& element, const QString& attribute,
                                             std::optional<AXValue>& value)
{
    value.reset();
    if (const auto* app = dynamic_cast<const X11AppElement*>(element.get())) {
        if (attribute == AXAttribute::focusedWindow)
            return focusedWindowOf(app->processID, value);
        return AXErrorCode::attributeUnsupported;
    }
    const xcb_window_t window = windowOf(element);
    if (window == XCB_WINDOW_NONE)
        return AXErrorCode::illegalArgument;
    auto g = geometry(window);
    if (!g)
        return errorCode(g.error());

    if (attribute == AXAttribute::title) {
        const auto title = X11Properties::windowTitle(
            m_connection.propertyValue(window, m_connection.atom("_NET_WM_NAME"), nullptr, 64 * 1024),
            m_connection.propertyValue(window, XCB_ATOM_WM_NAME, nullptr, 64 * 1024), m_connection.atom("UTF8_STRING"),
            m_connection.atom("COMPOUND_TEXT"));
        if (!title)
            return AXErrorCode::noValue;
        value = AXValue{*title};
    } else if (attribute == AXAttribute::minimized) {
        bool iconic = false;
        const xcb_atom_t wmStateAtom = m_connection.atom("WM_STATE");
        if (const auto state = X11Properties::wmState(m_connection.propertyValue(window, wmStateAtom), wmStateAtom))
            iconic = *state == 3; // IconicState
        value = AXValue{iconic || hasState(window, "_NET_WM_STATE_HIDDEN")};
    } else if (attribute == AXAttribute::fullScreen) {
        value = AXValue{hasState(window, "_NET_WM_STATE_FULLSCREEN")};
    } else if (attribute == AXAttribute::position) {
        value = AXValue{AXGeometry{AXGeometry::Kind::point, g->visible.x, g->visible.y}};
    } else if (attribute == AXAttribute::size) {
        value = AXValue{AXGeometry{AXGeometry::Kind::size, g->visible.width, g->visible.height}};
    } else {
        return AXErrorCode::attributeUnsupported;
    }
    return AXErrorCode::success;
}

AXError X11Accessibility::isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable)
{
    settable = false;
    if (dynamic_cast<const X11AppElement*>(element.get()))
        return attribute == AXAttribute::focusedWindow ? AXErrorCode::success : AXErrorCode::attributeUnsupported;
    const xcb_window_t window = windowOf(element);
    if (window == XCB_WINDOW_NONE)
        return AXErrorCode::illegalArgument;
    if (auto g = geometry(window); !g)
        return errorCode(g.error());
    if (attribute == AXAttribute::position) {
        settable = allows(window, "_NET_WM_ACTION_MOVE").value_or(true);
    } else if (attribute == AXAttribute::size) {
        settable = !isFixedSize(window) && allows(window, "_NET_WM_ACTION_RESIZE").value_or(true);
    } else if (attribute != AXAttribute::title && attribute != AXAttribute::minimized &&
               attribute != AXAttribute::fullScreen) {
        return AXErrorCode::attributeUnsupported;
    }
    return AXErrorCode::success;
}

AXError X11Accessibility::setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value)
{
    const auto* windowElement = dynamic_cast<const X11WindowElement*>(element.get());
    if (!windowElement)
        return element ? AXErrorCode::attributeUnsupported : AXErrorCode::illegalArgument;
    const auto* geometryValue = std::get_if<AXGeometry>(&value);
    constexpr double coordinateLimit = 32767;
    if (attribute == AXAttribute::position) {
        if (!geometryValue || geometryValue->kind != AXGeometry::Kind::point ||
            !inRange(geometryValue->a, -coordinateLimit, coordinateLimit) ||
            !inRange(geometryValue->b, -coordinateLimit, coordinateLimit))
            return AXErrorCode::illegalArgument;
        return writeFrame(windowElement->window, windowElement->timeout,
                          Point{std::round(geometryValue->a), std::round(geometryValue->b)}, std::nullopt);
    }
    if (attribute == AXAttribute::size) {
        if (!geometryValue || geometryValue->kind != AXGeometry::Kind::size ||
            !inRange(geometryValue->a, 1, coordinateLimit) || !inRange(geometryValue->b, 1, coordinateLimit))
            return AXErrorCode::illegalArgument;
        return writeFrame(windowElement->window, windowElement->timeout, std::nullopt,
                          Size{std::round(geometryValue->a), std::round(geometryValue->b)});
    }
    return AXErrorCode::attributeUnsupported;
}

void X11Accessibility::watch(xcb_window_t window)
{
    if (m_watched.count(window))
        return;
    xcb_connection_t* c = m_connection.connection();
    // Keep whatever this connection already selects on the window (it may be one of ours).
    auto attributes = m_connection.reply<xcb_get_window_attributes_reply_t>(xcb_get_window_attributes_reply,
                                                                            xcb_get_window_attributes(c, window));
    if (!attributes)
        return;
    const std::uint32_t mask =
        (*attributes)->your_event_mask | XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;
    if (m_connection.check(xcb_change_window_attributes_checked(c, window, XCB_CW_EVENT_MASK, &mask)))
        m_watched.insert(window);
}

AXError X11Accessibility::writeFrame(xcb_window_t window, float timeout, const std::optional<Point>& position,
                                     const std::optional<Size>& size)
{
    const auto start = Clock::now();
    const auto deadline = start + std::chrono::microseconds(std::int64_t(double(timeout) * 1e6));
    auto msLeft = [&](Clock::time_point until) {
        return int(std::max<std::int64_t>(
            0, std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now()).count()));
    };
    watch(window);
    auto current = geometry(window);
    if (!current)
        return errorCode(current.error());

    const xcb_atom_t stateAtom = m_connection.atom("_NET_WM_STATE");
    auto isMaximized = [&] {
        return hasState(window, "_NET_WM_STATE_MAXIMIZED_VERT") || hasState(window, "_NET_WM_STATE_MAXIMIZED_HORZ");
    };
    auto aboutWindow = [window](xcb_generic_event_t* e, xcb_atom_t property) {
        switch (e->response_type & 0x7f) {
        case XCB_CONFIGURE_NOTIFY:
            return reinterpret_cast<xcb_configure_notify_event_t*>(e)->window == window;
        case XCB_DESTROY_NOTIFY:
            return reinterpret_cast<xcb_destroy_notify_event_t*>(e)->window == window;
        case XCB_PROPERTY_NOTIFY: {
            auto* p = reinterpret_cast<xcb_property_notify_event_t*>(e);
            return p->window == window && (property == XCB_ATOM_NONE || p->atom == property);
        }
        default:
            return false;
        }
    };

    if (isMaximized()) {
        // A maximized window keeps its size against our requests; the WM has to release it first.
        constexpr std::uint32_t removeState = 0, sourcePager = 2;
        auto sent = m_connection.sendRootMessage(window, stateAtom, removeState,
                                                 m_connection.atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                                                 m_connection.atom("_NET_WM_STATE_MAXIMIZED_HORZ"), sourcePager);
        if (!sent)
            return errorCode(sent.error());
        while (isMaximized()) {
            if (!m_connection.windowExists(window))
                return m_connection.isConnected() ? AXErrorCode::invalidUIElement : AXErrorCode::cannotComplete;
            if (Clock::now() >= deadline)
                return AXErrorCode::cannotComplete;
            m_connection.waitForEvent([&](xcb_generic_event_t* e) { return aboutWindow(e, stateAtom); },
                                      msLeft(deadline));
        }
        current = geometry(window);
        if (!current)
            return errorCode(current.error());
    }

    const Geometry& g = *current;
    const Rect target{position ? position->x : g.visible.x, position ? position->y : g.visible.y,
                      size ? size->width : g.visible.width, size ? size->height : g.visible.height};
    if (g.visible == target)
        return AXErrorCode::success;

    // The request names the outer frame's top-left (north-west gravity) and the client's size.
    const double frameX = target.x - g.shadow.left, frameY = target.y - g.shadow.top;
    const double clientWidth =
        target.width + g.shadow.left + g.shadow.right - g.frame.left - g.frame.right - 2 * g.border;
    const double clientHeight =
        target.height + g.shadow.top + g.shadow.bottom - g.frame.top - g.frame.bottom - 2 * g.border;
    constexpr std::uint32_t northWest = 1, allFields = 0xf << 8, sourcePager = 2u << 12;
    const xcb_atom_t moveResize = m_connection.atom("_NET_MOVERESIZE_WINDOW");
    auto send = [&] {
        return m_connection.sendRootMessage(window, moveResize, northWest | allFields | sourcePager,
                                            std::uint32_t(std::int32_t(frameX)), std::uint32_t(std::int32_t(frameY)),
                                            std::uint32_t(std::max(1.0, clientWidth)),
                                            std::uint32_t(std::max(1.0, clientHeight)));
    };
    // Earlier notifications about the window must not pass for the answer to this request.
    m_connection.processPendingEvents();
    if (auto sent = send(); !sent)
        return errorCode(sent.error());

    const auto resendAt = start + (deadline - start) / 2;
    bool resent = false;
    std::optional<Clock::time_point> answeredAt;
    while (true) {
        auto until = resent ? deadline : std::min(deadline, resendAt);
        if (answeredAt)
            until = std::min(until, *answeredAt + std::chrono::milliseconds(settleMs));
        // Look again now and then even without news: not every WM reports a move to the client.
        until = std::min(until, Clock::now() + std::chrono::milliseconds(pollMs));
        bool configured = false;
        const bool got = m_connection.waitForEvent(
            [&](xcb_generic_event_t* e) {
                configured = (e->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY && aboutWindow(e, XCB_ATOM_NONE);
                return aboutWindow(e, XCB_ATOM_NONE);
            },
            msLeft(until));
        auto now = geometry(window);
        if (!now)
            return errorCode(now.error());
        if (now->visible == target)
            return AXErrorCode::success;
        if (got && configured)
            answeredAt = Clock::now();
        // Quiet since the WM answered: it has placed the window as it sees fit.
        if (answeredAt && Clock::now() >= *answeredAt + std::chrono::milliseconds(settleMs))
            return AXErrorCode::success;
        if (Clock::now() >= deadline)
            return AXErrorCode::cannotComplete;
        if (!resent && !answeredAt && Clock::now() >= resendAt) {
            resent = true;
            if (auto sent = send(); !sent)
                return errorCode(sent.error());
        }
    }
}

} // namespace mosaro
