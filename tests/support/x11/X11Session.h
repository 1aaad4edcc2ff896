#pragma once

#include "Platform/Geometry.h"
#include "Platform/X11/X11Connection.h"

#include <QImage>
#include <QMargins>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <xcb/randr.h>

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace mosaro {
// Rectangles in failure messages as text rather than bytes; GoogleTest looks for this name.
inline void PrintTo(const Rect& rect, std::ostream* out) // NOLINT(readability-identifier-naming)
{
    *out << describe(rect).toStdString();
}
} // namespace mosaro

namespace mosaro::test {

// A rectangle as text, for failure messages.
inline std::string str(const Rect& rect)
{
    return describe(rect).toStdString();
}

// A window of the test client program, mapped and managed.
struct X11SessionClient {
    pid_t pid = -1;
    xcb_window_t window = XCB_WINDOW_NONE;
};

// One RandR monitor for xrandrSetMonitors, in X root pixels.
struct X11MonitorSpec {
    QString name;
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool primary = false;
};

// A private X server (Xvfb) with an optional window manager and client windows, for the
// integration tests and the demo. Everything it starts is stopped by PID when it is destroyed,
// whatever happened meanwhile.
class X11Session {
public:
    struct Options {
        int width = 1280;
        int height = 800;
        // "openbox", "icewm", "xfwm4", "fluxbox", "i3", "herbstluftwm", "awesome" or empty for none.
        // Tiling managers put new windows in a floating layout unless `tiling` is set.
        QString windowManager;
        bool taskbar = false; // icewm shows its task bar
        bool tiling = false;
        QMargins margins{}; // openbox keeps these free along the screen's edges (its <margins>)
    };

    explicit X11Session(const Options& options);
    X11Session() : X11Session(Options{}) {}
    ~X11Session();
    X11Session(const X11Session&) = delete;
    X11Session& operator=(const X11Session&) = delete;

    // The server (and the window manager, when one was asked for) is up; else error() says why.
    bool ok() const { return m_error.isEmpty(); }
    QString error() const { return m_error; }
    QString displayName() const { return m_displayName; }
    // The session's own connection, for looking at the server from the test.
    X11Connection& connection() { return *m_connection; }
    QString tempPath() const { return m_tempDir.path(); }

    bool startWindowManager(const QString& name, int timeoutMs = 10000);
    void stopWindowManager();

    // Starts the test client with the given arguments and waits until it reports its mapped window.
    std::optional<X11SessionClient> startClient(const QStringList& args, int timeoutMs = 8000);
    // Starts any X program and waits until the window manager has taken on a window of it: a
    // window with WM_STATE whose WM_CLASS instance is `instance`.
    std::optional<X11SessionClient> startProgram(const QString& program, const QStringList& args,
                                                 const QString& instance, int timeoutMs = 20000);
    // The windows below `parent` down to `depth` levels, each before its children.
    std::vector<xcb_window_t> windowsBelow(xcb_window_t parent, int depth);
    // A managed client window (one with WM_STATE) of the given WM_CLASS instance, or none.
    xcb_window_t findClient(const QString& instance);
    // Whether the window manager lists the window among its clients (_NET_CLIENT_LIST).
    bool manages(xcb_window_t window);
    // The address of the session's private D-Bus session bus, started on first use; children
    // started afterwards see it as DBUS_SESSION_BUS_ADDRESS.
    QString sessionBus();

    // Starts any program with DISPLAY pointing at this server, its standard error appended to a
    // log named after it; its standard output is kept only with keepOutput.
    pid_t spawn(const QString& program, const QStringList& args, bool keepOutput = false);
    // Runs a program to completion (bounded), collecting its standard output when asked; its
    // exit code, or -1.
    int run(const QString& program, const QStringList& args, int timeoutMs = 10000, QString* output = nullptr);
    // Stops a child started by this session: SIGTERM, then SIGKILL.
    void stop(pid_t pid);
    // Starts trayer, a system tray (XEmbed) on the top edge, and waits until it holds the tray
    // selection of screen 0.
    bool startTray(int timeoutMs = 5000);
    // Waits for a child of this session to end by itself; its exit code (-1: killed by a signal),
    // or nothing when it was still running at the end (it is left running).
    std::optional<int> waitForExit(pid_t pid, int timeoutMs);
    bool isRunning(pid_t pid);
    // Kills the X server outright (SIGKILL), as a crash would; its clients lose the connection.
    void killServer();

    // Replaces the server's monitors with the given ones (xrandr --setmonitor), the first one
    // taking over the real output.
    bool xrandrSetMonitors(const std::vector<X11MonitorSpec>& monitors);
    // The server's first RandR output, or none.
    xcb_randr_output_t firstOutput();

    // Asks the WM to activate the window and waits until _NET_ACTIVE_WINDOW names it.
    bool activateWindow(xcb_window_t window, int timeoutMs = 5000);
    xcb_window_t activeWindow();
    // Asks the WM to add or remove _NET_WM_STATE atoms (action 1 add, 0 remove).
    bool changeWmState(xcb_window_t window, int action, const char* state1, const char* state2 = nullptr);
    // Asks the WM to iconify the window (ICCCM WM_CHANGE_STATE).
    bool iconify(xcb_window_t window);

    // The rectangle of the window the WM put around the client (the client itself if none), in
    // root coordinates, read from the window tree rather than from any property.
    Rect outerFrame(xcb_window_t window);

    // The whole screen as the server shows it; null when it could not be read.
    QImage screenshot();
    // That part of the screen (a window's outerFrame(), say) as a PNG; prints the path.
    bool saveScreenshot(const Rect& area, const QString& path);

    // Runs the action and waits until the drawing it caused is done: the server reported damage
    // somewhere on the screen (any window's drawing counts on the root), then none for quietMs.
    // False when nothing was drawn within the time. whileWaiting runs between checks (a test
    // whose own windows draw turns its event loop there).
    bool waitForDrawing(const std::function<void()>& action, int quietMs = 150, int timeoutMs = 5000,
                        const std::function<void()>& whileWaiting = {});

    // Polls the condition (processing events in between) until it holds or the time is up.
    bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 5000);

private:
    bool startServer(const Options& options);
    QProcess* child(pid_t pid);
    // The next line of a child's standard output; onIdle runs whenever nothing came for half a second.
    std::optional<QByteArray> readLine(pid_t pid, int timeoutMs, const std::function<void()>& onIdle = {});
    // Writes the manager's configuration files; the arguments that point it at them.
    QStringList writeWindowManagerConfig(const QString& name);
    bool waitForManagedProbe(int timeoutMs);
    // The EWMH check window of the running WM, or none.
    xcb_window_t supportingWmCheck();
    void pokeWindowManager();

    QTemporaryDir m_tempDir;
    QString m_error;
    QString m_displayName;
    pid_t m_serverPid = -1;
    pid_t m_wmPid = -1;
    pid_t m_busPid = -1;
    QString m_busAddress;
    Options m_options;
    struct Child {
        pid_t pid;
        std::unique_ptr<QProcess> process;
    };
    std::vector<Child> m_children;
    std::unique_ptr<X11Connection> m_connection;
};

// The client-window program the tests map as real windows.
QString testClientPath();

} // namespace mosaro::test
