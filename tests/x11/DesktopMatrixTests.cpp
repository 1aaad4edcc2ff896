// The desktops people use: the real application under each window manager that CI covers,
// placing an xterm, an xlogo and a GTK window with client-side decorations, as a plain window, a
// maximized one and one next to a dock. Every committed outer frame is compared with the frame of
// the grid region, allowing only the window's size increments.

#include "support/KeyCodes.h"
#include "support/x11/DesktopMatrix.h"

#include "Diagnostics/Log/LogMessages.h"

using namespace mosaro;
using namespace mosaro::test;

TEST_P(DesktopMatrixTest, EveryClientLandsOnItsCell)
{
    placeEveryClient();
}

INSTANTIATE_TEST_SUITE_P(Desktops, DesktopMatrixTest, ::testing::ValuesIn(desktopList("openbox,xfwm4,icewm,i3")),
                         desktopName);

// The one placement the matrix cannot make: a window i3 holds in its tiled layout. The window's
// frame already starts at the top-left cell's corner, so the position is left alone; the size
// write is not confirmed, the rollback runs, the window stays, and the log says why.
class TiledDesktop : public MosaroAppFixture {};

TEST_F(TiledDesktop, I3KeepsATiledWindowInPlaceAndTheLogSaysSo)
{
    X11Session::Options options{1280, 800, QStringLiteral("i3")};
    options.tiling = true;
    ASSERT_NO_FATAL_FAILURE(startSession(options));
    ASSERT_TRUE(app->watchBells());
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto xterm = session->startProgram(QStringLiteral("xterm"), {}, QStringLiteral("xterm"));
    ASSERT_TRUE(xterm && session->activateWindow(xterm->window));
    const Rect tiled = session->outerFrame(xterm->window);
    EXPECT_EQ(tiled.origin(), (Point{0, 0}));

    ASSERT_TRUE(app->openOverlay());
    const int mark = app->logMark();
    ASSERT_TRUE(app->keys({{keys::up, 0}, {keys::left, 0}, {keys::returnKey, 0}}));
    ASSERT_TRUE(app->waitForLog(mark, QStringLiteral("commit failed"), 10000));
    EXPECT_FALSE(app->linesSince(mark, QStringLiteral("AX set AXSize failed: -25204")).isEmpty());
    EXPECT_FALSE(app->linesSince(mark, QString::fromUtf8(LogMessages::restoringFrame)).isEmpty());
    EXPECT_FALSE(app->linesSince(mark, QStringLiteral("window manager kept window")).isEmpty());
    EXPECT_TRUE(app->linesSince(mark, QStringLiteral("AX set AXPosition failed")).isEmpty());
    EXPECT_EQ(session->outerFrame(xterm->window), tiled);
    EXPECT_TRUE(app->waitForBells(1));
}
