#include "Grid/GridLayout.h"
#include "Grid/ScreenGeometry.h"
#include "Platform/KeyEvent.h"
#include "Platform/X11/X11ScreenList.h"
#include "support/EdidFixture.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace mosaro;
using namespace mosaro::test;

namespace {

xcb_randr_output_t firstOutput(X11Connection& c)
{
    auto res = c.reply<xcb_randr_get_screen_resources_current_reply_t>(
        xcb_randr_get_screen_resources_current_reply, xcb_randr_get_screen_resources_current(c.connection(), c.root()));
    if (!res || xcb_randr_get_screen_resources_current_outputs_length(res->get()) < 1)
        return XCB_NONE;
    return xcb_randr_get_screen_resources_current_outputs(res->get())[0];
}

} // namespace

// Without a window manager: one monitor named after its output (or its EDID), the work area
// as the visible frame, and the same object for as long as nothing changes.
TEST(X11ScreenList, SingleMonitorNamesWorkAreaAndIdentity)
{
    X11Session session({1280, 800, {}});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);

    const auto screens = list.screens();
    ASSERT_EQ(screens.size(), 1u);
    EXPECT_EQ(screens[0]->frame(), (Rect{0, 0, 1280, 800}));
    EXPECT_EQ(screens[0]->visibleFrame(), screens[0]->frame());
    EXPECT_EQ(screens[0]->localizedName(), QStringLiteral("screen"));
    EXPECT_EQ(screens[0]->backingScaleFactor(), 1.0);
    EXPECT_EQ(list.mainScreen(), screens[0]);
    EXPECT_EQ(list.screens()[0], screens[0]) << "same display, same object";

    // Work area of the current (second) desktop: 0,20 1280x750 in X coordinates, kept free for
    // two panels that are not docks with struts (a manager's own bars).
    for (const auto& [y, h] : {std::pair{0, 20}, std::pair{770, 30}}) {
        const xcb_window_t panel = xcb_generate_id(c.connection());
        const std::uint32_t overrideRedirect = 1;
        xcb_create_window(c.connection(), XCB_COPY_FROM_PARENT, panel, c.root(), 0, std::int16_t(y), 1280,
                          std::uint16_t(h), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
        xcb_map_window(c.connection(), panel);
    }
    const std::uint32_t areas[] = {0, 0, 1280, 800, 0, 20, 1280, 750};
    const std::uint32_t desktop = 1;
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, c.root(), c.atom("_NET_WORKAREA"), XCB_ATOM_CARDINAL, 32,
                        8, areas);
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, c.root(), c.atom("_NET_CURRENT_DESKTOP"),
                        XCB_ATOM_CARDINAL, 32, 1, &desktop);
    const auto withWorkArea = list.screens();
    EXPECT_EQ(withWorkArea[0]->visibleFrame(), (Rect{0, 30, 1280, 750}));
    EXPECT_NE(withWorkArea[0], screens[0]) << "a display's values never change under its users";
    EXPECT_EQ(screens[0]->visibleFrame(), (Rect{0, 0, 1280, 800}));

    // A hostile work area (too short) is ignored.
    xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, c.root(), c.atom("_NET_WORKAREA"), XCB_ATOM_CARDINAL, 32,
                        2, areas);
    EXPECT_EQ(list.screens()[0]->visibleFrame(), (Rect{0, 0, 1280, 800}));

    // The EDID product name wins over the output's name.
    const xcb_randr_output_t output = firstOutput(c);
    ASSERT_NE(output, xcb_randr_output_t(XCB_NONE));
    const auto edid = test::edidWithName("Mosaro Panel");
    xcb_randr_change_output_property(c.connection(), output, c.atom("EDID"), XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
                                     std::uint32_t(edid.size()), edid.data());
    EXPECT_EQ(list.screens()[0]->localizedName(), QStringLiteral("Mosaro Panel"));
}

// Two monitors on one screen: the server's order (primary first), y-up frames whose conversion
// with the primary height gives back the X rectangles; a new object only for a changed monitor;
// a notification when the screen changes.
TEST(X11ScreenList, TwoMonitorsInServerOrderWithConsistentCoordinates)
{
    X11Session session({1280, 800, {}});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);
    int changes = 0;
    list.onDisplaysChanged = [&] { ++changes; };

    ASSERT_TRUE(session.xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 800, 600, false}, {QStringLiteral("right"), 800, 0, 480, 800, true}}));

    const auto screens = list.screens();
    ASSERT_EQ(screens.size(), 2u);
    const ScreenRef& right = screens[0];
    const ScreenRef& left = screens[1];
    EXPECT_EQ(right->localizedName(), QStringLiteral("right")) << "a monitor without outputs goes by its own name";
    EXPECT_EQ(left->localizedName(), QStringLiteral("screen")) << "the monitor holding the output takes its name";
    EXPECT_EQ(left->frame(), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(right->frame(), (Rect{800, -200, 480, 800}));
    EXPECT_EQ(list.mainScreen(), right);

    const double h = primaryScreenHeight(list);
    EXPECT_EQ(h, 600);
    EXPECT_EQ(flippedRect(left->frame(), h), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(flippedRect(right->frame(), h), (Rect{800, 0, 480, 800}));
    // A point at X (900, 100) lies on the right monitor.
    EXPECT_EQ(screenContaining(list, Point{900, h - 100}), right);

    // Changing one monitor makes a new object for it only.
    ASSERT_TRUE(session.xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 800, 600, false}, {QStringLiteral("right"), 800, 0, 480, 700, true}}));
    const auto after = list.screens();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_NE(after[0], right);
    EXPECT_EQ(after[0]->frame(), (Rect{800, -100, 480, 700}));
    EXPECT_EQ(after[1], left);

    EXPECT_EQ(changes, 0);
    session.run(QStringLiteral("xrandr"), {QStringLiteral("--fb"), QStringLiteral("1024x768")});
    EXPECT_TRUE(session.waitUntil([&] {
        c.processPendingEvents();
        return changes > 0;
    }));
}

class X11ScreenListWithWM : public ::testing::TestWithParam<const char*> {};

// A dock's strut comes off its monitor's visible frame, whatever the window manager.
TEST_P(X11ScreenListWithWM, DockStrutShrinksVisibleFrame)
{
    X11Session session({1280, 800, QString::fromLatin1(GetParam())});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);
    ASSERT_EQ(list.screens().size(), 1u);

    auto top = session.startClient({"--dock-strut", "top:40"});
    ASSERT_TRUE(top);
    EXPECT_TRUE(session.waitUntil([&] {
        return list.screens()[0]->visibleFrame() == Rect{0, 0, 1280, 760};
    })) << describe(list.screens()[0]->visibleFrame()).toStdString();

    auto bottom = session.startClient({"--dock-strut", "bottom:30"});
    ASSERT_TRUE(bottom);
    EXPECT_TRUE(session.waitUntil([&] {
        return list.screens()[0]->visibleFrame() == Rect{0, 30, 1280, 730};
    })) << describe(list.screens()[0]->visibleFrame()).toStdString();
    EXPECT_EQ(list.screens()[0]->frame(), (Rect{0, 0, 1280, 800}));

    // icewm does not widen its work area again until it restarts; it is the manager's word, and
    // its own maximize keeps to it too.
    session.stopClient(*top);
    const Rect afterTop = GetParam() == std::string("icewm") ? Rect{0, 30, 1280, 730} : Rect{0, 30, 1280, 770};
    EXPECT_TRUE(session.waitUntil([&] { return list.screens()[0]->visibleFrame() == afterTop; }))
        << describe(list.screens()[0]->visibleFrame()).toStdString();
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, X11ScreenListWithWM, ::testing::Values("openbox", "icewm"));

namespace {

constexpr std::uint16_t kReturn = 36, kLeft = 123, kRight = 124, kDown = 125, kUp = 126;
constexpr std::uint64_t kShift = ModifierFlag::shift;

// Sets (or, without values, deletes) a window's _NET_WM_STRUT_PARTIAL, as a panel would.
void setStrut(X11Connection& c, xcb_window_t window, const std::vector<std::uint32_t>& partial)
{
    if (partial.empty())
        xcb_delete_property(c.connection(), window, c.atom("_NET_WM_STRUT_PARTIAL"));
    else
        xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, window, c.atom("_NET_WM_STRUT_PARTIAL"),
                            XCB_ATOM_CARDINAL, 32, std::uint32_t(partial.size()), partial.data());
    c.flush();
}

std::optional<Rect> publishedWorkArea(X11Connection& c)
{
    return X11Properties::desktopWorkArea(c.propertyValue(c.root(), c.atom("_NET_WORKAREA")),
                                          c.propertyValue(c.root(), c.atom("_NET_CURRENT_DESKTOP")));
}

// The frame of a region of a 3 x 2 grid, margin 0, on a work area (X root coordinates).
Rect cellOf(const Rect& workArea, double rootHeight, const HighlightedRegion& region)
{
    return flippedRect(GridLayout{3, 2, flippedRect(workArea, rootHeight), 0}.frameFor(region), rootHeight);
}

} // namespace

// Openbox with its own screen margins, with a dock, with a panel that is no dock but holds a strut:
// the top-left, bottom-left and whole-grid selections land exactly on the work area's cells, and
// the manager never has to hold a window back (no bell, no correction, no rollback).
TEST(X11ScreenListWorkArea, SelectionsLandOnTheWorkAreasCells)
{
    struct Row {
        const char* name;
        QMargins margins;
        QStringList panel; // a client started first, or none
        std::vector<std::uint32_t> strut;
        Rect workArea;
    };
    const std::vector<Row> rows{
        {"bottom margin 40", QMargins(0, 0, 0, 40), {}, {}, {0, 0, 1440, 860}},
        {"top margin 30, 25 px dock at the bottom",
         QMargins(0, 30, 0, 0),
         {"--dock-strut", "bottom:25"},
         {},
         {0, 30, 1440, 845}},
        {"a plain window holding a strut",
         {},
         {"--title", "Panel"},
         {0, 0, 50, 0, 0, 0, 0, 0, 0, 1439, 0, 0},
         {0, 50, 1440, 850}},
    };
    const std::vector<std::pair<HighlightedRegion, std::vector<MosaroAppDriver::Key>>> selections{
        {{{0, 0}, {0, 0}}, {{kUp, 0}, {kLeft, 0}, {kReturn, 0}}},
        {{{0, 1}, {0, 1}}, {{kDown, 0}, {kLeft, 0}, {kReturn, 0}}},
        {{{0, 0}, {2, 1}}, {{kUp, 0}, {kLeft, 0}, {kRight, kShift}, {kRight, kShift}, {kDown, kShift}, {kReturn, 0}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        X11Session::Options options{1440, 900, QStringLiteral("openbox")};
        options.margins = row.margins;
        X11Session session(options);
        ASSERT_TRUE(session.ok()) << session.error().toStdString();
        X11Connection& c = session.connection();
        if (!row.panel.isEmpty()) {
            const auto panel = session.startClient(row.panel);
            ASSERT_TRUE(panel);
            if (!row.strut.empty())
                setStrut(c, panel->window, row.strut);
        }
        ASSERT_TRUE(session.waitUntil([&] { return publishedWorkArea(c) == row.workArea; }))
            << describe(publishedWorkArea(c).value_or(Rect{})).toStdString();
        MosaroAppDriver app(session, QStringLiteral(MOSARO_APP_PATH));
        ASSERT_TRUE(app.watchBells());
        ASSERT_TRUE(app.start()) << app.lastError().toStdString();
        const auto target = session.startClient({"--title", "Target", "--geometry", "400x300+300+200"});
        ASSERT_TRUE(target);
        for (const auto& [region, keys] : selections) {
            ASSERT_TRUE(session.activateWindow(target->window));
            ASSERT_TRUE(app.openOverlay()) << app.logText().toStdString();
            const int mark = app.logMark();
            ASSERT_TRUE(app.keys(keys));
            const Rect expected = cellOf(row.workArea, 900, region);
            EXPECT_TRUE(session.waitUntil([&] { return session.outerFrame(target->window) == expected; }))
                << "expected " << describe(expected).toStdString() << ", got "
                << describe(session.outerFrame(target->window)).toStdString() << "\n"
                << app.logText(mark).toStdString();
        }
        EXPECT_EQ(app.bellCount(), 0);
        EXPECT_TRUE(app.linesSince(0, QStringLiteral("window manager ")).isEmpty()) << app.logText().toStdString();
    }
}

// A strut that appears, changes and goes away between two triggers: each trigger's overlay and
// cells follow it at once.
TEST(X11ScreenListWorkArea, EachTriggerFollowsTheStruts)
{
    X11Session session({1280, 800, QStringLiteral("openbox")});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection& c = session.connection();
    MosaroAppDriver app(session, QStringLiteral(MOSARO_APP_PATH));
    ASSERT_TRUE(app.start()) << app.lastError().toStdString();
    const auto panel = session.startClient({"--title", "Panel"});
    const auto target = session.startClient({"--title", "Target", "--geometry", "400x300+300+200"});
    ASSERT_TRUE(panel && target);
    for (const std::uint32_t left : {100u, 200u, 0u}) {
        SCOPED_TRACE(left);
        setStrut(c, panel->window,
                 left ? std::vector<std::uint32_t>{left, 0, 0, 0, 0, 799, 0, 0, 0, 0, 0, 0}
                      : std::vector<std::uint32_t>{});
        const Rect workArea{double(left), 0, 1280.0 - left, 800};
        ASSERT_TRUE(session.waitUntil([&] { return publishedWorkArea(c) == workArea; }));
        ASSERT_TRUE(session.activateWindow(target->window));
        ASSERT_TRUE(app.openOverlay()) << app.logText().toStdString();
        EXPECT_TRUE(app.waitForOverlay(workArea));
        ASSERT_TRUE(app.keys({{kUp, 0}, {kLeft, 0}, {kReturn, 0}}));
        const Rect expected = cellOf(workArea, 800, {{0, 0}, {0, 0}});
        EXPECT_TRUE(session.waitUntil([&] { return session.outerFrame(target->window) == expected; }))
            << describe(session.outerFrame(target->window)).toStdString();
    }
}

// With a hundred clients, a reading of an unchanged desktop asks nothing about them, and a strut
// that changes costs its own window's requests only; a malformed strut holds nothing.
TEST(X11ScreenListWorkArea, ReadingsCostNothingPerWindow)
{
    X11Session session({1280, 800, QStringLiteral("openbox")});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection& c = session.connection();
    const auto crowd = session.startClient({"--title", "Crowd", "--windows", "100"}, 30000);
    ASSERT_TRUE(crowd);
    X11Connection own(session.displayName());
    X11ScreenList list(own);
    ASSERT_TRUE(session.waitUntil([&] {
        list.screens();
        return list.reservedSpace().watchedWindows() >= 100;
    }));
    list.screens();
    EXPECT_EQ(list.reservedSpace().lastRequests(), 0);

    struct Row {
        const char* name;
        std::vector<std::uint32_t> strut;
        std::uint8_t format;
        Rect workArea; // as published, X root coordinates
    };
    for (const Row& row : {Row{"a panel on the right", {0, 60, 0, 0, 0, 0, 0, 799, 0, 0, 0, 0}, 32, {0, 0, 1220, 800}},
                           Row{"a strut of 16-bit values", {0, 60, 0, 0}, 16, {0, 0, 1280, 800}},
                           Row{"gone again", {}, 32, {0, 0, 1280, 800}}}) {
        SCOPED_TRACE(row.name);
        if (row.strut.empty())
            xcb_delete_property(c.connection(), crowd->window, c.atom("_NET_WM_STRUT_PARTIAL"));
        else
            xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, crowd->window, c.atom("_NET_WM_STRUT_PARTIAL"),
                                XCB_ATOM_CARDINAL, row.format, std::uint32_t(row.strut.size()), row.strut.data());
        ASSERT_TRUE(c.windowExists(crowd->window)); // a round trip: the change is made
        ASSERT_TRUE(session.waitUntil([&] { return publishedWorkArea(c) == row.workArea; }));
        EXPECT_EQ(list.screens()[0]->visibleFrame(), flippedRect(row.workArea, 800));
        EXPECT_LE(list.reservedSpace().lastRequests(), 7);
        list.screens();
        EXPECT_EQ(list.reservedSpace().lastRequests(), 0);
    }
}
