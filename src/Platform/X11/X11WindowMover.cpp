#include "Platform/X11/X11WindowMover.h"

#include "Diagnostics/Log/Log.h"

#include <algorithm>
#include <cmath>

namespace mosaro {

namespace {

using Clock = X11WindowMover::Clock;
using std::chrono::milliseconds;

// A manager that has not answered a request in this time has ignored it: managers answer within
// a few milliseconds, and a busy machine gets a generous margin.
constexpr milliseconds silenceMeansIgnored{300};
// Once a manager has answered, this much quiet means it has finished placing the window.
constexpr milliseconds settleTime{80};
// Beyond this a frame extent is not a real decoration.
constexpr double maxFrameExtent = 4096;

constexpr const char* keptInPlaceMessage =
    "window manager kept window %{public}s in place: asked for %{public}s, it stays at %{public}s";
constexpr const char* placedElsewhereMessage =
    "window manager placed window %{public}s at %{public}s instead of %{public}s";
constexpr const char* timedOutMessage = "window manager did not finish placing window %{public}s in time";
constexpr const char* moveResizeIgnoredMessage =
    "window manager ignores _NET_MOVERESIZE_WINDOW; moving windows with ConfigureWindow";
constexpr const char* correctionMessage = "window manager places windows off by %{public}s; correcting";
constexpr const char* stillMaximizedMessage =
    "window manager keeps window %{public}s maximized: it ignores the request to restore it";
constexpr const char* constrainedMessage =
    "window %{public}s does not fit where it is moved; the manager keeps it at %{public}s";
constexpr const char* heldMessage = "window manager holds window %{public}s inside the screen's free area: asked for "
                                    "%{public}s, it is at %{public}s";
constexpr const char* attemptMessage =
    "move %{public}s to %{public}s by %{public}s: %{public}s, now at %{public}s (client %{public}s)";

const char* waitName(int kind)
{
    static const char* const names[] = {"reached", "settled", "silent", "gone", "lost", "timed out"};
    return kind >= 0 && kind < 6 ? names[kind] : "?";
}

QString windowText(xcb_window_t window)
{
    return QStringLiteral("0x%1").arg(window, 0, 16);
}

int msUntil(Clock::time_point t)
{
    return int(std::max<std::int64_t>(0, std::chrono::duration_cast<milliseconds>(t - Clock::now()).count()));
}

std::int32_t coordinate(double v)
{
    return std::int32_t(std::clamp(std::round(v), -32768.0, 32767.0));
}

std::uint32_t extent(double v)
{
    return std::uint32_t(std::clamp(std::round(v), 1.0, 32767.0));
}

} // namespace

X11WindowMover::X11WindowMover(X11Connection& connection) : m_connection(connection)
{
    // Known before the first move, so that no placement waits for an atom.
    m_connection.internAtoms({"_NET_FRAME_EXTENTS", "_GTK_FRAME_EXTENTS", "_NET_WM_STATE",
                              "_NET_WM_STATE_MAXIMIZED_VERT", "_NET_WM_STATE_MAXIMIZED_HORZ",
                              "_NET_SUPPORTING_WM_CHECK", "_NET_SUPPORTED", "_NET_MOVERESIZE_WINDOW"});
    // A destroyed window's id may come back for another window, which we do not watch yet.
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) {
        switch (e->response_type & 0x7f) {
        case XCB_DESTROY_NOTIFY: {
            const xcb_window_t gone = reinterpret_cast<const xcb_destroy_notify_event_t*>(e)->window;
            m_watched.erase(gone);
            forgetFrame(gone);
            break;
        }
        case XCB_REPARENT_NOTIFY:
            forgetFrame(reinterpret_cast<const xcb_reparent_notify_event_t*>(e)->window);
            break;
        default:
            break;
        }
        return false;
    });
}

void X11WindowMover::forgetFrame(xcb_window_t window)
{
    m_frameOf.erase(window);
    for (auto it = m_frameOf.begin(); it != m_frameOf.end();)
        it = it->second == window ? m_frameOf.erase(it) : std::next(it);
}

X11WindowMover::~X11WindowMover()
{
    m_connection.removeEventListener(m_listener);
}

X11Result<X11WindowGeometry> X11WindowMover::geometry(xcb_window_t window, xcb_window_t* frameWindow)
{
    if (!m_connection.isConnected())
        return unexpected(X11Error{X11Error::Kind::connectionLost});
    xcb_connection_t* c = m_connection.connection();
    const xcb_window_t root = m_connection.root();
    // Everything about the client goes out at once, then one more round trip per level of
    // frames above it (one with most managers).
    const auto geometryCookie = xcb_get_geometry(c, window);
    const auto translateCookie = xcb_translate_coordinates(c, window, root, 0, 0);
    const auto treeCookie = xcb_query_tree(c, window);
    auto frameExtentsAsked = m_connection.askProperty(window, m_connection.atom("_NET_FRAME_EXTENTS"));
    auto shadowAsked = m_connection.askProperty(window, m_connection.atom("_GTK_FRAME_EXTENTS"));
    // The frame found last time is asked for at once; the tree tells whether it still is the one.
    const auto known = m_frameOf.find(window);
    const xcb_window_t knownFrame = known != m_frameOf.end() ? known->second : xcb_window_t(XCB_WINDOW_NONE);
    std::optional<xcb_get_geometry_cookie_t> knownFrameCookie;
    if (knownFrame != XCB_WINDOW_NONE)
        knownFrameCookie = xcb_get_geometry(c, knownFrame);
    auto g = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, geometryCookie);
    auto t = m_connection.reply<xcb_translate_coordinates_reply_t>(xcb_translate_coordinates_reply, translateCookie);
    auto tree = m_connection.reply<xcb_query_tree_reply_t>(xcb_query_tree_reply, treeCookie);
    std::optional<X11Result<XcbPtr<xcb_get_geometry_reply_t>>> knownFrameGeometry;
    if (knownFrameCookie)
        knownFrameGeometry = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, *knownFrameCookie);
    if (!g)
        return unexpected(g.error());
    if (!t)
        return unexpected(t.error());
    if (!tree)
        return unexpected(tree.error());

    auto outerOf = [](const xcb_get_geometry_reply_t& a) {
        const double b = a.border_width;
        return Rect{double(a.x), double(a.y), a.width + 2 * b, a.height + 2 * b};
    };
    // The child of the root that holds the client: the manager's frame, when it reparents.
    xcb_window_t top = window;
    xcb_window_t parent = (*tree)->parent;
    std::optional<Rect> ancestor;
    if (parent == knownFrame && knownFrameGeometry && *knownFrameGeometry) {
        // Still in the frame we watch, which is still a child of the root (else we would have
        // been told it moved or went away).
        top = knownFrame;
        parent = root;
        ancestor = outerOf(***knownFrameGeometry);
    } else if (knownFrame != XCB_WINDOW_NONE) {
        m_frameOf.erase(window);
    }
    int depth = 0;
    for (; depth < 16 && parent != root && parent != XCB_WINDOW_NONE; ++depth) {
        const auto parentTree = xcb_query_tree(c, parent);
        const auto parentGeometry = xcb_get_geometry(c, parent);
        auto up = m_connection.reply<xcb_query_tree_reply_t>(xcb_query_tree_reply, parentTree);
        auto a = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, parentGeometry);
        if (!up)
            return unexpected(up.error());
        top = parent;
        parent = (*up)->parent;
        ancestor.reset();
        if (a)
            ancestor = outerOf(**a);
    }
    // A frame right under the root that we watch is remembered for the next reading.
    if (depth == 1 && ancestor && parent == root && m_watched.count(top))
        m_frameOf[window] = top;
    if (frameWindow)
        *frameWindow = ancestor ? top : xcb_window_t(XCB_WINDOW_NONE);

    X11WindowGeometry out;
    out.client = {double((*t)->dst_x), double((*t)->dst_y), double((*g)->width), double((*g)->height)};
    out.border = (*g)->border_width;
    const auto frameExtents =
        X11Properties::extents(m_connection.propertyValue(frameExtentsAsked), maxFrameExtent, maxFrameExtent);
    out.outer = outerFrameOf(out.client, out.border, frameExtents, ancestor);
    if (const auto shadow =
            X11Properties::extents(m_connection.propertyValue(shadowAsked), out.client.width, out.client.height))
        out.shadow = *shadow;
    return out;
}

std::vector<Rect> X11WindowMover::holdingAreas()
{
    if (m_holdingAreas)
        return m_holdingAreas();
    auto root = m_connection.reply<xcb_get_geometry_reply_t>(
        xcb_get_geometry_reply, xcb_get_geometry(m_connection.connection(), m_connection.root()));
    if (!root)
        return {};
    return {Rect{0, 0, double((*root)->width), double((*root)->height)}};
}

bool X11WindowMover::maximizedIn(const std::optional<X11Property>& state)
{
    const auto states = X11Properties::atoms(state);
    return X11Properties::contains(states, m_connection.atom("_NET_WM_STATE_MAXIMIZED_VERT")) ||
           X11Properties::contains(states, m_connection.atom("_NET_WM_STATE_MAXIMIZED_HORZ"));
}

bool X11WindowMover::isMaximized(xcb_window_t window)
{
    return maximizedIn(m_connection.propertyValue(window, m_connection.atom("_NET_WM_STATE")));
}

X11WindowMover::Habits& X11WindowMover::habitsOf(xcb_window_t manager)
{
    // What was learnt holds for one manager; another one (or a restarted one) starts afresh.
    if (manager != m_manager) {
        m_manager = manager;
        m_habits = {};
    }
    return m_habits;
}

X11WindowMover::Facts X11WindowMover::readFacts(xcb_window_t window)
{
    // Asked for together with the geometry's own requests: one round trip for all of them.
    const xcb_window_t root = m_connection.root();
    auto hints = m_connection.askProperty(window, XCB_ATOM_WM_NORMAL_HINTS);
    auto state = m_connection.askProperty(window, m_connection.atom("_NET_WM_STATE"));
    auto check = m_connection.askProperty(root, m_connection.atom("_NET_SUPPORTING_WM_CHECK"));
    auto supported = m_connection.askProperty(root, m_connection.atom("_NET_SUPPORTED"));
    Facts facts;
    facts.geometry = geometry(window, &facts.frame);
    facts.hints = X11Properties::sizeHints(m_connection.propertyValue(hints));
    facts.maximized = maximizedIn(m_connection.propertyValue(state));
    const auto wm = X11Properties::list32(m_connection.propertyValue(check), XCB_ATOM_WINDOW, 1);
    facts.manager = wm ? (*wm)[0] : xcb_window_t(XCB_WINDOW_NONE);
    facts.listsMoveResize = X11Properties::contains(X11Properties::atoms(m_connection.propertyValue(supported)),
                                                    m_connection.atom("_NET_MOVERESIZE_WINDOW"));
    return facts;
}

std::optional<xcb_get_window_attributes_cookie_t> X11WindowMover::askToWatch(xcb_window_t window)
{
    if (window == XCB_WINDOW_NONE || m_watched.count(window) || !m_connection.isConnected())
        return std::nullopt;
    return xcb_get_window_attributes(m_connection.connection(), window);
}

void X11WindowMover::watch(xcb_window_t window, std::uint32_t mask,
                           std::optional<xcb_get_window_attributes_cookie_t> asked)
{
    if (!asked)
        asked = askToWatch(window);
    if (!asked)
        return;
    // Keep whatever this connection already selects on the window (it may be one of ours).
    auto attributes = m_connection.reply<xcb_get_window_attributes_reply_t>(xcb_get_window_attributes_reply, *asked);
    if (!attributes)
        return;
    // Not waited for: the requests that follow reach the server after it, and a window that
    // is gone says so when it is next read.
    const std::uint32_t merged = (*attributes)->your_event_mask | mask;
    xcb_change_window_attributes(m_connection.connection(), window, XCB_CW_EVENT_MASK, &merged);
    m_watched.insert(window);
}

bool X11WindowMover::send(Method method, xcb_window_t window, const X11MoveRequest& request)
{
    ++m_report.requests;
    if (method == Method::moveResizeMessage) {
        // North-west gravity: the position is the outer frame's top-left; the size is the client's.
        constexpr std::uint32_t northWest = 1, allFields = 0xf << 8, sourcePager = 2u << 12;
        return m_connection
            .postRootMessage(window, m_connection.atom("_NET_MOVERESIZE_WINDOW"), northWest | allFields | sourcePager,
                             std::uint32_t(coordinate(request.frame.x)), std::uint32_t(coordinate(request.frame.y)),
                             extent(request.clientSize.width), extent(request.clientSize.height))
            .hasValue();
    }
    m_report.usedConfigure = true;
    const std::uint32_t values[] = {std::uint32_t(coordinate(request.client.x)),
                                    std::uint32_t(coordinate(request.client.y)), extent(request.clientSize.width),
                                    extent(request.clientSize.height)};
    constexpr std::uint16_t mask =
        XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT;
    return m_connection.check(xcb_configure_window_checked(m_connection.connection(), window, mask, values)).hasValue();
}

bool X11WindowMover::isAbout(xcb_generic_event_t* e, xcb_window_t window, xcb_window_t frame) const
{
    auto ours = [&](xcb_window_t w) { return w == window || (frame != XCB_WINDOW_NONE && w == frame); };
    switch (e->response_type & 0x7f) {
    case XCB_CONFIGURE_NOTIFY:
        return ours(reinterpret_cast<xcb_configure_notify_event_t*>(e)->window);
    case XCB_DESTROY_NOTIFY:
        return reinterpret_cast<xcb_destroy_notify_event_t*>(e)->window == window;
    case XCB_REPARENT_NOTIFY:
        return reinterpret_cast<xcb_reparent_notify_event_t*>(e)->window == window;
    case XCB_PROPERTY_NOTIFY:
        return reinterpret_cast<xcb_property_notify_event_t*>(e)->window == window;
    default:
        return false;
    }
}

X11WindowMover::WindowEvents X11WindowMover::nextEvents(xcb_window_t window, xcb_window_t frame,
                                                        Clock::time_point sentAt,
                                                        const std::optional<Clock::time_point>& lastEvent,
                                                        Clock::time_point deadline)
{
    // Until the manager has been quiet for a while after its last answer, or, without any answer,
    // long enough to count as ignoring the request.
    const auto until = std::min(deadline, lastEvent ? *lastEvent + settleTime : sentAt + silenceMeansIgnored);
    WindowEvents events;
    events.got = m_connection.waitForEvent(
        [&](xcb_generic_event_t* e) {
            if (!isAbout(e, window, frame))
                return false;
            const auto type = e->response_type & 0x7f;
            events.destroyed = events.destroyed || type == XCB_DESTROY_NOTIFY;
            events.configured = events.configured || type == XCB_CONFIGURE_NOTIFY;
            return true;
        },
        msUntil(until));
    return events;
}

X11WindowMover::Answer X11WindowMover::await(xcb_window_t window, xcb_window_t frame, const Rect& target,
                                             const std::optional<X11Properties::SizeHints>& hints,
                                             Clock::time_point deadline)
{
    const auto sentAt = Clock::now();
    std::optional<Clock::time_point> lastEvent;
    Answer answer;
    while (true) {
        const WindowEvents events = nextEvents(window, frame, sentAt, lastEvent, deadline);
        const bool got = events.got;
        if (!m_connection.isConnected())
            return {Wait::lost, {}};
        if (events.destroyed)
            return {Wait::gone, {}};
        // Looked at on every answer, and once more when the time is up: not every manager
        // reports every change to the client.
        auto now = geometry(window);
        if (!now)
            return {now.error().kind == X11Error::Kind::connectionLost ? Wait::lost : Wait::gone, {}};
        answer.geometry = *now;
        if (reachesTarget(*now, target, hints))
            return {Wait::reached, *now};
        if (got) {
            lastEvent = Clock::now();
            continue;
        }
        if (Clock::now() >= deadline)
            return {lastEvent ? Wait::settled : Wait::timedOut, answer.geometry};
        return {lastEvent ? Wait::settled : Wait::silent, answer.geometry};
    }
}

bool X11WindowMover::unmaximize(xcb_window_t window, Clock::time_point deadline)
{
    m_report.unmaximized = true;
    constexpr std::uint32_t removeState = 0, sourcePager = 2;
    m_connection.processPendingEvents();
    if (!m_connection.sendRootMessage(window, m_connection.atom("_NET_WM_STATE"), removeState,
                                      m_connection.atom("_NET_WM_STATE_MAXIMIZED_VERT"),
                                      m_connection.atom("_NET_WM_STATE_MAXIMIZED_HORZ"), sourcePager))
        return false;
    // Managers change the frame when they un-maximize (openbox gives it back its borders), so the
    // move must wait until the window shows its restored frame: the state gone, and the frame
    // extents agreeing with the frame window once the manager has configured it.
    xcb_window_t frame = XCB_WINDOW_NONE;
    (void)geometry(window, &frame);
    // A client that draws its own shadow (GTK) puts it back after the manager has restored the
    // frame, in requests of its own; such a window is restored once it has gone quiet.
    const bool drawsOwnShadow = m_connection.propertyValue(window, m_connection.atom("_GTK_FRAME_EXTENTS")).has_value();
    const auto sentAt = Clock::now();
    std::optional<Clock::time_point> lastEvent;
    bool configured = false;
    while (true) {
        const WindowEvents events = nextEvents(window, frame, sentAt, lastEvent, deadline);
        const bool got = events.got;
        configured = configured || events.configured;
        if (events.destroyed || !m_connection.isConnected())
            return false;
        if (got)
            lastEvent = Clock::now();
        if (!isMaximized(window) && configured) {
            xcb_window_t nowFrame = XCB_WINDOW_NONE;
            auto now = geometry(window, &nowFrame);
            if (!now)
                return false;
            Rect ancestor = now->outer;
            if (nowFrame != XCB_WINDOW_NONE) {
                if (auto a = m_connection.reply<xcb_get_geometry_reply_t>(
                        xcb_get_geometry_reply, xcb_get_geometry(m_connection.connection(), nowFrame))) {
                    const double b = (*a)->border_width;
                    ancestor = {double((*a)->x), double((*a)->y), (*a)->width + 2 * b, (*a)->height + 2 * b};
                }
            }
            if (ancestor == now->outer && !drawsOwnShadow)
                return true;
        }
        if (!got) // quiet, or out of time: go on with what the window shows now
            return !isMaximized(window);
    }
}

X11WindowMover::Outcome X11WindowMover::place(xcb_window_t window, const std::optional<Point>& origin,
                                              const std::optional<Size>& size, Clock::time_point deadline)
{
    m_report = {};
    const auto& log = Log::windowmanager();
    const auto watchAsked = askToWatch(window);
    Facts facts = readFacts(window);
    watch(window, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE, watchAsked);
    auto current = facts.geometry;
    if (!current)
        return current.error().kind == X11Error::Kind::connectionLost ? Outcome::connectionLost : Outcome::windowGone;
    const auto& hints = facts.hints;
    auto targetFrom = [&](const X11WindowGeometry& g) {
        const Rect visible = g.visible();
        return Rect{origin ? origin->x : visible.x, origin ? origin->y : visible.y, size ? size->width : visible.width,
                    size ? size->height : visible.height};
    };
    Rect target = targetFrom(*current);
    if (reachesTarget(*current, target, hints))
        return Outcome::placed;

    // The geometry just read serves the first request, unless the window changes before it.
    xcb_window_t knownFrame = facts.frame;
    bool known = true;
    if (facts.maximized) {
        // A maximized window keeps its size against our requests; the manager has to release it.
        if (!unmaximize(window, deadline) && isMaximized(window))
            log.error(stillMaximizedMessage, windowText(window));
        current = geometry(window, &knownFrame);
        if (!current)
            return current.error().kind == X11Error::Kind::connectionLost ? Outcome::connectionLost
                                                                          : Outcome::windowGone;
        target = targetFrom(*current);
        if (reachesTarget(*current, target, hints))
            return Outcome::placed;
    }

    Habits& learnt = habitsOf(facts.manager);
    Method method =
        facts.listsMoveResize && !learnt.moveResizeIgnored ? Method::moveResizeMessage : Method::configureWindow;
    bool fellBack = false, corrected = false, reshadowed = false;
    X11WindowGeometry g = *current;
    const Point offset = g.clientOffset();
    auto learntCorrection = [&](Method m) {
        const auto it = learnt.corrections.find({m, offset.x, offset.y});
        return it == learnt.corrections.end() ? Point{} : it->second;
    };
    Point correction = learntCorrection(method);

    for (int attempt = 0; attempt < 4; ++attempt) {
        xcb_window_t frame = knownFrame;
        const auto before = known ? X11Result<X11WindowGeometry>(*current) : geometry(window, &frame);
        known = false;
        if (!before)
            return before.error().kind == X11Error::Kind::connectionLost ? Outcome::connectionLost
                                                                         : Outcome::windowGone;
        watch(frame, XCB_EVENT_MASK_STRUCTURE_NOTIFY);
        // Earlier notifications about the window must not pass for the answer to this request.
        m_connection.processPendingEvents();
        const X11MoveRequest request = moveRequestFor(g, target, correction);
        if (!send(method, window, request))
            return m_connection.isConnected() ? Outcome::windowGone : Outcome::connectionLost;
        const Answer answer = await(window, frame, target, hints, deadline);
        log.debug(
            attemptMessage, windowText(window), describe(target),
            QString::fromLatin1(method == Method::moveResizeMessage ? "_NET_MOVERESIZE_WINDOW" : "ConfigureWindow"),
            QString::fromLatin1(waitName(int(answer.kind))), describe(answer.geometry.visible()),
            describe(answer.geometry.client));

        switch (answer.kind) {
        case Wait::reached:
            if (fellBack && !learnt.moveResizeIgnored) {
                learnt.moveResizeIgnored = true;
                log.info(moveResizeIgnoredMessage);
            }
            if (correction != Point{})
                learnt.corrections[{method, offset.x, offset.y}] = correction;
            m_report.corrected = corrected;
            return Outcome::placed;
        case Wait::gone:
            return Outcome::windowGone;
        case Wait::lost:
            return Outcome::connectionLost;
        case Wait::timedOut:
            log.error(timedOutMessage, windowText(window));
            return Outcome::timedOut;
        case Wait::silent:
        case Wait::settled:
            break;
        }

        const X11WindowGeometry& landed = answer.geometry;
        // The client changed its shadow while the request was under way, so the request was made
        // for a shadow it no longer has: made again, learning nothing about the manager.
        if (landed.shadow != g.shadow && !reshadowed) {
            reshadowed = true;
            g = landed;
            continue;
        }
        // A window that does not fit where it is sent is held on the screen by most managers: as
        // with a frame the host platform constrains, that is the answer. To a move alone whatever
        // the landing (the size that follows and the position after it are checked again); to a
        // resize when the window now lies inside the area it did not fit.
        const Size sizeGiven = hints ? hints->constrain(request.clientSize) : request.clientSize;
        const Rect asked{request.frame.x, request.frame.y, sizeGiven.width + g.decoration().width,
                         sizeGiven.height + g.decoration().height};
        const auto within = [](const Rect& r, const Rect& area) {
            return r.minX() >= area.minX() && r.minY() >= area.minY() && r.maxX() <= area.maxX() &&
                   r.maxY() <= area.maxY();
        };
        const auto areas = holdingAreas();
        if (!size && std::any_of(areas.begin(), areas.end(), [&](const Rect& a) { return !within(asked, a); })) {
            log.debug(constrainedMessage, windowText(window), describe(landed.visible()));
            return Outcome::placed;
        }
        if (size && std::any_of(areas.begin(), areas.end(),
                                [&](const Rect& a) { return !within(asked, a) && within(landed.outer, a); })) {
            log.info(heldMessage, windowText(window), describe(target), describe(landed.visible()));
            m_report.held = true;
            return Outcome::placed;
        }
        const bool moved = landed.outer != before->outer || landed.client != before->client;
        if (!moved) {
            // Nothing happened: try the other way once, then give up.
            if (method == Method::moveResizeMessage && !fellBack) {
                method = Method::configureWindow;
                fellBack = true;
                correction = learntCorrection(method);
                continue;
            }
            log.error(keptInPlaceMessage, windowText(window), describe(target), describe(answer.geometry.visible()));
            return Outcome::keptInPlace;
        }
        if (corrected) {
            log.error(placedElsewhereMessage, windowText(window), describe(answer.geometry.visible()),
                      describe(target));
            return Outcome::placedElsewhere;
        }
        // The manager put the frame somewhere else than asked: correct by that offset. The size is
        // computed again from the frame and shadow the window has now (a client may change its
        // shadow as it is restored, as GTK does).
        const Point error{landed.outer.x - request.frame.x, landed.outer.y - request.frame.y};
        correction = {correction.x + error.x, correction.y + error.y};
        if (error != Point{})
            log.debug(correctionMessage, describe(error));
        g = landed;
        corrected = true;
    }
    log.error(placedElsewhereMessage, windowText(window), describe(g.visible()), describe(target));
    return Outcome::placedElsewhere;
}

} // namespace mosaro
