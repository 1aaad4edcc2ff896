#include "App/X11/TerminationGuard.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/X11/X11Connection.h"

#include <xcb/xcb.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace mosaro {

namespace {
constexpr const char* displayLostMessage = "X display '%{public}s' is gone (%{public}s); quitting";

TerminationGuard* g_armed = nullptr;
} // namespace

TerminationGuard::TerminationGuard(X11Connection& connection, std::function<void()> onLost)
    : m_connection(connection), m_onLost(std::move(onLost))
{
    std::signal(SIGPIPE, SIG_IGN);
    // Registered after everything main built so far, so it runs before their statics go.
    static const bool registered = std::atexit(&TerminationGuard::atExit) == 0;
    (void)registered;
    g_armed = this;
    m_connection.setLostHandler([this] {
        reportDisplayLoss();
        if (m_onLost)
            m_onLost();
    });
}

TerminationGuard::~TerminationGuard()
{
    m_connection.setLostHandler(nullptr);
    if (g_armed == this)
        g_armed = nullptr;
}

void TerminationGuard::reportDisplayLoss()
{
    if (m_lossReported)
        return;
    m_lossReported = true;
    const int code = m_connection.connection() ? xcb_connection_has_error(m_connection.connection()) : 0;
    Log::lifecycle().error(displayLostMessage, m_connection.displayName(),
                           X11Connection::describeConnectionError(code ? code : XCB_CONN_ERROR));
}

void TerminationGuard::atExit()
{
    TerminationGuard* guard = std::exchange(g_armed, nullptr);
    if (!guard)
        return; // main returned normally, or no guard was ever armed
    // Qt's connection may see the end a moment before ours: the server's sockets close one by one.
    if (guard->m_connection.serverHasGone(500))
        guard->reportDisplayLoss();
    else
        Log::lifecycle().error("exit requested from inside the event loop; quitting");
    // What is left of exit() would destroy statics under the live objects of main's frame.
    std::fflush(nullptr);
    ::_exit(exitCodeOnDisplayLoss);
}

} // namespace mosaro
