// Screenshots of what the application shell shows a person: the open tray menu (without and with
// a window manager Mosaro can drive), the welcome window, the window-manager help and the About
// dialog. The real program on a private X server with trayer and openbox; each window is cut
// out of the screen by its frame. Run through tests/x11/shell-screenshots.sh.

#include "support/KeyCodes.h"
#include "support/PrivateSessionBus.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <QCoreApplication>
#include <QDir>

#include <cstdio>
#include <functional>

using namespace mosaro;
using namespace mosaro::test;

namespace {

class Shots {
public:
    Shots(X11Session& session, MosaroAppDriver& app, QString folder)
        : m_session(session), m_app(app), m_folder(std::move(folder))
    {}

    // The region around the open tray menu: the menu itself and the tray above it.
    bool menu(const QString& name)
    {
        const auto menus = m_app.overlayWindows();
        const auto icon = m_app.trayIcon();
        if (menus.empty() || !icon)
            return fail(name, QStringLiteral("no open menu"));
        Rect r = menus.front();
        const double left = std::min(r.x, icon->x) - 8, top = 0;
        const double right = std::max(r.x + r.width, icon->x + icon->width) + 8;
        return save(name, Rect{left, top, right - left, r.y + r.height + 8});
    }

    // A managed window of the application, by its title, with its frame.
    bool window(const QString& title, const QString& name)
    {
        const xcb_window_t w = find(title);
        if (w == XCB_WINDOW_NONE)
            return fail(name, QStringLiteral("no window titled '%1'").arg(title));
        // Activation redraws the frame (and the window's focused look); a window already active
        // was drawn when it appeared.
        if (m_session.activeWindow() != w)
            m_session.waitForDrawing([&] { m_session.activateWindow(w); });
        return save(name, m_session.outerFrame(w));
    }

    int failures() const { return m_failures; }

private:
    xcb_window_t find(const QString& title)
    {
        X11Connection& c = m_session.connection();
        xcb_window_t found = XCB_WINDOW_NONE;
        m_session.waitUntil([&] {
            const auto list = c.windows(c.root(), c.atom("_NET_CLIENT_LIST"), 0);
            for (const xcb_window_t w : list.value_or(std::vector<xcb_window_t>{}))
                if (c.text(w, c.atom("_NET_WM_NAME")) == title)
                    found = w;
            return found != XCB_WINDOW_NONE;
        });
        return found;
    }

    bool save(const QString& name, const Rect& r)
    {
        const QString path = QDir(m_folder).filePath(name + QStringLiteral(".png"));
        return m_session.saveScreenshot(r, path) || fail(name, QStringLiteral("could not write %1").arg(path));
    }

    bool fail(const QString& name, const QString& why)
    {
        std::fprintf(stderr, "%s: %s\n", qPrintable(name), qPrintable(why));
        ++m_failures;
        return false;
    }

    X11Session& m_session;
    MosaroAppDriver& m_app;
    QString m_folder;
    int m_failures = 0;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication qapp(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(MOSARO_SCREENSHOT_OUTPUT);
    QDir().mkpath(folder);

    PrivateSessionBus bus;
    X11Session session({1024, 768, QString()});
    if (!bus.ok() || !session.ok() || !session.startTray()) {
        std::fprintf(stderr, "no private session: %s %s\n", qPrintable(bus.error()), qPrintable(session.error()));
        return 1;
    }
    MosaroAppDriver app(session, QStringLiteral(MOSARO_APP_PATH));
    app.useSessionBus(bus.address());
    // No window manager yet: Mosaro cannot move windows, so it welcomes the user.
    if (!app.start() || !app.waitForLog(0, QStringLiteral("showing onboarding"))) {
        std::fprintf(stderr, "Mosaro did not start:\n%s\n", qPrintable(app.logText()));
        return 1;
    }
    Shots shots(session, app, folder);

    // The menu offers the help; taking it opens the help window.
    // Each step waits for the drawing it causes before the next shot.
    const auto drawn = [&](const std::function<void()>& step) { session.waitForDrawing(step); };
    const auto openMenu = [&] {
        drawn([&] {
            if (app.openTrayMenu().isEmpty())
                std::fprintf(stderr, "the tray menu did not open\n");
        });
    };
    openMenu();
    shots.menu(QStringLiteral("tray-menu-no-window-manager"));
    app.key(keys::down);
    app.key(keys::down);
    drawn([&] { app.key(keys::returnKey); });

    // With openbox the windows get their frames, and Mosaro can drive it.
    drawn([&] { session.startWindowManager(QStringLiteral("openbox")); });
    shots.window(QStringLiteral("Welcome to Mosaro"), QStringLiteral("welcome-window"));
    shots.window(QStringLiteral("Window Manager Help — Mosaro"), QStringLiteral("window-manager-help"));

    // A second start brings the settings window.
    drawn([&] { app.runAgain({}); });
    shots.window(QStringLiteral("Mosaro Settings - General"), QStringLiteral("settings-from-second-launch"));

    app.waitForLog(0, QStringLiteral("permission state → granted"));
    openMenu();
    shots.menu(QStringLiteral("tray-menu"));
    // Its first entry is About.
    app.key(keys::down);
    drawn([&] { app.key(keys::returnKey); });
    shots.window(QStringLiteral("About Mosaro"), QStringLiteral("about-dialog"));
    return shots.failures() == 0 ? 0 : 1;
}
