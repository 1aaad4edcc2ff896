#pragma once

#include "Platform/X11/X11Pending.h"
#include "Platform/X11/X11Properties.h"

#include <QString>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class QSocketNotifier;

namespace mosaro {

// One connection to an X server, used from the main thread only. Every call is safe on a dead
// connection: it fails (or gives nothing) and the loss is logged once.
class X11Connection {
public:
    using EventListener = std::function<bool(xcb_generic_event_t*)>; // true: consumed
    using ListenerId = int;

    // Opens the named display, or $DISPLAY when the name is empty.
    explicit X11Connection(const QString& displayName = {});
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    // Opened and not broken. Logs once when the connection is found broken.
    bool isConnected() const;
    // Whether the server has gone away, also when nothing has touched the connection since:
    // looks at the socket, waiting up to the given time for its end, without reading from it or
    // dispatching anything.
    bool serverHasGone(int waitMs = 0) const;
    // The xcb name of a connection error and what it means, e.g.
    // "XCB_CONN_ERROR: socket, pipe or stream error".
    static QString describeConnectionError(int code);
    // Runs once, from the event loop, when the attached connection is found broken.
    void setLostHandler(std::function<void()> handler) { m_lostHandler = std::move(handler); }
    QString displayName() const { return m_displayName; }
    xcb_connection_t* connection() const { return m_connection; }
    xcb_screen_t* screen() const { return m_screen; }
    int screenNumber() const { return m_screenNumber; }
    xcb_window_t root() const { return m_screen ? m_screen->root : xcb_window_t(XCB_WINDOW_NONE); }

    // Interned atom, cached; XCB_ATOM_NONE when the server cannot be asked.
    xcb_atom_t atom(std::string_view name);
    // Interns the atoms not cached yet, in one round trip.
    void internAtoms(std::initializer_list<std::string_view> names);
    // The name of an atom, empty when unknown.
    QString atomName(xcb_atom_t atom);

    // Sends a request now; its answer is read on first use (X11Pending), or thrown away. The
    // answer function names the kind: xcb_get_geometry_reply, ..., or xcb_request_check for a
    // checked request without a reply. On a dead connection nothing is sent and the answer is
    // the loss.
    template <auto AnswerFunction, class Request, class... Args>
    X11Pending<AnswerFunction> ask(Request request, const Args&... args)
    {
        if (!isConnected())
            return X11Pending<AnswerFunction>(*this);
        return X11Pending<AnswerFunction>(*this, request(m_connection, args...));
    }

    // Reads a property (up to maxBytes). Absent property gives an empty optional; an X error
    // (vanished window) or a dead connection gives the error.
    X11Result<std::optional<X11Property>> property(xcb_window_t window, xcb_atom_t property,
                                                   xcb_atom_t type = XCB_ATOM_ANY, std::uint32_t maxBytes = 1u << 20);
    // The same in two halves: ask for several, then read each (in any order). No atom asks nothing
    // and reads as an absent property.
    X11PendingProperty askProperty(xcb_window_t window, xcb_atom_t property, std::uint32_t maxBytes = 1u << 20,
                                   xcb_atom_t type = XCB_ATOM_ANY);
    X11Result<std::optional<X11Property>> property(X11PendingProperty& pending);

    // The property for the pure readers of X11Properties, where finding nothing is normal: nothing
    // when it is missing or the request failed.
    std::optional<X11Property> propertyValue(xcb_window_t window, xcb_atom_t property,
                                             std::uint32_t maxBytes = 1u << 20);
    std::optional<X11Property> propertyValue(X11PendingProperty& pending);

    // Typed reads: nothing when the property is missing, of another type or format, shorter
    // than minItems, or when the request failed.
    std::optional<std::vector<std::uint32_t>> cardinals(xcb_window_t window, xcb_atom_t property,
                                                        std::size_t minItems = 1);
    std::optional<std::vector<xcb_window_t>> windows(xcb_window_t window, xcb_atom_t property,
                                                     std::size_t minItems = 1);
    std::optional<std::vector<xcb_atom_t>> atoms(xcb_window_t window, xcb_atom_t property);
    // UTF8_STRING (invalid sequences replaced) or STRING (Latin-1) text.
    std::optional<QString> text(xcb_window_t window, xcb_atom_t property);

    // Maps an X error to a kind: window/drawable/match errors mean the window is gone.
    static X11Error translate(const xcb_generic_error_t* error);
    // Whether the window still exists.
    bool windowExists(xcb_window_t window);

    // Sends a 32-bit client message to the root window, as EWMH expects for requests to the WM.
    X11Status sendRootMessage(xcb_window_t window, xcb_atom_t type, std::uint32_t d0, std::uint32_t d1 = 0,
                              std::uint32_t d2 = 0, std::uint32_t d3 = 0, std::uint32_t d4 = 0);
    // The same without waiting for the server to take it: sending to the root cannot fail
    // while the connection lives, and the caller waits for the window manager's answer anyway.
    X11Status postRootMessage(xcb_window_t window, xcb_atom_t type, std::uint32_t d0, std::uint32_t d1 = 0,
                              std::uint32_t d2 = 0, std::uint32_t d3 = 0, std::uint32_t d4 = 0);

    ListenerId addEventListener(EventListener listener);
    void removeEventListener(ListenerId id);
    // Hands every queued event to the listeners; returns how many there were.
    int processPendingEvents();
    // Dispatches events until one matches the predicate (true) or the time is up (false).
    // Matching events are dispatched to the listeners too.
    bool waitForEvent(const std::function<bool(xcb_generic_event_t*)>& predicate, int timeoutMs);
    // Dispatches events from the Qt event loop as they arrive.
    void attachToEventLoop();
    bool flush();

private:
    void dispatch(xcb_generic_event_t* event);
    static xcb_client_message_event_t clientMessage(xcb_window_t window, xcb_atom_t type,
                                                    const std::uint32_t (&data)[5]);
    void reportLoss() const;

    QString m_displayName;
    xcb_connection_t* m_connection = nullptr;
    xcb_screen_t* m_screen = nullptr;
    int m_screenNumber = 0;
    mutable bool m_lossReported = false;
    std::map<std::string, xcb_atom_t, std::less<>> m_atoms;
    std::map<ListenerId, EventListener> m_listeners;
    ListenerId m_nextListener = 1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::function<void()> m_lostHandler;
};

} // namespace mosaro
