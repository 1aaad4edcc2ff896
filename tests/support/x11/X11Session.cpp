#include "support/x11/X11Session.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>

#include <xcb/damage.h>
#include <xcb/randr.h>

#include <signal.h>
#include <sys/prctl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <thread>

namespace mosaro::test {

namespace {

using Clock = std::chrono::steady_clock;

QString readFileTail(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(f.readAll().right(600)) : QString();
}

} // namespace

Rect X11Session::outerFrame(xcb_window_t window)
{
    X11Connection& c = connection();
    xcb_window_t top = window;
    while (true) {
        auto tree = c.ask<xcb_query_tree_reply>(xcb_query_tree, top);
        if (!tree || tree->parent == c.root() || tree->parent == XCB_WINDOW_NONE)
            break;
        top = tree->parent;
    }
    auto g = c.ask<xcb_get_geometry_reply>(xcb_get_geometry, top);
    if (!g)
        return {};
    const double b = g->border_width;
    return {double(g->x), double(g->y), g->width + 2 * b, g->height + 2 * b};
}

QImage X11Session::screenshot()
{
    X11Connection& x = connection();
    const auto* screen = x.screen();
    const int w = screen->width_in_pixels, h = screen->height_in_pixels;
    auto reply = x.ask<xcb_get_image_reply>(xcb_get_image, XCB_IMAGE_FORMAT_Z_PIXMAP, x.root(), 0, 0, std::uint16_t(w),
                                            std::uint16_t(h), ~0u);
    if (!reply || xcb_get_image_data_length(reply.get()) < w * h * 4)
        return {};
    QImage image(w, h, QImage::Format_RGB32);
    const auto* data = xcb_get_image_data(reply.get());
    for (int y = 0; y < h; ++y)
        std::memcpy(image.scanLine(y), data + std::size_t(y) * w * 4, std::size_t(w) * 4);
    return image;
}

bool X11Session::saveScreenshot(const Rect& area, const QString& path)
{
    const QImage screen = screenshot();
    const QRect r = QRect(int(area.x), int(area.y), int(area.width), int(area.height)).intersected(screen.rect());
    if (screen.isNull() || r.isEmpty() || !screen.copy(r).save(path))
        return false;
    std::printf("%s (%dx%d)\n", qPrintable(path), r.width(), r.height());
    return true;
}

QString testClientPath()
{
    return QStringLiteral(MOSARO_TEST_CLIENT_PATH);
}

X11Session::X11Session(const Options& options) : m_options(options)
{
    // Set MOSARO_X11_KEEP_TEMP to keep the server's and the WM's logs after the test.
    m_tempDir.setAutoRemove(qEnvironmentVariableIsEmpty("MOSARO_X11_KEEP_TEMP"));
    if (!m_tempDir.isValid()) {
        m_error = QStringLiteral("no temporary directory");
        return;
    }
    if (!startServer(options))
        return;
    if (!options.windowManager.isEmpty())
        startWindowManager(options.windowManager);
}

X11Session::~X11Session()
{
    // Clients first, then the WM, then the bus, then the server; each by PID.
    std::vector<pid_t> pids;
    for (const Child& c : m_children)
        pids.insert(pids.begin(), c.pid);
    for (const pid_t pid : pids)
        if (pid != m_wmPid && pid != m_serverPid)
            stop(pid);
    stopWindowManager();
    stop(m_busPid);
    m_connection.reset();
    stop(m_serverPid);
}

QProcess* X11Session::child(pid_t pid)
{
    const auto it = std::find_if(m_children.begin(), m_children.end(), [&](const Child& c) { return c.pid == pid; });
    return it == m_children.end() ? nullptr : it->process.get();
}

void X11Session::stop(pid_t pid)
{
    if (QProcess* p = child(pid); p && p->state() != QProcess::NotRunning) {
        p->terminate();
        if (!p->waitForFinished(2000)) {
            p->kill();
            p->waitForFinished(2000);
        }
    }
    std::erase_if(m_children, [&](const Child& c) { return c.pid == pid; });
}

bool X11Session::startTray(int timeoutMs)
{
    const pid_t pid = spawn(QStringLiteral("trayer"),
                            {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                             QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("request"),
                             QStringLiteral("--height"), QStringLiteral("24"), QStringLiteral("--SetDockType"),
                             QStringLiteral("true"), QStringLiteral("--transparent"), QStringLiteral("false"),
                             QStringLiteral("--tint"), QStringLiteral("0x2b2b2b")});
    if (pid <= 0)
        return false;
    const xcb_atom_t selection = m_connection->atom("_NET_SYSTEM_TRAY_S0");
    return waitUntil(
        [&] {
            auto owner = m_connection->ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, selection);
            return owner && owner->owner != XCB_WINDOW_NONE;
        },
        timeoutMs);
}

std::optional<int> X11Session::waitForExit(pid_t pid, int timeoutMs)
{
    QProcess* p = child(pid);
    if (!p || (p->state() != QProcess::NotRunning && !p->waitForFinished(timeoutMs)))
        return std::nullopt;
    const int code = p->exitStatus() == QProcess::NormalExit ? p->exitCode() : -1;
    std::erase_if(m_children, [&](const Child& c) { return c.pid == pid; });
    return code;
}

bool X11Session::isRunning(pid_t pid)
{
    QProcess* p = child(pid);
    return p && !p->waitForFinished(0) && p->state() != QProcess::NotRunning;
}

void X11Session::killServer()
{
    if (QProcess* server = child(m_serverPid)) {
        server->kill();
        server->waitForFinished(5000);
    }
    std::erase_if(m_children, [&](const Child& c) { return c.pid == m_serverPid; });
    m_serverPid = -1;
    // A killed server leaves its lock and socket behind, and the next session would skip the
    // display number for good.
    const QString number = m_displayName.mid(1);
    QFile::remove(QStringLiteral("/tmp/.X%1-lock").arg(number));
    QFile::remove(QStringLiteral("/tmp/.X11-unix/X%1").arg(number));
}

pid_t X11Session::spawn(const QString& program, const QStringList& args, bool keepOutput)
{
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "XDG_RUNTIME_DIR", "SESSION_MANAGER", "XAUTHORITY", "DBUS_SESSION_BUS_ADDRESS",
                             "GTK_CSD", "QT_QPA_PLATFORM"})
        env.remove(QString::fromLatin1(name));
    // Children see a private home so that nothing of the user's desktop configuration leaks in.
    const QString home = m_tempDir.path();
    env.insert(QStringLiteral("DISPLAY"), m_displayName);
    env.insert(QStringLiteral("HOME"), home);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home + QStringLiteral("/config"));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), home + QStringLiteral("/cache"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), home + QStringLiteral("/data"));
    env.insert(QStringLiteral("ICEWM_PRIVCFG"), home + QStringLiteral("/icewm"));
    // GTK clients look for the accessibility bus otherwise, which costs seconds without one.
    env.insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
    if (!m_busAddress.isEmpty())
        env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    process->setProcessEnvironment(env);
    process->setStandardInputFile(QProcess::nullDevice());
    if (!keepOutput)
        process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(m_tempDir.filePath(QFileInfo(program).fileName() + QStringLiteral(".log")),
                                  QIODevice::Append);
    // The children die with us even if the test binary is killed outright.
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    process->start(program, args);
    if (!process->waitForStarted(5000))
        return -1;
    const auto pid = pid_t(process->processId());
    m_children.push_back({pid, std::move(process)});
    return pid;
}

std::optional<QByteArray> X11Session::readLine(pid_t pid, int timeoutMs, const std::function<void()>& onIdle)
{
    QProcess* p = child(pid);
    QElapsedTimer clock;
    clock.start();
    while (p && !p->canReadLine() && p->state() != QProcess::NotRunning && clock.elapsed() < timeoutMs)
        if (!p->waitForReadyRead(500) && onIdle)
            onIdle();
    if (!p || !p->canReadLine())
        return std::nullopt;
    return p->readLine().trimmed();
}

int X11Session::run(const QString& program, const QStringList& args, int timeoutMs, QString* output)
{
    const pid_t pid = spawn(program, args, output != nullptr);
    if (pid <= 0)
        return -1;
    child(pid)->waitForFinished(timeoutMs);
    if (output)
        *output = QString::fromUtf8(child(pid)->readAllStandardOutput());
    const auto code = waitForExit(pid, 0);
    stop(pid);
    return code.value_or(-1);
}

bool X11Session::startServer(const Options& options)
{
    // Xvfb picks a free display number itself and writes it out once it accepts connections.
    const QString geometry = QStringLiteral("%1x%2x24").arg(options.width).arg(options.height);
    m_serverPid = spawn(QStringLiteral("Xvfb"),
                        {QStringLiteral("-screen"), QStringLiteral("0"), geometry, QStringLiteral("-nolisten"),
                         QStringLiteral("tcp"), QStringLiteral("-noreset"), QStringLiteral("+extension"),
                         QStringLiteral("RANDR"), QStringLiteral("-displayfd"), QStringLiteral("1")},
                        true);
    const auto number = readLine(m_serverPid, 15000);
    if (!number) {
        m_error = QStringLiteral("Xvfb did not start: ") + readFileTail(m_tempDir.filePath(QStringLiteral("Xvfb.log")));
        return false;
    }
    m_displayName = QLatin1Char(':') + QString::fromLatin1(*number);
    m_connection = std::make_unique<X11Connection>(m_displayName);
    if (!m_connection->isConnected())
        m_error = QStringLiteral("cannot connect to Xvfb on %1").arg(m_displayName);
    return m_connection->isConnected();
}

QStringList X11Session::writeWindowManagerConfig(const QString& name)
{
    auto write = [this](const QString& file, const QByteArray& text) {
        QFile f(m_tempDir.filePath(file));
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            f.write(text);
        return f.fileName();
    };
    const bool floating = !m_options.tiling;
    if (name == QLatin1String("openbox")) {
        // No key bindings at all, click-to-focus, new windows focused.
        const QMargins& m = m_options.margins;
        return {QStringLiteral("--sm-disable"), QStringLiteral("--config-file"),
                write(QStringLiteral("rc.xml"), QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <resistance><strength>0</strength><screen_edge_strength>0</screen_edge_strength></resistance>
  <focus><focusNew>yes</focusNew><followMouse>no</followMouse></focus>
  <placement><policy>Smart</policy></placement>
  <theme><name>Clearlooks</name><titleLayout>NLIMC</titleLayout></theme>
  <desktops><number>1</number></desktops>
  <margins><top>%1</top><bottom>%2</bottom><left>%3</left><right>%4</right></margins>
  <keyboard></keyboard>
  <mouse></mouse>
  <applications></applications>
</openbox_config>
)")
                                                    .arg(m.top())
                                                    .arg(m.bottom())
                                                    .arg(m.left())
                                                    .arg(m.right())
                                                    .toUtf8())};
    }
    if (name == QLatin1String("icewm")) {
        // Every global key of this version cleared, no Windows-key menus, the task bar on request.
        QDir(m_tempDir.path()).mkpath(QStringLiteral("icewm"));
        QByteArray prefs =
            "Win95Keys=0\nModSuperIsCtrlAlt=0\nShowTaskBar=" + QByteArray(m_options.taskbar ? "1" : "0") +
            "\nTaskBarAutoHide=0\nShowWelcome=0\nTaskBarShowClock=0\nTaskBarShowAPMStatus=0\n"
            "DesktopBackgroundColor=\"\"\nDesktopBackgroundImage=\"\"\nSupportSemitransparency=0\n";
        QFile defaults(QStringLiteral("/usr/share/icewm/preferences"));
        static const QRegularExpression keyPref(QStringLiteral("^#\\s*(Key[A-Za-z0-9]+)="));
        if (defaults.open(QIODevice::ReadOnly))
            while (!defaults.atEnd())
                if (const auto m = keyPref.match(QString::fromUtf8(defaults.readLine())); m.hasMatch())
                    prefs += m.captured(1).toUtf8() + "=\"\"\n";
        write(QStringLiteral("icewm/keys"), {});
        write(QStringLiteral("icewm/toolbar"), {});
        return {QStringLiteral("--config=") + write(QStringLiteral("icewm/preferences"), prefs)};
    }
    if (name == QLatin1String("xfwm4")) // its settings come from xfconfd over the session bus
        return {QStringLiteral("--sm-client-disable")};
    if (name == QLatin1String("i3")) {
        // No key bindings, no bar; windows float unless the test wants the tiled layout.
        return {QStringLiteral("-c"),
                write(QStringLiteral("i3.config"),
                      QByteArray("# i3 config file (v4)\nfont pango:monospace 8\nfocus_follows_mouse no\n"
                                 "focus_on_window_activation focus\n") +
                          (floating ? "for_window [class=\".*\"] floating enable\n" : ""))};
    }
    if (name == QLatin1String("herbstluftwm")) {
        const QString path = write(QStringLiteral("herbstluftwm-autostart"),
                                   QByteArray("#!/bin/sh\nherbstclient set focus_stealing_prevention false\n") +
                                       (floating ? "herbstclient floating on\n" : ""));
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return {QStringLiteral("--autostart"), path};
    }
    if (name == QLatin1String("awesome")) {
        // The floating layout, the default theme's borders and title bars, and no key bindings.
        return {QStringLiteral("-c"), write(QStringLiteral("awesome-rc.lua"), R"(local awful = require("awful")
require("awful.autofocus")
local beautiful = require("beautiful")
local wibox = require("wibox")
beautiful.init(require("gears.filesystem").get_themes_dir() .. "default/theme.lua")
awful.layout.layouts = { awful.layout.suit.floating }
awful.screen.connect_for_each_screen(function(s) awful.tag({ "1" }, s, awful.layout.suit.floating) end)
awful.rules.rules = {
  { rule = { }, properties = { border_width = beautiful.border_width, border_color = beautiful.border_normal,
    focus = awful.client.focus.filter, raise = true, screen = awful.screen.preferred,
    placement = awful.placement.no_overlap + awful.placement.no_offscreen } },
  { rule_any = { type = { "normal", "dialog" } }, properties = { titlebars_enabled = true } },
}
client.connect_signal("request::titlebars", function(c)
  awful.titlebar(c):setup { { align = "center", widget = awful.titlebar.widget.titlewidget(c) },
                            layout = wibox.layout.flex.horizontal }
end)
-- The fix the README gives: awesome 4.3 drops a request to restore a maximized window.
client.connect_signal("request::geometry", function(c, context, hints)
  if (context == "client_maximize_horizontal" or context == "client_maximize_vertical")
     and hints and not hints.toggle and hints.status == false and c.maximized then
    c.maximized = false
  end
end)
)")};
    }
    if (name == QLatin1String("fluxbox")) {
        const QString keyFile = write(QStringLiteral("fluxbox-keys"), {});
        return {QStringLiteral("-rc"),
                write(QStringLiteral("fluxbox-init"),
                      "session.screen0.toolbar.visible: false\nsession.screen0.workspaces: 1\nsession.keyFile: " +
                          keyFile.toUtf8() + "\n")};
    }
    return {};
}

xcb_window_t X11Session::supportingWmCheck()
{
    X11Connection& c = *m_connection;
    const xcb_atom_t check = c.atom("_NET_SUPPORTING_WM_CHECK");
    const auto w = c.windows(c.root(), check);
    if (!w || (*w)[0] == XCB_WINDOW_NONE)
        return XCB_WINDOW_NONE;
    const auto self = c.windows((*w)[0], check);
    return self && (*self)[0] == (*w)[0] ? (*w)[0] : xcb_window_t(XCB_WINDOW_NONE);
}

bool X11Session::startWindowManager(const QString& name, int timeoutMs)
{
    stopWindowManager();
    if (name == QLatin1String("xfwm4") && sessionBus().isEmpty()) {
        m_error = QStringLiteral("no session bus for xfwm4");
        return false;
    }
    const QStringList args = writeWindowManagerConfig(name);
    m_wmPid = spawn(name, args);
    X11Connection& c = *m_connection;
    const bool up =
        m_wmPid > 0 &&
        waitUntil(
            [&] {
                if (supportingWmCheck() == XCB_WINDOW_NONE)
                    return false;
                const auto supported = c.atoms(c.root(), c.atom("_NET_SUPPORTED"));
                return supported && std::count(supported->begin(), supported->end(), c.atom("_NET_ACTIVE_WINDOW")) > 0;
            },
            timeoutMs) &&
        waitForManagedProbe(timeoutMs);
    if (!up) {
        m_error = QStringLiteral("window manager %1 did not come up: %2")
                      .arg(name, readFileTail(m_tempDir.filePath(name + QStringLiteral(".log"))));
        stopWindowManager();
    }
    return up;
}

void X11Session::pokeWindowManager()
{
    // Openbox can sit on an event it has already read off the socket until the next one arrives;
    // a property change on the root window is such an event and harmless otherwise.
    if (!m_connection || !m_connection->isConnected())
        return;
    const char value = 'x';
    xcb_change_property(m_connection->connection(), XCB_PROP_MODE_REPLACE, m_connection->root(),
                        m_connection->atom("_MOSARO_TEST_POKE"), XCB_ATOM_STRING, 8, 1, &value);
    m_connection->flush();
}

bool X11Session::waitForManagedProbe(int timeoutMs)
{
    // The WM publishes its check window before it has finished starting; a window it actually
    // manages proves it is handling map requests.
    X11Connection& c = *m_connection;
    const xcb_window_t probe = xcb_generate_id(c.connection());
    xcb_create_window(c.connection(), XCB_COPY_FROM_PARENT, probe, c.root(), 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(c.connection(), probe);
    c.flush();
    int rounds = 0;
    const bool managed = waitUntil(
        [&] {
            if (++rounds % 20 == 0)
                pokeWindowManager();
            return manages(probe);
        },
        timeoutMs);
    xcb_destroy_window(c.connection(), probe);
    c.flush();
    waitUntil([&] { return !manages(probe); }, 2000);
    return managed;
}

bool X11Session::manages(xcb_window_t window)
{
    const auto list = m_connection->windows(m_connection->root(), m_connection->atom("_NET_CLIENT_LIST"), 0);
    return list && std::count(list->begin(), list->end(), window) > 0;
}

QString X11Session::sessionBus()
{
    // Spawned like the other children, so that what it activates (xfconfd) sees the private home.
    if (m_busAddress.isEmpty()) {
        const pid_t pid =
            spawn(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")}, true);
        m_busAddress = QString::fromUtf8(readLine(pid, 10000).value_or(QByteArray()));
        if (m_busAddress.isEmpty())
            stop(pid);
        else
            m_busPid = pid;
    }
    return m_busAddress;
}

std::vector<xcb_window_t> X11Session::windowsBelow(xcb_window_t parent, int depth)
{
    std::vector<xcb_window_t> found;
    auto tree = m_connection->ask<xcb_query_tree_reply>(xcb_query_tree, parent);
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i) {
        const xcb_window_t child = xcb_query_tree_children(tree.get())[i];
        found.push_back(child);
        if (depth > 1)
            std::ranges::copy(windowsBelow(child, depth - 1), std::back_inserter(found));
    }
    return found;
}

xcb_window_t X11Session::findClient(const QString& instance)
{
    X11Connection& c = *m_connection;
    // Clients sit below the root or below the manager's frames, a few levels down at most.
    for (const xcb_window_t window : windowsBelow(c.root(), 4)) {
        const auto wmClass = c.propertyValue(window, XCB_ATOM_WM_CLASS);
        if (wmClass && wmClass->format == 8 && c.propertyValue(window, c.atom("WM_STATE"))) {
            const QByteArray bytes(reinterpret_cast<const char*>(wmClass->bytes.data()),
                                   qsizetype(wmClass->bytes.size()));
            if (QString::fromLatin1(bytes.left(bytes.indexOf('\0'))) == instance)
                return window;
        }
    }
    return XCB_WINDOW_NONE;
}

std::optional<X11SessionClient> X11Session::startProgram(const QString& program, const QStringList& args,
                                                         const QString& instance, int timeoutMs)
{
    const pid_t pid = spawn(program, args);
    if (pid <= 0)
        return std::nullopt;
    xcb_window_t window = XCB_WINDOW_NONE;
    int rounds = 0;
    const bool found = waitUntil(
        [&] {
            if (++rounds % 50 == 0)
                pokeWindowManager();
            window = findClient(instance);
            return window != XCB_WINDOW_NONE;
        },
        timeoutMs);
    if (!found) {
        stop(pid);
        return std::nullopt;
    }
    return X11SessionClient{pid, window};
}

void X11Session::stopWindowManager()
{
    if (m_wmPid > 0)
        stop(m_wmPid);
    m_wmPid = -1;
}

std::optional<X11SessionClient> X11Session::startClient(const QStringList& args, int timeoutMs)
{
    const pid_t pid = spawn(testClientPath(), args, true);
    if (pid <= 0)
        return std::nullopt;
    const auto line = readLine(pid, timeoutMs, [this] { pokeWindowManager(); });
    bool ok = false;
    const auto window = xcb_window_t(line.value_or(QByteArray()).toULong(&ok, 0));
    if (!ok || window == XCB_WINDOW_NONE) {
        stop(pid);
        return std::nullopt;
    }
    return X11SessionClient{pid, window};
}

bool X11Session::xrandrSetMonitors(const std::vector<X11MonitorSpec>& monitors)
{
    if (monitors.empty() || !m_connection)
        return false;
    X11Connection& c = *m_connection;
    // Monitors set earlier go first; the output's automatic monitor disappears once a monitor claims it.
    auto current = c.ask<xcb_randr_get_monitors_reply>(xcb_randr_get_monitors, c.root(), 0);
    if (!current)
        return false;
    for (auto it = xcb_randr_get_monitors_monitors_iterator(current.get()); it.rem; xcb_randr_monitor_info_next(&it)) {
        if (!it.data->automatic &&
            run(QStringLiteral("xrandr"), {QStringLiteral("--delmonitor"), c.atomName(it.data->name)}) != 0)
            return false;
    }
    QString output;
    if (auto info = c.ask<xcb_randr_get_output_info_reply>(xcb_randr_get_output_info, firstOutput(), XCB_CURRENT_TIME))
        output = QString::fromUtf8(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                                   xcb_randr_get_output_info_name_length(info.get()));
    for (std::size_t i = 0; i < monitors.size(); ++i) {
        const X11MonitorSpec& m = monitors[i];
        // Physical size at 96 dpi, so that the scale factor stays 1.
        const QString geometry = QStringLiteral("%1/%2x%3/%4+%5+%6")
                                     .arg(m.width)
                                     .arg(m.width * 254 / 960)
                                     .arg(m.height)
                                     .arg(m.height * 254 / 960)
                                     .arg(m.x)
                                     .arg(m.y);
        const QString name = (m.primary ? QStringLiteral("*") : QString()) + m.name;
        const QString outputs = i == 0 && !output.isEmpty() ? output : QStringLiteral("none");
        if (run(QStringLiteral("xrandr"), {QStringLiteral("--setmonitor"), name, geometry, outputs}) != 0)
            return false;
    }
    return true;
}

xcb_randr_output_t X11Session::firstOutput()
{
    X11Connection& c = *m_connection;
    auto res = c.ask<xcb_randr_get_screen_resources_current_reply>(xcb_randr_get_screen_resources_current, c.root());
    if (!res || xcb_randr_get_screen_resources_current_outputs_length(res.get()) < 1)
        return XCB_NONE;
    return xcb_randr_get_screen_resources_current_outputs(res.get())[0];
}

xcb_window_t X11Session::activeWindow()
{
    const auto w = m_connection->windows(m_connection->root(), m_connection->atom("_NET_ACTIVE_WINDOW"));
    return w ? (*w)[0] : xcb_window_t(XCB_WINDOW_NONE);
}

bool X11Session::activateWindow(xcb_window_t window, int timeoutMs)
{
    X11Connection& c = *m_connection;
    // Source 2 (pager): the WM applies it without focus-stealing checks.
    if (!c.sendRootMessage(window, c.atom("_NET_ACTIVE_WINDOW"), 2, XCB_CURRENT_TIME, 0))
        return false;
    return waitUntil([&] { return activeWindow() == window; }, timeoutMs);
}

bool X11Session::changeWmState(xcb_window_t window, int action, const char* state1, const char* state2)
{
    X11Connection& c = *m_connection;
    return c
        .sendRootMessage(window, c.atom("_NET_WM_STATE"), std::uint32_t(action), c.atom(state1),
                         state2 ? c.atom(state2) : 0, 2)
        .hasValue();
}

bool X11Session::iconify(xcb_window_t window)
{
    constexpr std::uint32_t iconicState = 3;
    return m_connection->sendRootMessage(window, m_connection->atom("WM_CHANGE_STATE"), iconicState).hasValue();
}

bool X11Session::waitUntil(const std::function<bool()>& condition, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        if (m_connection)
            m_connection->processPendingEvents();
        if (condition())
            return true;
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

bool X11Session::waitForDrawing(const std::function<void()>& action, int quietMs, int timeoutMs,
                                const std::function<void()>& whileWaiting)
{
    X11Connection& x = connection();
    xcb_connection_t* c = x.connection();
    const xcb_query_extension_reply_t* extension = c ? xcb_get_extension_data(c, &xcb_damage_id) : nullptr;
    if (!extension || !extension->present) {
        action();
        return false;
    }
    free(xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
    const xcb_damage_damage_t damage = xcb_generate_id(c);
    xcb_damage_create(c, damage, x.root(), XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    x.flush();
    const std::uint8_t notify = extension->first_event + XCB_DAMAGE_NOTIFY;
    int reports = 0;
    auto last = Clock::now();
    const auto listener = x.addEventListener([&](xcb_generic_event_t* e) {
        if ((e->response_type & 0x7f) != notify)
            return false;
        ++reports;
        last = Clock::now();
        return true;
    });
    action();
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < deadline) {
        x.flush();
        x.processPendingEvents();
        if (reports > 0 && Clock::now() - last >= std::chrono::milliseconds(quietMs))
            break;
        if (whileWaiting)
            whileWaiting();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    x.removeEventListener(listener);
    xcb_damage_destroy(c, damage);
    x.flush();
    return reports > 0;
}

} // namespace mosaro::test
