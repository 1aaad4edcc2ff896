#include "Platform/X11/X11AccessibilityTrust.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/X11/X11Properties.h"

namespace mosaro {

namespace {
constexpr const char* untrustedMessage = "windows cannot be moved: %{public}s";
} // namespace

X11WindowManagerStatus windowManagerStatus(X11Connection& c)
{
    using Kind = X11WindowManagerStatus::Kind;
    if (!c.isConnected())
        return {Kind::noConnection, {}};
    const xcb_atom_t check = c.atom("_NET_SUPPORTING_WM_CHECK");
    // Two round trips: what the root says, then what the window it names says of itself.
    auto rootCheck = c.askProperty(c.root(), check);
    auto supported = c.askProperty(c.root(), c.atom("_NET_SUPPORTED"));
    const auto wm = X11Properties::list32(c.propertyValue(rootCheck), XCB_ATOM_WINDOW, 1);
    // A stale property from a manager that has gone names a window that no longer names itself.
    xcb_window_t checkWindow = XCB_WINDOW_NONE;
    QString name;
    if (wm && (*wm)[0] != XCB_WINDOW_NONE) {
        auto selfCheck = c.askProperty((*wm)[0], check);
        auto selfName = c.askProperty((*wm)[0], c.atom("_NET_WM_NAME"));
        const auto self = X11Properties::list32(c.propertyValue(selfCheck), XCB_ATOM_WINDOW, 1);
        if (self && (*self)[0] == (*wm)[0]) {
            checkWindow = (*wm)[0];
            name = X11Properties::windowTitle(c.propertyValue(selfName), std::nullopt, c.atom("UTF8_STRING"))
                       .value_or(QString());
        }
    }
    const bool ewmh =
        checkWindow != XCB_WINDOW_NONE &&
        X11Properties::contains(X11Properties::atoms(c.propertyValue(supported)), c.atom("_NET_ACTIVE_WINDOW"));
    if (ewmh)
        return {Kind::drivable, name};
    // A manager is whoever redirects the root's substructure; the server tells anyone who asks.
    auto attributes = c.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, c.root());
    if (!attributes)
        return {c.isConnected() ? Kind::none : Kind::noConnection, {}};
    const bool redirected = attributes->all_event_masks & XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT;
    return {redirected || checkWindow != XCB_WINDOW_NONE ? Kind::notDrivable : Kind::none, name};
}

QString untrustedNotice(const X11WindowManagerStatus& status)
{
    using Kind = X11WindowManagerStatus::Kind;
    const QString check = QStringLiteral("; run `mosaro --check` for details");
    switch (status.kind) {
    case Kind::drivable:
        return {};
    case Kind::none:
        return QStringLiteral("no window manager is running, so Mosaro cannot move windows") + check;
    case Kind::notDrivable:
        return (status.name.isEmpty() ? QStringLiteral("the window manager")
                                      : QStringLiteral("the window manager (%1)").arg(status.name)) +
               QStringLiteral(" does not tell which window is active (EWMH), so Mosaro cannot move windows") + check;
    case Kind::noConnection:
        return QStringLiteral("the X display is gone, so Mosaro cannot move windows") + check;
    }
    return {};
}

bool X11AccessibilityTrust::isProcessTrustedWithOptions(bool prompt)
{
    const X11WindowManagerStatus now = windowManagerStatus(m_connection);
    const bool trusted = now.kind == X11WindowManagerStatus::Kind::drivable;
    // One line when the answer turns into "no" or its reason changes; the two-second poll of the
    // status monitor stays silent otherwise.
    if (!trusted && now.kind != m_lastStatus.kind) {
        const QString notice = untrustedNotice(now);
        Log::permission().info(untrustedMessage, notice);
        if (m_notices) {
            std::fprintf(m_notices, "mosaro: %s\n", qPrintable(notice));
            std::fflush(m_notices);
        }
    }
    m_lastStatus = now;
    // The stand-in for the system's prompt: the help on window managers comes to the front.
    if (!trusted && prompt && showPrompt)
        showPrompt();
    return trusted;
}

} // namespace mosaro
