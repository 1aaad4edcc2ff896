#include "Platform/X11/X11Pending.h"

#include "Platform/X11/X11Connection.h"

namespace mosaro {

X11Request::X11Request(X11Connection& connection, unsigned int sequence)
    : m_connection(&connection), m_sequence(sequence), m_sent(true), m_unread(true)
{}

X11Request::X11Request(X11Connection& connection) : m_connection(&connection)
{}

X11Request::X11Request(X11Request&& other) noexcept
    : m_connection(other.m_connection), m_sequence(other.m_sequence), m_sent(other.m_sent),
      m_unread(std::exchange(other.m_unread, false))
{}

X11Request& X11Request::operator=(X11Request&& other) noexcept
{
    if (this != &other) {
        discard();
        m_connection = other.m_connection;
        m_sequence = other.m_sequence;
        m_sent = other.m_sent;
        m_unread = std::exchange(other.m_unread, false);
    }
    return *this;
}

X11Request::~X11Request()
{
    discard();
}

void X11Request::discard()
{
    if (std::exchange(m_unread, false))
        xcb_discard_reply(m_connection->connection(), m_sequence);
}

xcb_connection_t* X11Request::beginRead() const
{
    if (!std::exchange(m_unread, false) || !m_connection->isConnected())
        return nullptr;
    return m_connection->connection();
}

X11Error X11Request::failure(xcb_generic_error_t* error) const
{
    if (error) {
        XcbPtr<xcb_generic_error_t> owned(error);
        return X11Connection::translate(error);
    }
    return m_connection && m_connection->isConnected() && m_sent ? X11Error{X11Error::Kind::requestFailed}
                                                                 : X11Error{X11Error::Kind::connectionLost};
}

const X11Status& X11Pending<xcb_request_check>::result() const
{
    if (!m_result) {
        xcb_connection_t* c = beginRead();
        xcb_generic_error_t* error = c ? xcb_request_check(c, xcb_void_cookie_t{sequence()}) : nullptr;
        // Not sent, refused, or the connection lost meanwhile.
        if (!c || error || failure().kind == X11Error::Kind::connectionLost)
            m_result.emplace(unexpected(failure(error)));
        else
            m_result.emplace(Ok{});
    }
    return *m_result;
}

X11Resource::X11Resource(X11Connection& connection)
    : m_connection(&connection), m_id(connection.isConnected() ? xcb_generate_id(connection.connection()) : 0)
{}

X11Resource::X11Resource(X11Resource&& other) noexcept
    : m_connection(other.m_connection), m_id(std::exchange(other.m_id, 0))
{}

X11Resource& X11Resource::operator=(X11Resource&& other) noexcept
{
    m_connection = other.m_connection;
    m_id = std::exchange(other.m_id, 0);
    return *this;
}

void X11Resource::release(FreeFunction free)
{
    if (const std::uint32_t id = std::exchange(m_id, 0); id && m_connection->isConnected()) {
        free(m_connection->connection(), id);
        m_connection->flush();
    }
}

} // namespace mosaro
