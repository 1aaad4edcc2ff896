#pragma once

#include "Platform/Expected.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

namespace mosaro {

class X11Connection;

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

// A request sent to the server whose answer (a reply, or the error of a checked request) is read
// later: requests sent before the first answer is awaited share one round trip. An answer nobody
// read is thrown away when the request is dropped.
class X11Request {
public:
    X11Request(const X11Request&) = delete;
    X11Request& operator=(const X11Request&) = delete;

    // Whether the request went out (not when the connection was dead or there was nothing to ask).
    bool wasSent() const { return m_sent; }
    // Its sequence number: events carry the last one the server had processed.
    unsigned int sequence() const { return m_sequence; }

protected:
    X11Request() = default;
    X11Request(X11Connection& connection, unsigned int sequence);
    // Nothing sent: the answer is the connection's state.
    explicit X11Request(X11Connection& connection);
    X11Request(X11Request&& other) noexcept;
    X11Request& operator=(X11Request&& other) noexcept;
    ~X11Request();

    // The connection to read the answer from, once; null when there is none to read.
    xcb_connection_t* beginRead() const;
    // What a request gives that was not sent, or whose read came back empty with this error
    // (freed here; null for none): the server's error, or the connection's loss.
    X11Error failure(xcb_generic_error_t* error = nullptr) const;

private:
    void discard();

    X11Connection* m_connection = nullptr;
    unsigned int m_sequence = 0;
    bool m_sent = false;
    mutable bool m_unread = false;
};

namespace detail {
template <class F>
struct XcbReplyFunction;
template <class R, class C>
struct XcbReplyFunction<R* (*)(xcb_connection_t*, C, xcb_generic_error_t**)> {
    using Reply = R;
    using Cookie = C;
};
} // namespace detail

// The reply of any request, typed by the xcb function that reads it (xcb_get_geometry_reply, ...):
// sent when made, read on first use and kept. Made by X11Connection::ask.
template <auto ReplyFunction>
class X11Pending : public X11Request {
    using Signature = detail::XcbReplyFunction<decltype(ReplyFunction)>;

public:
    using Reply = typename Signature::Reply;
    using Cookie = typename Signature::Cookie;

    X11Pending() = default;
    X11Pending(X11Connection& connection, Cookie cookie) : X11Request(connection, cookie.sequence) {}
    explicit X11Pending(X11Connection& connection) : X11Request(connection) {}

    // The reply, or why there is none; waits for it the first time.
    const X11Result<XcbPtr<Reply>>& result() const
    {
        if (!m_result)
            m_result.emplace(read());
        return *m_result;
    }
    explicit operator bool() const { return result().hasValue(); }
    // The reply itself; null when there is none.
    const Reply* get() const { return result() ? result()->get() : nullptr; }
    const Reply* operator->() const { return get(); }
    const Reply& operator*() const { return *get(); }
    // Why there is no reply; only when there is none.
    X11Error error() const { return result().error(); }

private:
    X11Result<XcbPtr<Reply>> read() const
    {
        xcb_connection_t* c = beginRead();
        if (!c)
            return unexpected(failure());
        xcb_generic_error_t* error = nullptr;
        XcbPtr<Reply> reply(ReplyFunction(c, Cookie{sequence()}, &error));
        if (!reply || error)
            return unexpected(failure(error));
        return X11Result<XcbPtr<Reply>>(std::move(reply));
    }

    mutable std::optional<X11Result<XcbPtr<Reply>>> m_result;
};

// A request without a reply, sent checked: its error, if any, is read on first use.
template <>
class X11Pending<xcb_request_check> : public X11Request {
public:
    X11Pending() = default;
    X11Pending(X11Connection& connection, xcb_void_cookie_t cookie) : X11Request(connection, cookie.sequence) {}
    explicit X11Pending(X11Connection& connection) : X11Request(connection) {}

    const X11Status& result() const;
    explicit operator bool() const { return result().hasValue(); }
    X11Error error() const { return result().error(); }

private:
    mutable std::optional<X11Status> m_result;
};
using X11PendingCheck = X11Pending<xcb_request_check>;
using X11PendingProperty = X11Pending<xcb_get_property_reply>;

// A resource this client made on the server (a window, a graphics context, a colormap), freed
// when its handle goes. Movable, not copyable.
class X11Resource {
public:
    X11Resource(const X11Resource&) = delete;
    X11Resource& operator=(const X11Resource&) = delete;

    std::uint32_t id() const { return m_id; }
    explicit operator bool() const { return m_id != 0; }

protected:
    using FreeFunction = xcb_void_cookie_t (*)(xcb_connection_t*, std::uint32_t);
    X11Resource() = default;
    // A fresh id of the connection (none when it is dead), for the request that makes the resource.
    explicit X11Resource(X11Connection& connection);
    X11Resource(X11Resource&& other) noexcept;
    X11Resource& operator=(X11Resource&& other) noexcept;
    ~X11Resource() = default;
    void release(FreeFunction free);

private:
    X11Connection* m_connection = nullptr;
    std::uint32_t m_id = 0;
};

template <auto Free>
class X11Owned : public X11Resource {
public:
    X11Owned() = default;
    explicit X11Owned(X11Connection& connection) : X11Resource(connection) {}
    X11Owned(X11Owned&&) noexcept = default;
    X11Owned& operator=(X11Owned&& other) noexcept
    {
        if (this != &other) {
            reset();
            X11Resource::operator=(std::move(other));
        }
        return *this;
    }
    ~X11Owned() { reset(); }

    // Frees the resource now.
    void reset() { release(Free); }
};
using X11Window = X11Owned<xcb_destroy_window>;
using X11GraphicsContext = X11Owned<xcb_free_gc>;
using X11Colormap = X11Owned<xcb_free_colormap>;

} // namespace mosaro
