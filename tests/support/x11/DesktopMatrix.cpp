#include "support/x11/DesktopMatrix.h"
#include "support/KeyCodes.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Platform/KeyEvent.h"
#include "Platform/X11/X11Properties.h"

#include <QElapsedTimer>

#include <cmath>
#include <cstdio>

namespace mosaro::test {

namespace M = mosaro::LogMessages;

// A panel along the top, as most desktops have one (i3 keeps docks only at the top or bottom).
constexpr double kDockHeight = 30;

const std::vector<DesktopClient>& desktopClients()
{
    static const std::vector<DesktopClient> clients{
        {"xterm",
         QStringLiteral("xterm"),
         {QStringLiteral("-geometry"), QStringLiteral("60x20+200+150")},
         QStringLiteral("xterm")},
        {"xlogo",
         QStringLiteral("xlogo"),
         {QStringLiteral("-geometry"), QStringLiteral("300x200+250+180")},
         QStringLiteral("xlogo")},
        {"gtk",
         QStringLiteral("/usr/bin/python3"),
         {QStringLiteral(MOSARO_GTK_CLIENT_PATH)},
         QStringLiteral("mosaro-gtk-client")},
    };
    return clients;
}

std::vector<std::string> desktopList(const char* commaSeparated)
{
    std::vector<std::string> out;
    for (const QString& wm : QString::fromLatin1(commaSeparated).split(QLatin1Char(','), Qt::SkipEmptyParts))
        out.push_back(wm.toStdString());
    return out;
}

std::string desktopName(const ::testing::TestParamInfo<std::string>& info)
{
    return info.param;
}

void DesktopMatrixTest::SetUp()
{
    X11Session::Options options{1280, 800, QString::fromStdString(GetParam())};
    options.taskbar = GetParam() == "icewm";
    ASSERT_NO_FATAL_FAILURE(startSession(options));
    ASSERT_NO_FATAL_FAILURE(startApp());
}

bool DesktopMatrixTest::supports(const char* atom)
{
    X11Connection& c = session->connection();
    return X11Properties::contains(c.atoms(c.root(), c.atom("_NET_SUPPORTED")), c.atom(atom));
}

bool DesktopMatrixTest::hasState(xcb_window_t window, const char* state)
{
    X11Connection& c = session->connection();
    return X11Properties::contains(c.atoms(window, c.atom("_NET_WM_STATE")), c.atom(state));
}

Rect DesktopMatrixTest::visibleFrame(xcb_window_t window)
{
    X11Connection& c = session->connection();
    Rect r = session->outerFrame(window);
    if (const auto shadow =
            X11Properties::extents(c.propertyValue(window, c.atom("_GTK_FRAME_EXTENTS")), r.width, r.height))
        r = {r.x + shadow->left, r.y + shadow->top, r.width - shadow->left - shadow->right,
             r.height - shadow->top - shadow->bottom};
    return r;
}

bool DesktopMatrixTest::matches(xcb_window_t window, const Rect& expected, Rect* actual)
{
    X11Connection& c = session->connection();
    *actual = visibleFrame(window);
    if (actual->origin() != expected.origin())
        return false;
    const auto hints = X11Properties::sizeHints(c.propertyValue(window, XCB_ATOM_WM_NORMAL_HINTS));
    const double incW = hints && hints->hasIncrement ? hints->increment.width : 1;
    const double incH = hints && hints->hasIncrement ? hints->increment.height : 1;
    return std::abs(actual->width - expected.width) < incW && std::abs(actual->height - expected.height) < incH;
}

std::optional<X11SessionClient> DesktopMatrixTest::startFocused(const DesktopClient& client)
{
    auto started = session->startProgram(client.program, client.args, client.instance);
    if (!started || !session->activateWindow(started->window))
        return std::nullopt;
    return started;
}

bool DesktopMatrixTest::commitWith(const std::vector<MosaroAppDriver::Key>& keys)
{
    const int mark = app->logMark();
    return app->openOverlay() && app->keys(keys) && app->waitForLog(mark, logPrefix(M::commitMove), 10000);
}

void DesktopMatrixTest::placeClient(const DesktopClient& client, const Scenario& scenario)
{
    SCOPED_TRACE(GetParam() + " / " + client.name + " / " + scenario.name);
    QElapsedTimer timer;
    timer.start();
    std::optional<X11SessionClient> dock;
    if (scenario.dock) {
        dock = session->startClient({"--dock-strut", QStringLiteral("top:%1").arg(kDockHeight)});
        ASSERT_TRUE(dock);
        ASSERT_TRUE(session->waitUntil([&] { return app->xVisible(app->screenAt(0)).y == kDockHeight; }))
            << str(app->xVisible(app->screenAt(0)));
    }
    const auto target = startFocused(client);
    ASSERT_TRUE(target) << client.name << " did not come up with the focus";

    bool maximized = false;
    if (scenario.maximized && supports("_NET_WM_STATE_MAXIMIZED_VERT")) {
        ASSERT_TRUE(
            session->changeWmState(target->window, 1, "_NET_WM_STATE_MAXIMIZED_VERT", "_NET_WM_STATE_MAXIMIZED_HORZ"));
        maximized = session->waitUntil([&] {
            return hasState(target->window, "_NET_WM_STATE_MAXIMIZED_VERT") &&
                   hasState(target->window, "_NET_WM_STATE_MAXIMIZED_HORZ");
        });
        ASSERT_TRUE(maximized);
        ASSERT_TRUE(session->activateWindow(target->window));
    }

    const bool bottomRight = scenario.maximized;
    const HighlightedRegion region =
        bottomRight ? HighlightedRegion{{2, 1}, {2, 1}} : HighlightedRegion{{0, 0}, {0, 0}};
    const Rect expected = app->expectedFrame(app->screenAt(0), {3, 2}, 0, region);
    EXPECT_TRUE(bottomRight ? commitWith({{keys::down, 0}, {keys::right, 0}, {keys::returnKey, 0}})
                            : commitWith({{keys::up, 0}, {keys::left, 0}, {keys::returnKey, 0}}));

    Rect actual;
    const bool placed = session->waitUntil([&] { return matches(target->window, expected, &actual); }, 2000);
    EXPECT_TRUE(placed) << "expected " << str(expected) << ", got " << str(actual);
    if (maximized) {
        EXPECT_FALSE(hasState(target->window, "_NET_WM_STATE_MAXIMIZED_VERT"));
    }
    std::printf("[ cell     ] %-12s %-6s %-15s %s %s in %lld ms%s\n", GetParam().c_str(), client.name, scenario.name,
                placed ? "placed at" : "FAILED, at", str(actual).c_str(), static_cast<long long>(timer.elapsed()),
                scenario.maximized && !maximized ? " (the manager has no maximized state)" : "");

    session->stop(target->pid);
    if (dock)
        session->stop(dock->pid);
    ASSERT_TRUE(session->waitUntil([&] { return session->findClient(client.instance) == XCB_WINDOW_NONE; }));
    if (dock) {
        // Once the manager has let the dock go, the top is where its work area says (icewm keeps the
        // dock's room until it restarts; managers without a work area give it all back).
        X11Connection& c = session->connection();
        ASSERT_TRUE(session->waitUntil([&] {
            const auto area = X11Properties::desktopWorkArea(c.propertyValue(c.root(), c.atom("_NET_WORKAREA")),
                                                             c.propertyValue(c.root(), c.atom("_NET_CURRENT_DESKTOP")));
            return !session->manages(dock->window) && app->xVisible(app->screenAt(0)).y == (area ? area->y : 0);
        })) << str(app->xVisible(app->screenAt(0)));
    }
}

void DesktopMatrixTest::placeEveryClient()
{
    if (GetParam() == "icewm") {
        EXPECT_LT(app->xVisible(app->screenAt(0)).maxY(), 800) << "icewm's task bar is kept free";
    }
    for (const DesktopClient& client : desktopClients())
        for (const Scenario& scenario : {Scenario{"plain", false, false}, Scenario{"maximized", false, true},
                                         Scenario{"next to a dock", true, false}})
            placeClient(client, scenario);
}

} // namespace mosaro::test
