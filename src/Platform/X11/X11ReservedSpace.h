#pragma once

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Properties.h"

#include <map>
#include <optional>
#include <set>
#include <vector>

namespace mosaro {

// What the display list needs to know of the desktop beyond its monitors: the work area of the
// current desktop, the client list and the struts of every top-level client (whatever its type),
// and, for managers that publish no work area, the docks in the window tree. All of it is kept
// from the server's events (property changes on the root and on every watched window, map and
// unmap), so that bringing it up to date costs nothing on a desktop that did not change and a
// few requests for what did, never a request per window.
class X11ReservedSpace {
public:
    explicit X11ReservedSpace(X11Connection& connection);
    ~X11ReservedSpace();
    X11ReservedSpace(const X11ReservedSpace&) = delete;
    X11ReservedSpace& operator=(const X11ReservedSpace&) = delete;

    // Handles the events queued so far, then reads what they made stale. The caller has made a
    // round trip first, so that every event the server sent before it is in the queue.
    void update(double rootWidth, double rootHeight);
    // Whether an event has arrived since the last update that may change what it gives.
    bool stale() const;
    // Drops everything; the next update reads it all again.
    void forget();

    // The current desktop's work area as the manager publishes it (unchecked), or nothing.
    std::optional<Rect> workArea() const { return m_workArea; }
    // The struts that hold space: those of every mapped client when the manager publishes a work
    // area that can be believed, else those of the docks (clients or found in the tree).
    std::vector<X11Properties::Reservation> struts() const;

    // How many windows are watched, and how many requests the last update sent: for tests.
    std::size_t watchedWindows() const { return m_windows.size(); }
    int lastRequests() const { return m_requests; }

private:
    struct Window {
        std::vector<std::uint32_t> strut; // _NET_WM_STRUT_PARTIAL, else _NET_WM_STRUT, as read
        bool dock = false;
        bool mapped = false;
        bool client = false; // listed in _NET_CLIENT_LIST
        bool inTree = false; // a dock found in the tree
    };
    struct Asked {
        X11PendingProperty partial, strut, type;
        X11Pending<xcb_get_window_attributes_reply> attributes;
    };
    bool handleEvent(xcb_generic_event_t* event);
    Asked ask(xcb_window_t window, bool select);
    void read(xcb_window_t window, Asked& asked);
    void readTreeDocks();
    // No work area to believe: only docks hold space, and the tree is searched for them.
    bool docksOnly() const;

    X11Connection& m_connection;
    X11Connection::ListenerId m_listener = 0;
    xcb_atom_t m_workAreaAtom = 0, m_desktopAtom = 0, m_clientListAtom = 0, m_typeAtom = 0, m_dockAtom = 0,
               m_partialAtom = 0, m_strutAtom = 0;
    std::map<xcb_window_t, Window> m_windows;
    std::set<xcb_window_t> m_staleWindows;
    bool m_rootStale = true; // work area and current desktop
    bool m_clientsStale = true;
    bool m_treeStale = true;
    std::optional<Rect> m_workArea;
    double m_rootWidth = 0, m_rootHeight = 0;
    int m_requests = 0;
};

} // namespace mosaro
