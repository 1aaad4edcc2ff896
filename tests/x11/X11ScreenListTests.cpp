#include "Diagnostics/Log/Log.h"
#include "Grid/GridLayout.h"
#include "Grid/ScreenGeometry.h"
#include "Platform/KeyEvent.h"
#include "Platform/X11/X11Accessibility.h"
#include "Platform/X11/X11ScreenList.h"
#include "WindowControl/AXWindowManipulator.h"
#include "support/EdidFixture.h"
#include "support/KeyCodes.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

// Without a window manager: one monitor named after its output (or its EDID), the same object for
// as long as nothing changes; then two monitors on one screen in the server's order (primary
// first) with y-up frames below the monitor at the origin, a new object only for a changed monitor,
// and a notification when the screen changes. Work areas are X11ScreenListWorkArea's.
TEST(X11ScreenList, MonitorsInServerOrderWithNamesIdentityAndConsistentCoordinates)
{
    X11Session session({1280, 800, {}});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList list(c);
    int changes = 0;
    list.onDisplaysChanged = [&] { ++changes; };

    const auto single = list.screens();
    ASSERT_EQ(single.size(), 1u);
    EXPECT_EQ(single[0]->frame(), (Rect{0, 0, 1280, 800}));
    EXPECT_EQ(single[0]->visibleFrame(), single[0]->frame());
    EXPECT_EQ(single[0]->localizedName(), QStringLiteral("screen"));
    EXPECT_EQ(single[0]->backingScaleFactor(), 1.0);
    EXPECT_EQ(list.mainScreen(), single[0]);
    EXPECT_EQ(list.screens()[0], single[0]) << "same display, same object";

    // The EDID product name wins over the output's name.
    const xcb_randr_output_t output = session.firstOutput();
    ASSERT_NE(output, xcb_randr_output_t(XCB_NONE));
    const auto edid = test::edidWithName("Mosaro Panel");
    xcb_randr_change_output_property(c.connection(), output, c.atom("EDID"), XCB_ATOM_INTEGER, 8, XCB_PROP_MODE_REPLACE,
                                     std::uint32_t(edid.size()), edid.data());
    EXPECT_EQ(list.screens()[0]->localizedName(), QStringLiteral("Mosaro Panel"));

    ASSERT_TRUE(session.xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 800, 600, false}, {QStringLiteral("right"), 800, 0, 480, 800, true}}));

    const auto screens = list.screens();
    ASSERT_EQ(screens.size(), 2u);
    const ScreenRef& right = screens[0];
    const ScreenRef& left = screens[1];
    EXPECT_EQ(right->localizedName(), QStringLiteral("right")) << "a monitor without outputs goes by its own name";
    EXPECT_EQ(left->localizedName(), QStringLiteral("Mosaro Panel")) << "the monitor holding the output takes its name";
    EXPECT_EQ(left->frame(), (Rect{0, 0, 800, 600}));
    EXPECT_EQ(right->frame(), (Rect{800, -200, 480, 800}));
    EXPECT_EQ(list.mainScreen(), right);

    // Changing one monitor makes a new object for it only.
    ASSERT_TRUE(session.xrandrSetMonitors(
        {{QStringLiteral("left"), 0, 0, 800, 600, false}, {QStringLiteral("right"), 800, 0, 480, 700, true}}));
    const auto after = list.screens();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_NE(after[0], right);
    EXPECT_EQ(after[0]->frame(), (Rect{800, -100, 480, 700}));
    EXPECT_EQ(after[1], left);
    EXPECT_EQ(right->frame(), (Rect{800, -200, 480, 800})) << "a display's values never change under its users";

    EXPECT_EQ(changes, 0);
    session.run(QStringLiteral("xrandr"), {QStringLiteral("--fb"), QStringLiteral("1024x768")});
    EXPECT_TRUE(session.waitUntil([&] {
        c.processPendingEvents();
        return changes > 0;
    }));
}

namespace {

// Sets (or, without values, deletes) a window's _NET_WM_STRUT_PARTIAL, as a panel would; the
// manager's work area, as published.
void setStrut(X11Connection& c, xcb_window_t window, const std::vector<std::uint32_t>& v, std::uint8_t format = 32)
{
    if (v.empty())
        xcb_delete_property(c.connection(), window, c.atom("_NET_WM_STRUT_PARTIAL"));
    else
        xcb_change_property(c.connection(), XCB_PROP_MODE_REPLACE, window, c.atom("_NET_WM_STRUT_PARTIAL"),
                            XCB_ATOM_CARDINAL, format, std::uint32_t(v.size()), v.data());
    c.windowExists(window); // a round trip: the change is made
}
std::optional<Rect> workArea(X11Connection& c)
{
    return X11Properties::desktopWorkArea(c.propertyValue(c.root(), c.atom("_NET_WORKAREA")),
                                          c.propertyValue(c.root(), c.atom("_NET_CURRENT_DESKTOP")));
}

} // namespace

// Openbox with its own margins, with a dock, with a plain window (one of a hundred) whose strut
// appears, changes, turns malformed and goes away between triggers: the top-left, bottom-left and
// whole-grid selections land exactly on the cells of the work area of the moment, the manager
// never has to hold a window back, and the display list asks nothing about the windows that did
// not change.
TEST(X11ScreenListWorkArea, SelectionsLandOnTheWorkAreasCells)
{
    struct State {
        std::vector<std::uint32_t> strut;
        std::uint8_t format;
        Rect area; // the manager's work area then (X root coordinates)
    };
    struct Row {
        const char* name;
        QMargins margins;
        QStringList panel;
        std::vector<State> states;
    };
    const std::vector<Row> rows{
        {"bottom margin 40", {0, 0, 0, 40}, {}, {{{}, 32, {0, 0, 1440, 860}}}},
        {"top margin 30, 25 px dock", {0, 30, 0, 0}, {"--dock-strut", "bottom:25"}, {{{}, 32, {0, 30, 1440, 845}}}},
        {"a plain window's strut",
         {},
         {"--title", "Panel", "--windows", "100"},
         {{{0, 0, 50, 0, 0, 0, 0, 0, 0, 1439, 0, 0}, 32, {0, 50, 1440, 850}},
          {{120, 0, 0, 0, 0, 899, 0, 0, 0, 0, 0, 0}, 32, {120, 0, 1320, 900}},
          {{0, 60, 0, 0}, 16, {0, 0, 1440, 900}},
          {{}, 32, {0, 0, 1440, 900}}}},
    };
    const std::vector<std::pair<HighlightedRegion, std::vector<MosaroAppDriver::Key>>> selections{
        {{{0, 0}, {0, 0}}, {{keys::up, 0}, {keys::left, 0}, {keys::returnKey, 0}}},
        {{{0, 1}, {0, 1}}, {{keys::down, 0}, {keys::left, 0}, {keys::returnKey, 0}}},
        {{{0, 0}, {2, 1}},
         {{keys::up, 0},
          {keys::left, 0},
          {keys::right, ModifierFlag::shift},
          {keys::right, ModifierFlag::shift},
          {keys::down, ModifierFlag::shift},
          {keys::returnKey, 0}}},
    };
    for (const Row& row : rows) {
        X11Session::Options options{1440, 900, QStringLiteral("openbox")};
        options.margins = row.margins;
        X11Session session(options);
        ASSERT_TRUE(session.ok()) << session.error().toStdString();
        const auto panel = row.panel.isEmpty() ? std::nullopt : session.startClient(row.panel, 30000);
        MosaroAppDriver app(session, QStringLiteral(MOSARO_APP_PATH));
        ASSERT_TRUE(app.watchBells() && app.start()) << app.lastError().toStdString();
        const auto target = session.startClient({"--title", "Target", "--geometry", "400x300+300+200"});
        ASSERT_TRUE(target && (panel || row.panel.isEmpty()));
        ASSERT_TRUE(session.waitUntil([&] { // the desktop has settled: a reading costs nothing
            app.screens().screens();
            return app.screens().reservedSpace().lastRequests() == 0;
        }));
        for (const auto& [strut, format, stateArea] : row.states) {
            const Rect area = stateArea; // captured below
            SCOPED_TRACE(std::string(row.name) + ", work area " + str(area));
            if (row.states.size() > 1) // the panel's strut changes
                setStrut(session.connection(), panel->window, strut, format);
            ASSERT_TRUE(session.waitUntil([&] { return workArea(session.connection()) == area; }));
            const Rect visible = app.screens().screens()[0]->visibleFrame(); // one reading
            EXPECT_LE(app.screens().reservedSpace().lastRequests(), 6) << "the changed window and the work area";
            EXPECT_EQ(flippedRect(visible, 900), area);
            app.screens().screens();
            EXPECT_EQ(app.screens().reservedSpace().lastRequests(), 0) << "nothing changed";
            for (const auto& [region, keys] : selections) {
                ASSERT_TRUE(session.activateWindow(target->window) && app.openOverlay()) << app.logText().toStdString();
                EXPECT_TRUE(app.waitForOverlay(area));
                ASSERT_TRUE(app.keys(keys));
                const Rect cell = flippedRect(GridLayout{3, 2, flippedRect(area, 900), 0}.frameFor(region), 900);
                EXPECT_TRUE(session.waitUntil([&] { return session.outerFrame(target->window) == cell; }))
                    << str(cell) << " ≠ " << str(session.outerFrame(target->window));
            }
        }
        EXPECT_EQ(app.bellCount(), 0);
        EXPECT_TRUE(app.linesSince(0, QStringLiteral("window manager ")).isEmpty()) << app.logText().toStdString();
    }
}

// Asked for a frame reaching into openbox's bottom margin (where the cells of the whole screen
// would lie), the manager holds the window inside its work area, and that is where it landed: one
// line says so, nothing is rolled back, no correction is learnt, so the next placement is exact.
TEST(X11ScreenListWorkArea, AFrameTheManagerHoldsInsideItsWorkAreaHasLanded)
{
    X11Session::Options options{1280, 800, QStringLiteral("openbox")};
    options.margins = {0, 0, 0, 40};
    X11Session session(options);
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    X11Connection c(session.displayName());
    X11ScreenList screens(c);
    X11Accessibility ax(c);
    ax.mover().setHoldingAreas([&] { return screens.xHoldingAreas(); });
    AXWindowManipulator manipulator(ax, screens);
    ASSERT_TRUE(session.waitUntil([&] { return screens.screens()[0]->visibleFrame() == Rect{0, 40, 1280, 760}; }));
    const auto target = session.startClient({"--title", "Held", "--geometry", "300x200+600+40"});
    ASSERT_TRUE(target && session.activateWindow(target->window));
    // The bottom-left cell of 3 x 2 on the given bounds; what the windowmanager category said.
    auto moveToBottomLeft = [&](const Rect& bounds) {
        const auto window = manipulator.focusedWindow();
        Log::Store::shared().clear();
        EXPECT_TRUE(window && *window &&
                    manipulator.move(**window, GridLayout{3, 2, bounds, 0}.frameFor({{0, 1}, {0, 1}})));
        QStringList lines;
        for (const auto& e : Log::Store::shared().entries())
            if (e.category == QLatin1String("windowmanager") && e.level >= Log::Level::info)
                lines << e.message;
        return lines;
    };
    const QStringList held = moveToBottomLeft({0, 0, 1280, 800});
    ASSERT_EQ(held.size(), 1) << held.join(QLatin1Char('\n')).toStdString();
    EXPECT_TRUE(held[0].startsWith(QStringLiteral("window manager holds window 0x%1 inside the screen's free area: "
                                                  "asked for (0, 400, 427, 400), it is at (0, 360, ")
                                       .arg(target->window, 0, 16)))
        << held[0].toStdString();
    EXPECT_EQ(moveToBottomLeft({0, 40, 1280, 760}), QStringList());
    EXPECT_EQ(session.outerFrame(target->window), (Rect{0, 380, 427, 380}));
}
