#pragma once

#include <functional>

namespace mosaro {

class X11Connection;

// Sees that losing the X server ends the process with one clear line and exit code 1 rather than
// a crash:
// - our connection found broken in the event loop is reported once and handed to `onLost`, which
//   quits the loop with code 1, so the termination path runs as for any other quit;
// - an exit() while the guard is armed (Qt's X connection and Xlib call exit(1) when the server
//   goes, from wherever they happen to be) logs the line and ends the process at once: running
//   anything more from an arbitrary point, or the static destructors under objects still alive
//   on main's stack, is what crashed. What was saved is whole, as every save is atomic;
// - SIGPIPE is ignored, so writing to a closed X socket is an error and not the end.
// One guard at a time; it is disarmed when destroyed, that is, after the event loop returned.
class TerminationGuard {
public:
    TerminationGuard(X11Connection& connection, std::function<void()> onLost);
    ~TerminationGuard();
    TerminationGuard(const TerminationGuard&) = delete;
    TerminationGuard& operator=(const TerminationGuard&) = delete;

    static constexpr int exitCodeOnDisplayLoss = 1;

private:
    void reportDisplayLoss();
    static void atExit();

    X11Connection& m_connection;
    std::function<void()> m_onLost;
    bool m_lossReported = false;
};

} // namespace mosaro
