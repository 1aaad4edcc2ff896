#pragma once

#include "Platform/AccessibilityTrust.h"
#include "Platform/X11/X11Connection.h"

#include <functional>

namespace mosaro {

// On X11 the permission to move other applications' windows is the presence of an EWMH window
// manager to ask; there is nothing the user could be prompted for.
class X11AccessibilityTrust : public AccessibilityTrust {
public:
    explicit X11AccessibilityTrust(X11Connection& connection) : m_connection(connection) {}
    bool isProcessTrustedWithOptions(bool prompt) override;

    // The stand-in for the system's prompt: shows the user what would make windows movable.
    std::function<void()> showPrompt;

private:
    X11Connection& m_connection;
    bool m_promptLogged = false;
};

} // namespace mosaro
