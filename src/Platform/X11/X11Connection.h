#pragma once

#include "Platform/Expected.h"
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

// Why an X request gave nothing.
struct X11Error {
    enum class Kind {
        connectionLost, // the connection is closed or broken
        invalidWindow,  // the window (or drawable) no longer exists
        requestFailed,  // any other X error
        timedOut,       // a bounded wait ran out
    };
    Kind kind = Kind::requestFailed;
    std::uint8_t code = 0; // the X error code, when there was one
    friend bool operator==(const X11Error&, const X11Error&) = default;
};

template <class T>
using X11Result = Expected<T, X11Error>;
using X11Status = Status<X11Error>;

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
// Replies and errors from xcb are malloc'ed.
template <class T>
using XcbPtr = std::unique_ptr<T, FreeDeleter>;

class X11Connection;

// A property asked for now and read later: requests sent before the first reply is awaited
// share one round trip. A request never read has its reply thrown away.
class X11PendingProperty {
public:
    X11PendingProperty() = default;
    X11PendingProperty(X11PendingProperty&& other) noexcept;
    X11PendingProperty& operator=(X11PendingProperty&& other) noexcept;
    X11PendingProperty(const X11PendingProperty&) = delete;
    X11PendingProperty& operator=(const X11PendingProperty&) = delete;
    ~X11PendingProperty();

private:
    friend class X11Connection;
    xcb_connection_t* m_connection = nullptr; // null: nothing asked (no atom, no connection)
    xcb_get_property_cookie_t m_cookie{};
};

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

    // Reads a property (up to maxBytes). Absent property gives an empty optional; an X error
    // (vanished window) or a dead connection gives the error.
    X11Result<std::optional<X11Property>> property(xcb_window_t window, xcb_atom_t property,
                                                   xcb_atom_t type = XCB_ATOM_ANY, std::uint32_t maxBytes = 1u << 20);

    // The property for the pure readers of X11Properties: nothing when it is missing or the
    // request failed (then *error is set when given).
    std::optional<X11Property> propertyValue(xcb_window_t window, xcb_atom_t property, X11Error* error = nullptr,
                                             std::uint32_t maxBytes = 1u << 20);

    // The same reads in two halves: ask for several, then read each (in any order).
    X11PendingProperty askProperty(xcb_window_t window, xcb_atom_t property, std::uint32_t maxBytes = 1u << 20,
                                   xcb_atom_t type = XCB_ATOM_ANY);
    X11Result<std::optional<X11Property>> property(X11PendingProperty& pending);
    std::optional<X11Property> propertyValue(X11PendingProperty& pending, X11Error* error = nullptr);

    // Typed reads: nothing when the property is missing, of another type or format, shorter
    // than minItems, or when the request failed (then *error is set when given).
    std::optional<std::vector<std::uint32_t>> cardinals(xcb_window_t window, xcb_atom_t property,
                                                        std::size_t minItems = 1, X11Error* error = nullptr);
    std::optional<std::vector<xcb_window_t>> windows(xcb_window_t window, xcb_atom_t property, std::size_t minItems = 1,
                                                     X11Error* error = nullptr);
    std::optional<std::vector<xcb_atom_t>> atoms(xcb_window_t window, xcb_atom_t property, X11Error* error = nullptr);
    // UTF8_STRING (invalid sequences replaced) or STRING (Latin-1) text.
    std::optional<QString> text(xcb_window_t window, xcb_atom_t property, X11Error* error = nullptr);
    // A 32-bit list of the given type (CARDINAL, WINDOW, ATOM or another), checked as above.
    std::optional<std::vector<std::uint32_t>> list32(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                                                     std::size_t minItems, X11Error* error);

    // Waits for the reply of a request; X errors and a dead connection become X11Error.
    template <class Reply, class Cookie, class ReplyFn>
    X11Result<XcbPtr<Reply>> reply(ReplyFn fn, Cookie cookie)
    {
        if (!isConnected())
            return unexpected(X11Error{X11Error::Kind::connectionLost});
        xcb_generic_error_t* err = nullptr;
        XcbPtr<Reply> r(fn(m_connection, cookie, &err));
        if (err) {
            XcbPtr<xcb_generic_error_t> owned(err);
            return unexpected(translate(err));
        }
        if (!r)
            return unexpected(isConnected() ? X11Error{X11Error::Kind::requestFailed}
                                            : X11Error{X11Error::Kind::connectionLost});
        return X11Result<XcbPtr<Reply>>(std::move(r));
    }
    // Waits for the outcome of a checked void request.
    X11Status check(xcb_void_cookie_t cookie);
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
    xcb_void_cookie_t sendClientMessage(xcb_window_t window, xcb_atom_t type, const std::uint32_t (&data)[5],
                                        bool checked);
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
