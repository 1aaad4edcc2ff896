#pragma once

#include "App/Desktop/DesktopPlatform.h"

#include <QString>

#include <memory>
#include <optional>

namespace mosaro {

// The Wayland compositors Mosaro drives, each through its own channel. The backend is the first
// whose channel answers: sway's IPC socket ($SWAYSOCK), then KWin by its name on the session bus
// (org.kde.KWin), which takes Mosaro's scripts, then GNOME Shell owning its name on the session bus
// (Mosaro's extension inside it is the channel).
enum class WaylandBackend {
    sway,
    kwin,
    gnome,
    unknown,
};
struct WaylandChoice {
    WaylandBackend backend = WaylandBackend::unknown;
    QString channel; // where the channel is: the socket's path, KWin's bus name; empty for GNOME Shell
};
WaylandChoice chooseWaylandBackend();

// Before Qt starts (it aborts when it cannot connect): whether the Wayland display opens, and if
// not the line that says why.
bool probeWaylandDisplay(QString* error);

// The Wayland desktop of the compositor that answers. Null, with the reason in `error` (also
// logged), when none of the compositors Mosaro knows does. Needs the QApplication on Qt's
// Wayland platform.
std::unique_ptr<DesktopPlatform> makeWaylandPlatform(QString* error);

// The stored trigger when the desktop already binds it: its name, and what the desktop calls the
// binding that holds it.
struct HeldTrigger {
    QString keys;
    QString binding;
};
std::optional<HeldTrigger> triggerHeldByDesktop(HotKeyService& hotKeys);

// `mosaro --check` in a Wayland session: the session, the compositor and what its channel
// offers, then what every desktop shares. 0 without errors, else 1.
int runWaylandDesktopCheck(int argc, char** argv);

} // namespace mosaro
