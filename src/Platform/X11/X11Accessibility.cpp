#include "Platform/X11/X11Accessibility.h"

#include "Platform/X11/X11AccessibilityTrust.h"

#include <QAbstractEventDispatcher>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace mosaro {

namespace {

constexpr float defaultTimeout = 1.0f;

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
    return windowManagerStatus(c).kind == X11WindowManagerStatus::Kind::drivable;
}

QString describeWindowManager(X11Connection& c)
{
    if (!c.isConnected())
        return QStringLiteral("Mosaro has lost its connection to the X display, so it cannot ask for a window "
                              "manager.");
    const QString display = c.displayName().isEmpty() ? qEnvironmentVariable("DISPLAY") : c.displayName();
    const xcb_atom_t check = c.atom("_NET_SUPPORTING_WM_CHECK");
    const auto wm = c.windows(c.root(), check);
    if (!wm || (*wm)[0] == XCB_WINDOW_NONE)
        return QStringLiteral("No window manager announces itself on display %1: the root window has no "
                              "_NET_SUPPORTING_WM_CHECK property. Either none is running, or the one running "
                              "does not follow EWMH.")
            .arg(display);
    const auto self = c.windows((*wm)[0], check);
    if (!self || (*self)[0] != (*wm)[0])
        return QStringLiteral("A window manager announced itself on display %1 earlier, but it is no longer "
                              "running.")
            .arg(display);
    const QString name = c.text((*wm)[0], c.atom("_NET_WM_NAME")).value_or(QStringLiteral("The window manager"));
    if (!ewmhWindowManagerRunning(c))
        return QStringLiteral("%1 runs on display %2 but does not offer what Mosaro needs: it does not list "
                              "_NET_ACTIVE_WINDOW among its supported EWMH hints.")
            .arg(name, display);
    return QStringLiteral("%1 runs on display %2 and follows EWMH: Mosaro can move and resize windows.")
        .arg(name, display);
}

X11Accessibility::X11Accessibility(X11Connection& connection) : m_connection(connection), m_mover(connection)
{
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        m_turnWatch = std::make_unique<QObject>();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_turnWatch.get(), [this] { ++m_turn; });
    }
    m_connection.internAtoms({"_NET_WM_NAME", "UTF8_STRING", "COMPOUND_TEXT", "WM_STATE", "_NET_WM_STATE_HIDDEN",
                              "_NET_WM_STATE_FULLSCREEN", "_NET_WM_ALLOWED_ACTIONS", "_NET_WM_ACTION_MOVE",
                              "_NET_WM_ACTION_RESIZE", "_NET_WM_PID", "_NET_ACTIVE_WINDOW",
                              "_NET_CLIENT_LIST_STACKING"});
    // A destroyed window's id may come back for another window, which we do not watch yet.
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) {
        if ((e->response_type & 0x7f) == XCB_DESTROY_NOTIFY) {
            const auto* d = reinterpret_cast<const xcb_destroy_notify_event_t*>(e);
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

std::optional<X11Accessibility::ActiveWindow> X11Accessibility::activeWindow()
{
    const auto active = m_connection.windows(m_connection.root(), m_connection.atom("_NET_ACTIVE_WINDOW"));
    if (!active || (*active)[0] == XCB_WINDOW_NONE)
        return std::nullopt;
    const xcb_window_t window = (*active)[0];
    // Whether it exists and whose it is, in one round trip.
    auto exists = m_connection.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, window);
    auto pid = m_connection.askProperty(window, m_connection.atom("_NET_WM_PID"));
    if (!exists)
        return std::nullopt;
    if (m_ownWindows.count(window))
        return ActiveWindow{window, currentProcessID()};
    return ActiveWindow{window, X11Properties::processID(m_connection.propertyValue(pid)).value_or(0)};
}

std::optional<std::int32_t> X11Accessibility::frontmostApplicationProcessID()
{
    const auto active = activeWindow();
    if (!active)
        return std::nullopt;
    return active->processID;
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

AXError X11Accessibility::focusedWindowOf(std::int32_t processID, std::optional<AXValue>& value)
{
    const xcb_window_t root = m_connection.root();
    const auto active = activeWindow();
    if (!m_connection.isConnected())
        return AXErrorCode::cannotComplete;
    if (active && active->processID == processID) {
        value = AXValue{windowElement(active->window)};
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

X11Result<X11WindowGeometry> X11Accessibility::geometryOf(xcb_window_t window)
{
    // Position and size are read one after the other; one reading answers both within a turn
    // of the event loop, unless something was written in between.
    if (m_geometryCache && m_geometryCache->window == window && m_geometryCache->turn == m_turn)
        return m_geometryCache->geometry;
    auto g = m_mover.geometry(window);
    if (g && m_turnWatch)
        m_geometryCache = GeometryCache{window, m_turn, *g};
    return g;
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

    // A vanished window answers the first read with an error, which is the answer.
    if (attribute == AXAttribute::position || attribute == AXAttribute::size) {
        auto g = geometryOf(window);
        if (!g)
            return errorCode(g.error());
        const Rect visible = g->visible();
        value = attribute == AXAttribute::position
                    ? AXValue{AXGeometry{AXGeometry::Kind::point, visible.x, visible.y}}
                    : AXValue{AXGeometry{AXGeometry::Kind::size, visible.width, visible.height}};
    } else if (attribute == AXAttribute::title) {
        auto netName = m_connection.askProperty(window, m_connection.atom("_NET_WM_NAME"), 64 * 1024);
        auto name = m_connection.askProperty(window, XCB_ATOM_WM_NAME, 64 * 1024);
        auto netValue = m_connection.property(netName);
        if (!netValue)
            return errorCode(netValue.error());
        const auto title =
            X11Properties::windowTitle(*netValue, m_connection.propertyValue(name), m_connection.atom("UTF8_STRING"),
                                       m_connection.atom("COMPOUND_TEXT"));
        if (!title)
            return AXErrorCode::noValue;
        value = AXValue{*title};
    } else if (attribute == AXAttribute::minimized) {
        const xcb_atom_t wmStateAtom = m_connection.atom("WM_STATE");
        auto wmStateAsked = m_connection.askProperty(window, wmStateAtom);
        auto netStateAsked = m_connection.askProperty(window, m_connection.atom("_NET_WM_STATE"));
        auto wmStateValue = m_connection.property(wmStateAsked);
        if (!wmStateValue)
            return errorCode(wmStateValue.error());
        bool iconic = false;
        if (const auto state = X11Properties::wmState(*wmStateValue, wmStateAtom))
            iconic = *state == 3; // IconicState
        const auto states = X11Properties::atoms(m_connection.propertyValue(netStateAsked));
        value = AXValue{iconic || X11Properties::contains(states, m_connection.atom("_NET_WM_STATE_HIDDEN"))};
    } else if (attribute == AXAttribute::fullScreen) {
        auto state = m_connection.property(window, m_connection.atom("_NET_WM_STATE"));
        if (!state)
            return errorCode(state.error());
        value = AXValue{
            X11Properties::contains(X11Properties::atoms(*state), m_connection.atom("_NET_WM_STATE_FULLSCREEN"))};
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
    const bool geometric = attribute == AXAttribute::position || attribute == AXAttribute::size;
    if (!geometric && attribute != AXAttribute::title && attribute != AXAttribute::minimized &&
        attribute != AXAttribute::fullScreen)
        return AXErrorCode::attributeUnsupported;

    auto stateAsked = m_connection.askProperty(window, m_connection.atom("_NET_WM_STATE"));
    auto actionsAsked = m_connection.askProperty(window, m_connection.atom("_NET_WM_ALLOWED_ACTIONS"));
    auto hintsAsked = m_connection.askProperty(window, XCB_ATOM_WM_NORMAL_HINTS);
    auto state = m_connection.property(stateAsked);
    if (!state)
        return errorCode(state.error());
    if (!geometric)
        return AXErrorCode::success;
    const auto actions = X11Properties::list32(m_connection.propertyValue(actionsAsked), XCB_ATOM_ATOM, 0);
    auto allows = [&](const char* action) -> bool {
        return !actions || X11Properties::contains(*actions, m_connection.atom(action));
    };
    // A maximized window is moved once it is restored, and managers withdraw the move and resize
    // actions while it is maximized (xfwm4 does): answer for the window as it will be then.
    const bool maximized = m_mover.maximizedIn(*state);
    if (attribute == AXAttribute::position) {
        settable = maximized || allows("_NET_WM_ACTION_MOVE");
    } else {
        const auto hints = X11Properties::sizeHints(m_connection.propertyValue(hintsAsked));
        settable = !(hints && hints->isFixedSize()) && (maximized || allows("_NET_WM_ACTION_RESIZE"));
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

AXError X11Accessibility::writeFrame(xcb_window_t window, float timeout, const std::optional<Point>& position,
                                     const std::optional<Size>& size)
{
    m_geometryCache.reset();
    const auto deadline = X11WindowMover::Clock::now() + std::chrono::microseconds(std::int64_t(double(timeout) * 1e6));
    switch (m_mover.place(window, position, size, deadline)) {
    case X11WindowMover::Outcome::placed:
        return AXErrorCode::success;
    case X11WindowMover::Outcome::windowGone:
        return AXErrorCode::invalidUIElement;
    case X11WindowMover::Outcome::keptInPlace:
    case X11WindowMover::Outcome::placedElsewhere:
    case X11WindowMover::Outcome::connectionLost:
    case X11WindowMover::Outcome::timedOut:
        break;
    }
    return AXErrorCode::cannotComplete;
}

} // namespace mosaro
