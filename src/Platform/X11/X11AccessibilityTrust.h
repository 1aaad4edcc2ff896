#pragma once

#include "Platform/AccessibilityTrust.h"
#include "Platform/X11/X11Connection.h"

#include <QString>

#include <cstdio>
#include <functional>

namespace mosaro {

// What runs as the window manager, as far as moving other applications' windows is concerned.
struct X11WindowManagerStatus {
    enum class Kind {
        drivable,     // an EWMH manager that names the active window
        none,         // nobody manages windows
        notDrivable,  // a manager runs, but without what Mosaro needs (EWMH, the active window)
        noConnection, // the display cannot be reached
    };
    Kind kind = Kind::none;
    QString name; // the manager's own name (_NET_WM_NAME of its check window), when it gives one
    friend bool operator==(const X11WindowManagerStatus&, const X11WindowManagerStatus&) = default;
};
X11WindowManagerStatus windowManagerStatus(X11Connection& connection);

// The line a person reads on standard error when windows cannot be moved, naming the reason and
// pointing to `mosaro --check`; empty for a drivable manager.
QString untrustedNotice(const X11WindowManagerStatus& status);

// On X11 the permission to move other applications' windows is the presence of an EWMH window
// manager to ask; there is nothing the user could be prompted for. When the answer turns into
// "no", or its reason changes, one line says why on the notice stream (standard error).
class X11AccessibilityTrust : public AccessibilityTrust {
public:
    explicit X11AccessibilityTrust(X11Connection& connection, std::FILE* notices = stderr)
        : m_connection(connection), m_notices(notices)
    {}
    bool isProcessTrustedWithOptions(bool prompt) override;
    X11WindowManagerStatus status() { return windowManagerStatus(m_connection); }

    // The stand-in for the system's prompt: shows the user what would make windows movable.
    std::function<void()> showPrompt;

private:
    X11Connection& m_connection;
    std::FILE* m_notices;
    X11WindowManagerStatus m_lastStatus{X11WindowManagerStatus::Kind::drivable, {}};
};

} // namespace mosaro
