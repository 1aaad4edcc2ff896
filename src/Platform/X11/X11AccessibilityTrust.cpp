#include "Platform/X11/X11AccessibilityTrust.h"

#include "Diagnostics/Log.h"
#include "Platform/X11/X11Accessibility.h"

namespace mosaro {

namespace {
constexpr const char* noWindowManagerMessage =
    "no EWMH window manager is running; windows cannot be moved until one is started";
} // namespace

bool X11AccessibilityTrust::isProcessTrustedWithOptions(bool prompt)
{
    const bool trusted = ewmhWindowManagerRunning(m_connection);
    if (!trusted && prompt && !m_promptLogged) {
        m_promptLogged = true;
        Log::permission().info(noWindowManagerMessage);
    }
    if (!trusted && prompt && showPrompt)
        showPrompt();
    return trusted;
}

} // namespace mosaro
