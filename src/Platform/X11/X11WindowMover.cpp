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

QString windowText(xcb_window_t window)
{
    return QStringLiteral("0x%1").arg(window, 0, 16);
}

int msUntil(Clock::time_point t)
{
    return int(std::max<std::int64_t>(0, std::chrono::duration_cast<milliseconds>(t - Clock::now()).count()));
}

// The rectangle a window covers in its parent, its border included.
Rect outerOf(const xcb_get_geometry_reply_t& g)
{
    const double b = g.border_width;
    return Rect{double(g.x), double(g.y), g.width + 2 * b, g.height + 2 * b};
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
    const xcb_window_t root = m_connection.root();
    // Everything about the client goes out at once, then one more round trip per level of
    // frames above it (one with most managers).
    auto g = m_connection.ask<xcb_get_geometry_reply>(xcb_get_geometry, window);
    auto t = m_connection.ask<xcb_translate_coordinates_reply>(xcb_translate_coordinates, window, root, std::int16_t(0),
                                                               std::int16_t(0));
    auto tree = m_connection.ask<xcb_query_tree_reply>(xcb_query_tree, window);
    auto frameExtentsAsked = m_connection.askProperty(window, m_connection.atom("_NET_FRAME_EXTENTS"));
    auto shadowAsked = m_connection.askProperty(window, m_connection.atom("_GTK_FRAME_EXTENTS"));
    // The frame found last time is asked for at once; the tree tells whether it still is the one.
    const auto known = m_frameOf.find(window);
    const xcb_window_t knownFrame = known != m_frameOf.end() ? known->second : xcb_window_t(XCB_WINDOW_NONE);
    X11Pending<xcb_get_geometry_reply> knownFrameGeometry;
    if (knownFrame != XCB_WINDOW_NONE)
        knownFrameGeometry = m_connection.ask<xcb_get_geometry_reply>(xcb_get_geometry, knownFrame);
    if (!g)
        return unexpected(g.error());
    if (!t)
        return unexpected(t.error());
    if (!tree)
        return unexpected(tree.error());

    // The child of the root that holds the client: the manager's frame, when it reparents.
    xcb_window_t top = window;
    xcb_window_t parent = tree->parent;
    std::optional<Rect> ancestor;
    if (parent == knownFrame && knownFrameGeometry.wasSent() && knownFrameGeometry) {
        // Still in the frame we watch, which is still a child of the root (else we would have
        // been told it moved or went away).
        top = knownFrame;
        parent = root;
        ancestor = outerOf(*knownFrameGeometry);
    } else if (knownFrame != XCB_WINDOW_NONE) {
        m_frameOf.erase(window);
    }
    int depth = 0;
    for (; depth < 16 && parent != root && parent != XCB_WINDOW_NONE; ++depth) {
        auto up = m_connection.ask<xcb_query_tree_reply>(xcb_query_tree, parent);
        auto a = m_connection.ask<xcb_get_geometry_reply>(xcb_get_geometry, parent);
        if (!up)
            return unexpected(up.error());
        top = parent;
        parent = up->parent;
        ancestor.reset();
        if (a)
            ancestor = outerOf(*a);
    }
    // A frame right under the root that we watch is remembered for the next reading.
    if (depth == 1 && ancestor && parent == root && m_watched.count(top))
        m_frameOf[window] = top;
    if (frameWindow)
        *frameWindow = ancestor ? top : xcb_window_t(XCB_WINDOW_NONE);

    X11WindowGeometry out;
    out.client = {double(t->dst_x), double(t->dst_y), double(g->width), double(g->height)};
    out.border = g->border_width;
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
    auto root = m_connection.ask<xcb_get_geometry_reply>(xcb_get_geometry, m_connection.root());
    if (!root)
        return {};
    return {Rect{0, 0, double(root->width), double(root->height)}};
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

X11Pending<xcb_get_window_attributes_reply> X11WindowMover::askToWatch(xcb_window_t window)
{
    if (window == XCB_WINDOW_NONE || m_watched.count(window))
        return {};
    return m_connection.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, window);
}

void X11WindowMover::watch(xcb_window_t window, std::uint32_t mask,
                           X11Pending<xcb_get_window_attributes_reply> attributes)
{
    // Keep whatever this connection already selects on the window (it may be one of ours).
    if (!attributes.wasSent() || !attributes)
        return;
    // Not waited for: the requests that follow reach the server after it, and a window that
    // is gone says so when it is next read.
    const std::uint32_t merged = attributes->your_event_mask | mask;
    xcb_change_window_attributes(m_connection.connection(), window, XCB_CW_EVENT_MASK, &merged);
    m_watched.insert(window);
}

X11Status X11WindowMover::send(Method method, xcb_window_t window, const X11MoveRequest& request)
{
    ++m_report.requests;
    if (method == Method::moveResizeMessage) {
        // North-west gravity: the position is the outer frame's top-left; the size is the client's.
        constexpr std::uint32_t northWest = 1, allFields = 0xf << 8, sourcePager = 2u << 12;
        return m_connection.postRootMessage(
            window, m_connection.atom("_NET_MOVERESIZE_WINDOW"), northWest | allFields | sourcePager,
            std::uint32_t(coordinate(request.frame.x)), std::uint32_t(coordinate(request.frame.y)),
            extent(request.clientSize.width), extent(request.clientSize.height));
    }
    m_report.usedConfigure = true;
    const std::uint32_t values[] = {std::uint32_t(coordinate(request.client.x)),
                                    std::uint32_t(coordinate(request.client.y)), extent(request.clientSize.width),
                                    extent(request.clientSize.height)};
    constexpr std::uint16_t mask =
        XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT;
    return m_connection.ask<xcb_request_check>(xcb_configure_window_checked, window, mask, values).result();
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
    while (true) {
        const WindowEvents events = nextEvents(window, frame, sentAt, lastEvent, deadline);
        if (!m_connection.isConnected())
            return {Wait::failed, {}, {X11Error::Kind::connectionLost}};
        if (events.destroyed)
            return {Wait::failed, {}, {X11Error::Kind::invalidWindow}};
        // Looked at on every answer, and once more when the time is up: not every manager
        // reports every change to the client.
        auto now = geometry(window);
        if (!now)
            return {Wait::failed, {}, now.error()};
        if (reachesTarget(*now, target, hints))
            return {Wait::reached, *now, {}};
        if (events.got) {
            lastEvent = Clock::now();
            continue;
        }
        if (Clock::now() >= deadline)
            return {lastEvent ? Wait::settled : Wait::timedOut, *now, {}};
        return {lastEvent ? Wait::settled : Wait::silent, *now, {}};
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
                if (auto a = m_connection.ask<xcb_get_geometry_reply>(xcb_get_geometry, nowFrame))
                    ancestor = outerOf(*a);
            }
            if (ancestor == now->outer && !drawsOwnShadow)
                return true;
        }
        if (!got) // quiet, or out of time: go on with what the window shows now
            return !isMaximized(window);
    }
}

// One placement as it goes: what it asks for, the request it makes next and what it learnt.
struct X11WindowMover::Placement {
    xcb_window_t window = XCB_WINDOW_NONE;
    std::optional<Point> origin;
    std::optional<Size> size;
    Clock::time_point deadline;
    std::optional<X11Properties::SizeHints> hints;
    Rect target;
    X11WindowGeometry from; // what the next request is computed from
    xcb_window_t frame = XCB_WINDOW_NONE;
    bool fresh = true; // `from` was read just now: the next attempt needs no reading of its own
    Method method = Method::moveResizeMessage;
    Point offset; // the client's place in its frame, by which corrections are learnt
    Point correction;
    bool fellBack = false;
    bool corrected = false;
    bool reshadowed = false;

    // What is not asked for stays as the window shows it.
    void aimFrom(const X11WindowGeometry& g)
    {
        from = g;
        const Rect visible = g.visible();
        target = {origin ? origin->x : visible.x, origin ? origin->y : visible.y, size ? size->width : visible.width,
                  size ? size->height : visible.height};
    }
    bool reached() const { return reachesTarget(from, target, hints); }
};

X11WindowMover::Outcome X11WindowMover::place(xcb_window_t window, const std::optional<Point>& origin,
                                              const std::optional<Size>& size, Clock::time_point deadline)
{
    m_report = {};
    Placement p;
    p.window = window;
    p.origin = origin;
    p.size = size;
    p.deadline = deadline;
    if (const auto ended = begin(p))
        return *ended;
    // At most: a request made again for a new shadow, the other way, a correction, its check.
    for (int i = 0; i < 4; ++i) {
        if (const auto ended = attempt(p))
            return *ended;
    }
    return misplaced(p, p.from);
}

const char* X11WindowMover::waitName(const Answer& answer)
{
    switch (answer.kind) {
    case Wait::reached:
        return "reached";
    case Wait::settled:
        return "settled";
    case Wait::silent:
        return "silent";
    case Wait::timedOut:
        return "timed out";
    case Wait::failed:
        break;
    }
    return answer.error.kind == X11Error::Kind::connectionLost ? "lost" : "gone";
}

X11WindowMover::Outcome X11WindowMover::outcomeOf(const X11Error& error)
{
    return error.kind == X11Error::Kind::connectionLost ? Outcome::connectionLost : Outcome::windowGone;
}

std::optional<X11WindowMover::Outcome> X11WindowMover::begin(Placement& p)
{
    auto watchAsked = askToWatch(p.window);
    const Facts facts = readFacts(p.window);
    watch(p.window, XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE, std::move(watchAsked));
    if (!facts.geometry)
        return outcomeOf(facts.geometry.error());
    p.hints = facts.hints;
    p.frame = facts.frame;
    p.aimFrom(*facts.geometry);
    if (p.reached())
        return Outcome::placed;
    if (facts.maximized) {
        // A maximized window keeps its size against our requests; the manager has to release it.
        if (!unmaximize(p.window, p.deadline) && isMaximized(p.window))
            Log::windowmanager().error(stillMaximizedMessage, windowText(p.window));
        const auto restored = geometry(p.window, &p.frame);
        if (!restored)
            return outcomeOf(restored.error());
        p.aimFrom(*restored);
        if (p.reached())
            return Outcome::placed;
    }
    const Habits& learnt = habitsOf(facts.manager);
    p.method = facts.listsMoveResize && !learnt.moveResizeIgnored ? Method::moveResizeMessage : Method::configureWindow;
    p.offset = p.from.clientOffset();
    p.correction = learntCorrection(p);
    return std::nullopt;
}

Point X11WindowMover::learntCorrection(const Placement& p) const
{
    const auto it = m_habits.corrections.find({p.method, p.offset.x, p.offset.y});
    return it == m_habits.corrections.end() ? Point{} : it->second;
}

std::optional<X11WindowMover::Outcome> X11WindowMover::attempt(Placement& p)
{
    // The geometry read before serves the first request, unless the window changes before it.
    const auto before =
        std::exchange(p.fresh, false) ? X11Result<X11WindowGeometry>(p.from) : geometry(p.window, &p.frame);
    if (!before)
        return outcomeOf(before.error());
    watch(p.frame, XCB_EVENT_MASK_STRUCTURE_NOTIFY, askToWatch(p.frame));
    // Earlier notifications about the window must not pass for the answer to this request.
    m_connection.processPendingEvents();
    const X11MoveRequest request = moveRequestFor(p.from, p.target, p.correction);
    if (const X11Status sent = send(p.method, p.window, request); !sent)
        return outcomeOf(sent.error());
    const Answer answer = await(p.window, p.frame, p.target, p.hints, p.deadline);
    Log::windowmanager().debug(
        attemptMessage, windowText(p.window), describe(p.target),
        QString::fromLatin1(p.method == Method::moveResizeMessage ? "_NET_MOVERESIZE_WINDOW" : "ConfigureWindow"),
        QString::fromLatin1(waitName(answer)), describe(answer.geometry.visible()), describe(answer.geometry.client));
    switch (answer.kind) {
    case Wait::reached:
        return reached(p);
    case Wait::failed:
        return outcomeOf(answer.error);
    case Wait::timedOut:
        Log::windowmanager().error(timedOutMessage, windowText(p.window));
        return Outcome::timedOut;
    case Wait::silent:
    case Wait::settled:
        break;
    }
    return judge(p, request, *before, answer.geometry);
}

X11WindowMover::Outcome X11WindowMover::reached(const Placement& p)
{
    // What worked is kept for the next placement under this manager.
    if (p.fellBack && !m_habits.moveResizeIgnored) {
        m_habits.moveResizeIgnored = true;
        Log::windowmanager().info(moveResizeIgnoredMessage);
    }
    if (p.correction != Point{})
        m_habits.corrections[{p.method, p.offset.x, p.offset.y}] = p.correction;
    m_report.corrected = p.corrected;
    return Outcome::placed;
}

std::optional<X11WindowMover::Outcome> X11WindowMover::judge(Placement& p, const X11MoveRequest& request,
                                                             const X11WindowGeometry& before,
                                                             const X11WindowGeometry& landed)
{
    // The client changed its shadow while the request was under way, so the request was made
    // for a shadow it no longer has: made again, learning nothing about the manager.
    if (landed.shadow != p.from.shadow && !p.reshadowed) {
        p.reshadowed = true;
        p.from = landed;
        return std::nullopt;
    }
    if (const auto held = heldOnScreen(p, request, landed))
        return held;
    const bool moved = landed.outer != before.outer || landed.client != before.client;
    if (!moved) {
        // Nothing happened: try the other way once, then give up.
        if (p.method == Method::moveResizeMessage && !p.fellBack) {
            p.method = Method::configureWindow;
            p.fellBack = true;
            p.correction = learntCorrection(p);
            return std::nullopt;
        }
        Log::windowmanager().error(keptInPlaceMessage, windowText(p.window), describe(p.target),
                                   describe(landed.visible()));
        return Outcome::keptInPlace;
    }
    if (p.corrected)
        return misplaced(p, landed);
    // The manager put the frame somewhere else than asked: correct by that offset. The size is
    // computed again from the frame and shadow the window has now (a client may change its
    // shadow as it is restored, as GTK does).
    const Point error{landed.outer.x - request.frame.x, landed.outer.y - request.frame.y};
    p.correction = {p.correction.x + error.x, p.correction.y + error.y};
    if (error != Point{})
        Log::windowmanager().debug(correctionMessage, describe(error));
    p.from = landed;
    p.corrected = true;
    return std::nullopt;
}

std::optional<X11WindowMover::Outcome> X11WindowMover::heldOnScreen(const Placement& p, const X11MoveRequest& request,
                                                                    const X11WindowGeometry& landed)
{
    // A window that does not fit where it is sent is held on the screen by most managers: as
    // with a frame the host platform constrains, that is the answer. To a move alone whatever
    // the landing (the size that follows and the position after it are checked again); to a
    // resize when the window now lies inside the area it did not fit.
    const Size sizeGiven = p.hints ? p.hints->constrain(request.clientSize) : request.clientSize;
    const Rect asked{request.frame.x, request.frame.y, sizeGiven.width + p.from.decoration().width,
                     sizeGiven.height + p.from.decoration().height};
    const auto within = [](const Rect& r, const Rect& area) {
        return r.minX() >= area.minX() && r.minY() >= area.minY() && r.maxX() <= area.maxX() && r.maxY() <= area.maxY();
    };
    const auto areas = holdingAreas();
    if (!p.size && std::any_of(areas.begin(), areas.end(), [&](const Rect& a) { return !within(asked, a); })) {
        Log::windowmanager().debug(constrainedMessage, windowText(p.window), describe(landed.visible()));
        return Outcome::placed;
    }
    if (p.size && std::any_of(areas.begin(), areas.end(),
                              [&](const Rect& a) { return !within(asked, a) && within(landed.outer, a); })) {
        Log::windowmanager().info(heldMessage, windowText(p.window), describe(p.target), describe(landed.visible()));
        m_report.held = true;
        return Outcome::placed;
    }
    return std::nullopt;
}

X11WindowMover::Outcome X11WindowMover::misplaced(const Placement& p, const X11WindowGeometry& landed)
{
    Log::windowmanager().error(placedElsewhereMessage, windowText(p.window), describe(landed.visible()),
                               describe(p.target));
    return Outcome::placedElsewhere;
}

} // namespace mosaro
