#include "support/x11/MosaroAppDriver.h"
#include "support/KeyCodes.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Grid/GridLayout.h"
#include "Grid/ScreenGeometry.h"
#include "Platform/X11/XcbXkb.h"

#include <QDir>
#include <QFile>

#include <signal.h>

namespace mosaro::test {

namespace M = LogMessages;

QString logPrefix(const char* format)
{
    const QString f = QString::fromUtf8(format);
    const auto at = f.indexOf(QLatin1Char('%'));
    return at < 0 ? f : f.left(at);
}

MosaroAppDriver::MosaroAppDriver(X11Session& session, QString appPath)
    : m_session(session), m_appPath(std::move(appPath))
{
    m_screensConnection = std::make_unique<X11Connection>(session.displayName());
    m_screens = std::make_unique<X11ScreenList>(*m_screensConnection);
    m_keyboard = std::make_unique<XTestKeyboard>(session.connection());
}

MosaroAppDriver::~MosaroAppDriver()
{
    stop();
}

QString MosaroAppDriver::dataHome() const
{
    return m_session.tempPath() + QStringLiteral("/app-data");
}
QString MosaroAppDriver::configHome() const
{
    return m_session.tempPath() + QStringLiteral("/app-config");
}
QString MosaroAppDriver::preferencesPath() const
{
    return dataHome() + QStringLiteral("/Mosaro/preferences.json");
}

bool MosaroAppDriver::start(const QStringList& extraArgs, int timeoutMs)
{
    const QString home = m_session.tempPath();
    const QString runtime = home + QStringLiteral("/app-runtime");
    QDir().mkpath(runtime);
    QFile::setPermissions(runtime, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    // env execs the application in place, so the PID is the application's; its stderr goes to
    // the session's log file named after the program started.
    QStringList args{QStringLiteral("XDG_DATA_HOME=") + dataHome(), QStringLiteral("XDG_CONFIG_HOME=") + configHome(),
                     QStringLiteral("XDG_RUNTIME_DIR=") + runtime,
                     QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") +
                         (m_busAddress.isEmpty() ? QStringLiteral("disabled:") : m_busAddress)};
    args << launcher << m_appPath << QStringLiteral("--log-stderr");
    if (verbose)
        args << QStringLiteral("--verbose");
    args += extraArgs;
    m_logPath = home + QStringLiteral("/env.log");
    m_logOffset = 0;
    m_logLines.clear();
    QFile::remove(m_logPath);
    m_pid = m_session.spawn(QStringLiteral("env"), args);
    if (m_pid <= 0) {
        m_error = QStringLiteral("could not start %1").arg(m_appPath);
        return false;
    }
    if (!waitForLog(0, QString::fromUtf8(M::presenterStarted), timeoutMs)) {
        m_error = QStringLiteral("the application did not start:\n") + logText();
        return false;
    }
    return true;
}

int MosaroAppDriver::runAgain(const QStringList& args, QString* errorText, int timeoutMs)
{
    // Through sh, so that its standard error lands in a log of its own (sh.log).
    const QString errorPath = m_session.tempPath() + QStringLiteral("/sh.log");
    QFile::remove(errorPath);
    QString command =
        QStringLiteral("exec env XDG_DATA_HOME='%1' XDG_CONFIG_HOME='%2' DBUS_SESSION_BUS_ADDRESS='%3' '%4'")
            .arg(dataHome(), configHome(), m_busAddress.isEmpty() ? QStringLiteral("disabled:") : m_busAddress,
                 m_appPath);
    for (const QString& a : args)
        command += QStringLiteral(" '") + a + QLatin1Char('\'');
    const int status = m_session.run(QStringLiteral("sh"), {QStringLiteral("-c"), command}, timeoutMs);
    if (errorText) {
        QFile f(errorPath);
        *errorText = f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
    return status;
}

int MosaroAppDriver::waitForExit(int timeoutMs)
{
    const auto code = m_pid > 0 ? m_session.waitForExit(m_pid, timeoutMs) : std::nullopt;
    if (code)
        m_pid = -1;
    return code.value_or(-1);
}

bool MosaroAppDriver::ours(xcb_window_t window)
{
    X11Connection& c = m_session.connection();
    const auto pid = c.cardinals(window, c.atom("_NET_WM_PID"));
    return pid && std::int64_t((*pid)[0]) == m_pid;
}

std::optional<Rect> MosaroAppDriver::trayIcon()
{
    // A window of ours that a tray has reparented: small, mapped, not a child of the root.
    X11Connection& c = m_session.connection();
    for (const xcb_window_t top : m_session.windowsBelow(c.root(), 1))
        for (const xcb_window_t w : m_session.windowsBelow(top, 16)) {
            auto attrs = c.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, w);
            auto g = c.ask<xcb_get_geometry_reply>(xcb_get_geometry, w);
            if (!ours(w) || !attrs || attrs->map_state != XCB_MAP_STATE_VIEWABLE || !g || g->width > 64 ||
                g->height > 64)
                continue;
            auto at = c.ask<xcb_translate_coordinates_reply>(xcb_translate_coordinates, w, c.root(), 0, 0);
            if (at)
                return Rect{double(at->dst_x), double(at->dst_y), double(g->width), double(g->height)};
        }
    return std::nullopt;
}

QStringList MosaroAppDriver::openTrayMenu(int timeoutMs)
{
    std::optional<Rect> icon;
    if (!m_session.waitUntil([&] { return (icon = trayIcon()).has_value(); }, timeoutMs))
        return {};
    const int mark = logMark();
    const QString shown = logPrefix("tray menu shown: ");
    if (!m_keyboard->clickAt(int(icon->x + icon->width / 2), int(icon->y + icon->height / 2), 3) ||
        !waitForLog(mark, shown, timeoutMs))
        return {};
    // Keys reach the menu once it is on the screen (a mapped popup of ours).
    if (!m_session.waitUntil([&] { return !overlayWindows().empty(); }, timeoutMs))
        return {};
    const QString line = linesSince(mark, shown).front();
    return line.mid(line.indexOf(shown) + shown.size()).split(QStringLiteral(" | "));
}

void MosaroAppDriver::stop()
{
    if (m_pid > 0)
        m_session.stop(m_pid);
    m_pid = -1;
}

bool MosaroAppDriver::signal(int signal)
{
    return m_pid > 0 && ::kill(m_pid, signal) == 0;
}

bool MosaroAppDriver::isRunning()
{
    return m_session.isRunning(m_pid);
}

void MosaroAppDriver::readLog()
{
    QFile f(m_logPath);
    if (!f.open(QIODevice::ReadOnly) || !f.seek(m_logOffset))
        return;
    const QByteArray chunk = f.readAll();
    const auto lastNewline = chunk.lastIndexOf('\n');
    if (lastNewline < 0)
        return;
    m_logOffset += lastNewline + 1;
    for (const QByteArray& line : chunk.left(lastNewline).split('\n'))
        m_logLines << QString::fromUtf8(line);
}

int MosaroAppDriver::logMark()
{
    readLog();
    return int(m_logLines.size());
}

QStringList MosaroAppDriver::linesSince(int mark, const QString& needle)
{
    readLog();
    QStringList found;
    for (int i = mark; i < m_logLines.size(); ++i)
        if (m_logLines[i].contains(needle))
            found << m_logLines[i];
    return found;
}

bool MosaroAppDriver::waitForLog(int mark, const QString& needle, int timeoutMs)
{
    return m_session.waitUntil([&] { return !linesSince(mark, needle).isEmpty(); }, timeoutMs);
}

QString MosaroAppDriver::logText(int mark)
{
    readLog();
    return m_logLines.mid(mark).join(QLatin1Char('\n'));
}

bool MosaroAppDriver::watchBells()
{
    if (m_watchingBells)
        return true;
    X11Connection& c = m_session.connection();
    xcb_connection_t* conn = c.connection();
    XcbPtr<xcb_xkb_use_extension_reply_t> use(
        xcb_xkb_use_extension_reply(conn, xcb_xkb_use_extension(conn, 1, 0), nullptr));
    if (!use || !use->supported)
        return false;
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(conn, &xcb_xkb_id);
    if (!ext || !ext->present)
        return false;
    const std::uint8_t xkbEvent = ext->first_event;
    if (!c.ask<xcb_request_check>(xcb_xkb_select_events_checked, XCB_XKB_ID_USE_CORE_KBD,
                                  XCB_XKB_EVENT_TYPE_BELL_NOTIFY, 0, XCB_XKB_EVENT_TYPE_BELL_NOTIFY, 0, 0, nullptr))
        return false;
    c.addEventListener([this, xkbEvent](xcb_generic_event_t* e) {
        if ((e->response_type & 0x7f) == xkbEvent &&
            reinterpret_cast<xcb_xkb_bell_notify_event_t*>(e)->xkbType == XCB_XKB_BELL_NOTIFY)
            ++m_bells;
        return false;
    });
    m_watchingBells = true;
    return true;
}

int MosaroAppDriver::bellCount()
{
    // After a round trip every bell the server has rung is among the events read.
    X11Connection& c = m_session.connection();
    (void)c.ask<xcb_get_input_focus_reply>(xcb_get_input_focus).result();
    c.processPendingEvents();
    return m_bells;
}

bool MosaroAppDriver::waitForBells(int count, int timeoutMs)
{
    return m_session.waitUntil([&] { return m_bells >= count; }, timeoutMs);
}

bool MosaroAppDriver::key(std::uint16_t code, std::uint64_t modifiers)
{
    return m_keyboard->sendKeyCombination(code, modifiers);
}

bool MosaroAppDriver::keys(const std::vector<Key>& sequence)
{
    for (const auto& [code, modifiers] : sequence)
        if (!key(code, modifiers))
            return false;
    return true;
}

bool MosaroAppDriver::openOverlay()
{
    const int mark = logMark();
    if (!key(keys::returnKey, ModifierFlag::command) || !waitForLog(mark, logPrefix(M::panelPresented)))
        return false;
    return linesSince(mark, logPrefix(M::panelPresented)).front().contains(QStringLiteral("isKey=true"));
}

bool MosaroAppDriver::openAndAddColumn()
{
    if (!openOverlay())
        return false;
    const int mark = logMark();
    return key(keys::right, ModifierFlag::option) && waitForLog(mark, QStringLiteral("keyDown keyCode=124"));
}

bool MosaroAppDriver::jump(std::uint16_t arrow)
{
    const int mark = logMark();
    return key(arrow, ModifierFlag::command | ModifierFlag::shift) && waitForLog(mark, logPrefix(M::panelPresented));
}

std::vector<Rect> MosaroAppDriver::overlayWindows()
{
    X11Connection& c = m_session.connection();
    std::vector<Rect> found;
    for (const xcb_window_t w : m_session.windowsBelow(c.root(), 1)) {
        auto attrs = c.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, w);
        auto g = c.ask<xcb_get_geometry_reply>(xcb_get_geometry, w);
        if (attrs && attrs->override_redirect && attrs->map_state == XCB_MAP_STATE_VIEWABLE && g && ours(w))
            found.push_back({double(g->x), double(g->y), double(g->width), double(g->height)});
    }
    return found;
}

bool MosaroAppDriver::waitForOverlay(const Rect& xRect, int timeoutMs)
{
    return m_session.waitUntil([&] { return overlayWindows() == std::vector<Rect>{xRect}; }, timeoutMs);
}

bool MosaroAppDriver::waitForNoOverlay(int timeoutMs)
{
    return m_session.waitUntil([&] { return overlayWindows().empty(); }, timeoutMs);
}

ScreenRef MosaroAppDriver::screenAt(std::size_t index)
{
    const auto all = m_screens->screens();
    return index < all.size() ? all[index] : nullptr;
}

Rect MosaroAppDriver::xVisible(const ScreenRef& screen)
{
    return flippedRect(screen->visibleFrame(), primaryScreenHeight(*m_screens));
}

Rect MosaroAppDriver::expectedFrame(const ScreenRef& screen, GridDimensions grid, double margin,
                                    const HighlightedRegion& region)
{
    const GridLayout layout{grid.columns, grid.rows, screen->visibleFrame(), margin};
    return flippedRect(layout.frameFor(region), primaryScreenHeight(*m_screens));
}

} // namespace mosaro::test
