#pragma once

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Properties.h"
#include "Platform/X11/X11WindowGeometry.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <vector>

namespace mosaro {

// Moves and resizes other clients' windows through the window manager and waits for the server
// to show the result. Managers differ: some ignore _NET_MOVERESIZE_WINDOW although they list it,
// some do not list it, some take the requested position as the client's rather than the frame's,
// some put the frame a border's width off. Each request is confirmed by the ConfigureNotify of
// the client or its frame; a manager that says nothing within a short time has ignored it, and
// the move falls back to an ICCCM ConfigureWindow; a window that lands off by some offset is
// corrected once from that offset. A frame that does not fit where it was sent and that the
// manager holds inside its work area or the screen has landed where the manager allows: that is
// its answer, not an offset. What was learnt about the running manager is kept, so that the next
// move goes the right way at once.
class X11WindowMover {
public:
    using Clock = std::chrono::steady_clock;

    enum class Outcome {
        placed,          // the window shows the target frame
        keptInPlace,     // the manager did not move or resize it (a tiling layout holds it)
        placedElsewhere, // it moved, but not to the target, even after a correction
        windowGone,      // the window was destroyed
        connectionLost,
        timedOut, // the manager was still busy when the time was up
    };

    // How the last placement went, for diagnostics and tests.
    struct Report {
        int requests = 0;           // requests sent to the manager
        bool usedConfigure = false; // the ICCCM fallback was used
        bool corrected = false;     // a second request corrected an offset
        bool unmaximized = false;
        bool held = false; // the manager held the window inside the free area it did not fit
    };

    explicit X11WindowMover(X11Connection& connection);
    ~X11WindowMover();
    X11WindowMover(const X11WindowMover&) = delete;
    X11WindowMover& operator=(const X11WindowMover&) = delete;

    // Where the window is and what surrounds it. The frame window (the child of the root that
    // holds the client) is returned too when the window is reparented.
    X11Result<X11WindowGeometry> geometry(xcb_window_t window, xcb_window_t* frameWindow = nullptr);

    // Brings the visible frame of the window to the given origin and size (X root coordinates);
    // what is not given stays as it is. Un-maximizes the window first when it is maximized, so
    // that a kept value is the restored window's. A frame the window already shows costs no request.
    Outcome place(xcb_window_t window, const std::optional<Point>& origin, const std::optional<Size>& size,
                  Clock::time_point deadline);

    const Report& lastReport() const { return m_report; }

    // Where the manager may hold a window it keeps on the screen (the root, its work area, each
    // monitor and its visible frame), X root coordinates; the root alone when not given.
    void setHoldingAreas(std::function<std::vector<Rect>()> areas) { m_holdingAreas = std::move(areas); }

    bool isMaximized(xcb_window_t window);
    // The same from a _NET_WM_STATE value already read.
    bool maximizedIn(const std::optional<X11Property>& state);

private:
    enum class Method {
        moveResizeMessage,
        configureWindow
    };
    struct Habits {
        bool moveResizeIgnored = false;
        bool ignoreLogged = false;
        // Offsets learnt per method and per place of the client inside its frame.
        std::map<std::tuple<Method, double, double>, Point> corrections;
    };
    enum class Wait {
        reached,
        settled,
        silent,
        timedOut,
        failed, // the window went away, or the connection
    };
    struct Answer {
        Wait kind = Wait::silent;
        X11WindowGeometry geometry;
        X11Error error;
    };
    static const char* waitName(const Answer& answer);

    // What a placement reads before it acts, in one go.
    struct Facts {
        X11Result<X11WindowGeometry> geometry{unexpected(X11Error{})};
        xcb_window_t frame = XCB_WINDOW_NONE;
        std::optional<X11Properties::SizeHints> hints;
        bool maximized = false;
        xcb_window_t manager = XCB_WINDOW_NONE; // the manager's check window
        bool listsMoveResize = false;           // _NET_SUPPORTED lists _NET_MOVERESIZE_WINDOW
    };
    Facts readFacts(xcb_window_t window);
    Habits& habitsOf(xcb_window_t manager);
    // Selects events on a window once; the attributes may have been asked for already.
    X11Pending<xcb_get_window_attributes_reply> askToWatch(xcb_window_t window);
    void watch(xcb_window_t window, std::uint32_t mask, X11Pending<xcb_get_window_attributes_reply> attributes);
    X11Status send(Method method, xcb_window_t window, const X11MoveRequest& request);

    // The attempt loop of place(): each step, and each way it ends, in one place.
    struct Placement;
    std::optional<Outcome> begin(Placement& p);
    std::optional<Outcome> attempt(Placement& p);
    std::optional<Outcome> judge(Placement& p, const X11MoveRequest& request, const X11WindowGeometry& before,
                                 const X11WindowGeometry& landed);
    std::optional<Outcome> heldOnScreen(const Placement& p, const X11MoveRequest& request,
                                        const X11WindowGeometry& landed);
    Outcome reached(const Placement& p);
    Outcome misplaced(const Placement& p, const X11WindowGeometry& landed);
    static Outcome outcomeOf(const X11Error& error);
    Point learntCorrection(const Placement& p) const;
    Answer await(xcb_window_t window, xcb_window_t frame, const Rect& target,
                 const std::optional<X11Properties::SizeHints>& hints, Clock::time_point deadline);
    bool unmaximize(xcb_window_t window, Clock::time_point deadline);
    // The events about a window (or its frame) that arrive by the next time worth looking again.
    struct WindowEvents {
        bool got = false;
        bool destroyed = false;
        bool configured = false;
    };
    WindowEvents nextEvents(xcb_window_t window, xcb_window_t frame, Clock::time_point sentAt,
                            const std::optional<Clock::time_point>& lastEvent, Clock::time_point deadline);
    std::vector<Rect> holdingAreas();
    bool isAbout(xcb_generic_event_t* event, xcb_window_t window, xcb_window_t frame) const;

    X11Connection& m_connection;
    xcb_window_t m_manager = XCB_WINDOW_NONE; // the check window of the manager the habits are for
    Habits m_habits;
    std::set<xcb_window_t> m_watched;
    // Clients and the frame that held them at the last reading, while we watch the frame.
    std::map<xcb_window_t, xcb_window_t> m_frameOf;
    void forgetFrame(xcb_window_t window);
    X11Connection::ListenerId m_listener = 0;
    Report m_report;
    std::function<std::vector<Rect>()> m_holdingAreas;
};

} // namespace mosaro
