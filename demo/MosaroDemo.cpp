// The demonstration of `make run` without a display: a private X server with openbox, two
// monitors and two windows; the real application runs there and a scripted session drives it.

#include "Grid/GridLayout.h"
#include "Grid/ScreenGeometry.h"
#include "Overlay/OverlayDrawing.h"
#include "Platform/X11/X11ScreenList.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"
#include "support/x11/XTestKeyboard.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QRegion>
#include <QTextStream>

#include <xcb/shape.h>

#include <cstring>

using namespace mosaro;
using namespace mosaro::test;

namespace {

constexpr std::uint16_t kReturn = 36, kLeft = 123, kRight = 124, kUp = 126;
constexpr std::uint64_t kShift = 0x20000, kOption = 0x80000, kCommand = 0x100000;

// A window's frame as the server shows it now (the manager's frame around it, from the window tree).
QString describeFrame(X11Session& session, xcb_window_t window)
{
    const Rect r = session.outerFrame(window);
    if (r.width <= 0)
        return QStringLiteral("(unreadable)");
    return QStringLiteral("x=%1 y=%2 %3×%4").arg(r.x).arg(r.y).arg(r.width).arg(r.height);
}

// Mosaro's outline window (its overlay without a compositing manager), once it is on screen.
xcb_window_t overlayWindow(X11Connection& x)
{
    auto tree = x.ask<xcb_query_tree_reply>(xcb_query_tree, x.root());
    if (!tree)
        return XCB_WINDOW_NONE;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        auto attributes = x.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, children[i]);
        if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
            x.text(children[i], x.atom("_NET_WM_NAME")) == QStringLiteral("Mosaro overlay"))
            return children[i];
    }
    return XCB_WINDOW_NONE;
}

QRegion boundingShape(X11Connection& x, xcb_window_t window)
{
    QRegion region;
    XcbPtr<xcb_shape_get_rectangles_reply_t> reply(xcb_shape_get_rectangles_reply(
        x.connection(), xcb_shape_get_rectangles(x.connection(), window, XCB_SHAPE_SK_BOUNDING), nullptr));
    if (!reply)
        return region;
    const xcb_rectangle_t* r = xcb_shape_get_rectangles_rectangles(reply.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++i)
        region += QRect(r[i].x, r[i].y, r[i].width, r[i].height);
    return region;
}

// Waits for the event that ends a glide: the overlay's outline changing to the grid lines and the
// highlight of `region` on a `columns` x `rows` grid over `bounds` (X root coordinates).
bool waitForHighlight(X11Connection& x, const Rect& bounds, GridDimensions grid, const HighlightedRegion& region)
{
    const int width = int(bounds.width), height = int(bounds.height);
    const OverlayDrawing d = overlayDrawing(grid.columns, grid.rows, region, width, height);
    QRegion expected;
    for (const QRect& r : gridLinePixels(d, width, height))
        expected += r;
    for (const QRect& r :
         outlinePixels(d.highlight, OverlayDrawing::outlineWidth, OverlayDrawing::highlightCornerRadius))
        expected += r;
    xcb_window_t window = XCB_WINDOW_NONE;
    const xcb_query_extension_reply_t* shape = xcb_get_extension_data(x.connection(), &xcb_shape_id);
    if (!shape || !shape->present)
        return false;
    auto shows = [&] {
        if (window == XCB_WINDOW_NONE && (window = overlayWindow(x)) != XCB_WINDOW_NONE)
            xcb_shape_select_input(x.connection(), window, 1);
        return window != XCB_WINDOW_NONE && boundingShape(x, window) == expected;
    };
    if (shows())
        return true;
    // Every step of the glide is a new shape; the last one is the highlight at rest.
    return x.waitForEvent(
        [&](xcb_generic_event_t* e) {
            const auto type = e->response_type & 0x7f;
            return (type == shape->first_event + XCB_SHAPE_NOTIFY || type == XCB_MAP_NOTIFY) && shows();
        },
        5000);
}

int runDemo(const QString& appPath, const QString& outDir)
{
    QDir().mkpath(outDir);
    QFile logFile(QDir(outDir).filePath(QStringLiteral("demo-log.txt")));
    if (!logFile.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        std::fprintf(stderr, "mosaro demo: cannot write %s\n", qPrintable(logFile.fileName()));
        return 1;
    }
    QTextStream out(&logFile);
    auto say = [&](const QString& line) {
        out << line << '\n';
        out.flush();
        std::fprintf(stdout, "%s\n", qPrintable(line));
        std::fflush(stdout);
    };
    int shots = 0;

    say(QStringLiteral("Mosaro demo: a private X server with openbox, two monitors and two windows."));
    X11Session session({2560, 1024, QStringLiteral("openbox")});
    if (!session.ok()) {
        say(QStringLiteral("could not start the private X session: %1").arg(session.error()));
        return 1;
    }
    if (!session.xrandrSetMonitors(
            {{QStringLiteral("LEFT"), 0, 0, 1280, 1024, true}, {QStringLiteral("RIGHT"), 1280, 0, 1280, 1024, false}}))
        say(QStringLiteral("(could not split the screen into two monitors; jumping will beep)"));

    X11Connection& x = session.connection();
    auto shoot = [&](X11Connection&, const QString& name) {
        const QString file = QStringLiteral("%1-%2.png").arg(++shots, 2, 10, QLatin1Char('0')).arg(name);
        const QImage image = session.screenshot();
        if (!image.isNull() && image.save(QDir(outDir).filePath(file)))
            say(QStringLiteral("  screenshot %1").arg(file));
    };
    const auto notes = session.startClient({"--title", "Notes", "--geometry", "500x360+120+140"});
    const auto terminal = session.startClient({"--title", "Terminal", "--geometry", "640x420+360+420"});
    if (!notes || !terminal) {
        say(QStringLiteral("could not start the demo's windows or XTEST"));
        return 1;
    }

    MosaroAppDriver app(session, appPath);
    if (!app.start()) {
        say(QStringLiteral("Mosaro did not start on the private display:\n%1").arg(app.lastError()));
        return 1;
    }
    say(QStringLiteral("Mosaro is running; the trigger is Super+Return."));

    bool ok = true;
    const std::uint32_t substructure = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(x.connection(), x.root(), XCB_CW_EVENT_MASK, &substructure);
    // A key, the log line that says Mosaro took it, and the overlay at rest showing `region`.
    struct Shown {
        ScreenRef screen;
        GridDimensions grid;
        HighlightedRegion region;
    };
    auto step = [&](const QString& what, std::uint16_t key, std::uint64_t flags, const QString& expect,
                    const std::optional<Shown>& shown) {
        say(QStringLiteral("- %1").arg(what));
        const int mark = app.logMark();
        app.key(key, flags);
        if (!expect.isEmpty() && !app.waitForLog(mark, expect)) {
            say(QStringLiteral("  expected the log to show \"%1\", it did not").arg(expect));
            ok = false;
        }
        if (shown && !waitForHighlight(x, app.xVisible(shown->screen), shown->grid, shown->region)) {
            say(QStringLiteral("  expected the overlay to come to rest on the selection, it did not"));
            ok = false;
        }
    };
    // Where a window is once the move has settled: it has to reach the committed region's frame.
    auto settled = [&](const QString& name, xcb_window_t window, const Shown& committed) {
        const Rect expected = app.expectedFrame(committed.screen, committed.grid, 0, committed.region);
        if (!session.waitUntil([&] { return session.outerFrame(window) == expected; })) {
            say(QStringLiteral("  expected %1 at %2").arg(name, describe(expected)));
            ok = false;
        }
        say(QStringLiteral("%1 is now at %2").arg(name, describeFrame(session, window)));
    };
    const ScreenRef left = app.screenAt(0), right = app.screenAt(1);
    const GridDimensions start{3, 2}, wider{4, 2};

    session.activateWindow(notes->window);
    say(QStringLiteral("Notes starts at %1").arg(describeFrame(session, notes->window)));
    shoot(x, QStringLiteral("start"));
    step(QStringLiteral("Super+Return: the grid appears over the left monitor"), kReturn, kCommand,
         QStringLiteral("panel presented"), Shown{left, start, {{1, 1}, {1, 1}}});
    shoot(x, QStringLiteral("overlay"));
    step(QStringLiteral("Left: the highlight moves one cell left"), kLeft, 0, QStringLiteral("keyDown"),
         Shown{left, start, {{0, 1}, {0, 1}}});
    step(QStringLiteral("Shift+Up: the selection grows upwards"), kUp, kShift, QStringLiteral("keyDown"),
         Shown{left, start, {{0, 1}, {0, 0}}});
    step(QStringLiteral("Alt+Right: the grid gets a fourth column"), kRight, kOption, QStringLiteral("keyDown"),
         Shown{left, wider, {{0, 1}, {0, 0}}});
    shoot(x, QStringLiteral("extended"));
    step(QStringLiteral("Return: Notes moves into the region"), kReturn, 0, QStringLiteral("commit move"),
         std::nullopt);
    settled(QStringLiteral("Notes"), notes->window, Shown{left, wider, {{0, 1}, {0, 0}}});
    shoot(x, QStringLiteral("committed"));

    session.activateWindow(terminal->window);
    say(QStringLiteral("Terminal starts at %1").arg(describeFrame(session, terminal->window)));
    step(QStringLiteral("Super+Return on Terminal"), kReturn, kCommand, QStringLiteral("panel presented"),
         Shown{left, wider, {{2, 1}, {2, 1}}});
    step(QStringLiteral("Super+Shift+Right: the grid jumps to the right monitor"), kRight, kCommand | kShift,
         QStringLiteral("cross-display jump"), Shown{right, wider, {{2, 1}, {2, 1}}});
    shoot(x, QStringLiteral("jumped"));
    step(QStringLiteral("Shift+Right: the selection grows to the right"), kRight, kShift, QStringLiteral("keyDown"),
         Shown{right, wider, {{2, 1}, {3, 1}}});
    step(QStringLiteral("Return: Terminal moves onto the right monitor"), kReturn, 0, QStringLiteral("commit move"),
         std::nullopt);
    settled(QStringLiteral("Terminal"), terminal->window, Shown{right, wider, {{2, 1}, {3, 1}}});
    shoot(x, QStringLiteral("committed-on-right-monitor"));

    QFile prefsFile(app.preferencesPath());
    if (prefsFile.open(QIODevice::ReadOnly))
        say(QStringLiteral("preferences.json after the resize:\n%1").arg(QString::fromUtf8(prefsFile.readAll())));

    app.stop();
    say(QStringLiteral("\nMosaro's own log:\n%1").arg(app.logText()));
    say(ok ? QStringLiteral("Demo finished; screenshots and this log are in %1").arg(outDir)
           : QStringLiteral("Demo finished with unexpected results; see %1").arg(outDir));
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qunsetenv("DISPLAY");
    return runDemo(QStringLiteral(MOSARO_APP_PATH), QStringLiteral(MOSARO_DEMO_OUTPUT));
}
