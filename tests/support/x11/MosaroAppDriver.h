#pragma once

#include "Grid/GridTypes.h"
#include "Platform/Geometry.h"
#include "Platform/KeyEvent.h"
#include "Platform/Screen.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11ScreenList.h"
#include "support/x11/X11Session.h"
#include "support/x11/XTestKeyboard.h"

#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace mosaro::test {

// The real application running on a private X session, driven through XTEST and watched
// through X, its log and its files: what the end-to-end tests and the demonstration share.
class MosaroAppDriver {
public:
    using Key = std::pair<std::uint16_t, std::uint64_t>; // virtual key code, modifier flags

    // The application's own folders live under the session's temporary folder.
    explicit MosaroAppDriver(X11Session& session, QString appPath);
    ~MosaroAppDriver();
    MosaroAppDriver(const MosaroAppDriver&) = delete;
    MosaroAppDriver& operator=(const MosaroAppDriver&) = delete;

    // Debug-level logging for the next start() (on by default; the benchmarks run without it).
    bool verbose = true;
    // Words that run the application under another program (a protocol tracer), for start().
    QStringList launcher;

    // Starts the application with --log-stderr --verbose and the given extra arguments, and waits
    // until its trigger is live. False (with the log in lastError()) when it did not get there.
    bool start(const QStringList& extraArgs = {}, int timeoutMs = 20000);
    // The session bus the application gets (DBUS_SESSION_BUS_ADDRESS); without one it runs
    // with no bus at all, never on the bus of whoever runs the tests.
    void useSessionBus(const QString& address) { m_busAddress = address; }
    // Runs the program once more with the given arguments, as a user would from a terminal, on
    // the same session; its exit status (or -1), and its standard error in `errorText`.
    int runAgain(const QStringList& args, QString* errorText = nullptr, int timeoutMs = 10000);
    // Waits until the application has exited by itself; its exit code, or -1 (killed by a
    // signal, or still running).
    int waitForExit(int timeoutMs = 10000);
    void stop();
    bool isRunning();
    // Sends a signal to the application.
    bool signal(int signal);
    pid_t pid() const { return m_pid; }
    QString lastError() const { return m_error; }

    QString dataHome() const;   // XDG_DATA_HOME of the application
    QString configHome() const; // XDG_CONFIG_HOME of the application
    QString preferencesPath() const;

    // --- the application's log (its standard error) ---
    int logMark();
    QStringList linesSince(int mark, const QString& needle);
    bool waitForLog(int mark, const QString& needle, int timeoutMs = 5000);
    QString logText(int mark = 0);

    // --- bells: XKB reports every bell rung on the server ---
    bool watchBells();
    int bellCount();
    bool waitForBells(int count, int timeoutMs = 5000);

    // --- keys ---
    bool key(std::uint16_t code, std::uint64_t modifiers = 0);
    bool keys(const std::vector<Key>& sequence);
    // Presses the trigger (Super+Return) and waits until the overlay holds the keyboard.
    bool openOverlay();
    // Opens the overlay and adds a column (Option+Right), waiting until the overlay has the key.
    bool openAndAddColumn();
    // Jumps to another display and waits until the overlay there holds the keyboard.
    bool jump(std::uint16_t arrow);

    // --- the tray ---
    // The application's tray icon once a tray has embedded it: its rectangle in root coordinates.
    std::optional<Rect> trayIcon();
    // Clicks the tray icon with the right button and waits until its menu is shown; the titles
    // of the menu's entries as the log tells them ("—" for a separator).
    QStringList openTrayMenu(int timeoutMs = 5000);

    // --- what is on the server ---
    // The application's mapped override-redirect windows (its overlay panels), X root rectangles.
    std::vector<Rect> overlayWindows();
    bool waitForOverlay(const Rect& xRect, int timeoutMs = 5000);
    bool waitForNoOverlay(int timeoutMs = 5000);

    // The displays as the application sees them.
    ScreenRef screenAt(std::size_t index);
    // The visible frame of a display in X root coordinates.
    Rect xVisible(const ScreenRef& screen);
    // Where a committed window lands, in X root coordinates.
    Rect expectedFrame(const ScreenRef& screen, GridDimensions grid, double margin, const HighlightedRegion& region);

    X11Session& session() { return m_session; }
    XTestKeyboard& keyboard() { return *m_keyboard; }
    X11ScreenList& screens() { return *m_screens; }

private:
    void readLog();
    // The window carries the application's process id.
    bool ours(xcb_window_t window);

    X11Session& m_session;
    QString m_appPath;
    std::unique_ptr<X11Connection> m_screensConnection;
    std::unique_ptr<X11ScreenList> m_screens;
    std::unique_ptr<XTestKeyboard> m_keyboard;
    pid_t m_pid = -1;
    QString m_error;
    QString m_busAddress;
    QString m_logPath;
    qint64 m_logOffset = 0;
    QStringList m_logLines;
    int m_bells = 0;
    bool m_watchingBells = false;
};

// The part of a log format before its first argument: what a test can look for in the log.
QString logPrefix(const char* format);

} // namespace mosaro::test
