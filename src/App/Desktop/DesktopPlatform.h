#pragma once

#include "App/Desktop/DesktopServices.h"
#include "Platform/Accessibility.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/HotKeyService.h"
#include "Platform/KeyboardLayout.h"
#include "Platform/Screen.h"
#include "Platform/System.h"
#include "Platform/SystemInfo.h"
#include "Platform/UI/PanelSurface.h"

#include <QString>

#include <cstdint>
#include <functional>

namespace mosaro {

// The desktop Mosaro runs on, chosen once at start (X11, or a Wayland compositor through its
// own channel): everything the application's services need from it. Each platform builds its
// bundle in a target of its own; the composition root builds the same services over whichever
// it is handed. The bundle also owns what only the platform uses, such as the watcher that turns
// the desktop's events into the overlay's notifications.
class DesktopPlatform {
public:
    virtual ~DesktopPlatform() = default;

    virtual ScreenList& screens() = 0;
    virtual Accessibility& accessibility() = 0;
    virtual AccessibilityTrust& trust() = 0;
    virtual Beeper& beeper() = 0;
    virtual HotKeyService& hotKeys() = 0;
    virtual KeyboardLayout& keyboardLayout() = 0;
    virtual PanelHost& panelHost() = 0;
    virtual QtDesktopApplication& application() = 0;

    // The session in the diagnostics report's operating-system line: "X11, Openbox",
    // "Wayland, sway 1.7".
    virtual QString sessionDescription() = 0;
    // One sentence on what Mosaro found, for the window-manager help.
    virtual QString describeDesktop() = 0;
    // Whether the combination is held as a system-wide hotkey right now.
    virtual bool holdsHotKey(std::uint32_t keyCode, std::uint32_t modifiers) = 0;

    // Where the host would open its accessibility settings or show its prompt.
    std::function<void()> showHelp;
    // The connection to the desktop is gone (said once, in one log line): the run ends.
    std::function<void()> onConnectionLost;
};

// The diagnostics report's operating-system line names the session too: what Mosaro can do
// depends on it. "Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64; Wayland, sway 1.7".
class SessionOperatingSystemInfo final : public OperatingSystemInfo {
public:
    SessionOperatingSystemInfo(const OperatingSystemInfo& system, DesktopPlatform& platform)
        : m_system(system), m_platform(platform)
    {}
    QString versionText() const override
    {
        return m_system.versionText() + QStringLiteral("; ") + m_platform.sessionDescription();
    }

private:
    const OperatingSystemInfo& m_system;
    DesktopPlatform& m_platform;
};

} // namespace mosaro
