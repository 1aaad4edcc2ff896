// The overlay seen from the X server: what Mosaro asks of it during a whole session (never a
// request that reads pixels), and keys typed together with the trigger landing in the overlay.

#include "support/EventLoopWait.h"
#include "support/KeyCodes.h"
#include "support/x11/MosaroAppFixture.h"

#include "Overlay/UI/PanelOverlayWindow.h"
#include "Platform/KeyEvent.h"
#include "Platform/LocalEventMonitors.h"
#include "Platform/NotificationCenter.h"
#include "Platform/X11/X11PanelHost.h"
#include "Platform/X11/X11ScreenList.h"

#include <QCoreApplication>
#include <QFile>
#include <QRegularExpression>
#include <QTimer>

#include <xcb/xtest.h>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

constexpr std::uint8_t xReturn = 36, xUp = 111, xLeft = 113, xSuper = 133;

class OverlayProtocolTest : public MosaroAppFixture {
protected:
    void SetUp() override { startSession({1280, 800, QStringLiteral("openbox")}); }
};

// Every request of a session (start, trigger, moves, a region, commit, a second showing,
// dismissal), recorded by xtrace between Mosaro and the server: none of them reads pixels.
TEST_F(OverlayProtocolTest, NoRequestOfAWholeSessionReadsPixels)
{
    const QString trace = session->tempPath() + QStringLiteral("/protocol.txt");
    // xtrace sits on a display of its own and forwards to the session's server.
    int fake = 400;
    while (QFile::exists(QStringLiteral("/tmp/.X11-unix/X%1").arg(fake)))
        ++fake;
    app->launcher = {QStringLiteral("xtrace"), QStringLiteral("-n"),
                     QStringLiteral("-d"),     session->displayName(),
                     QStringLiteral("-D"),     QStringLiteral(":%1").arg(fake),
                     QStringLiteral("-o"),     trace,
                     QStringLiteral("--")};
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto window = activeClient({"--title", "Target", "--geometry", "400x300+200+150"});
    const ScreenRef screen = app->screenAt(0);

    ASSERT_TRUE(app->openOverlay());
    ASSERT_TRUE(app->keys({{keys::right, 0}, {keys::up, ModifierFlag::shift}, {keys::returnKey, 0}}));
    const Rect expected = app->expectedFrame(screen, {3, 2}, 0, {{2, 1}, {2, 0}});
    EXPECT_TRUE(session->waitUntil([&] { return session->outerFrame(window.window) == expected; }))
        << describe(session->outerFrame(window.window)).toStdString();
    ASSERT_TRUE(app->openOverlay());
    ASSERT_TRUE(app->keys({{keys::left, 0}, {keys::escape, 0}}));
    ASSERT_TRUE(app->waitForNoOverlay());
    app->stop();

    QFile log(trace);
    ASSERT_TRUE(log.open(QIODevice::ReadOnly)) << "xtrace wrote nothing";
    const QString text = QString::fromUtf8(log.readAll());
    // The trace holds the session: the overlay's own drawing went through it.
    EXPECT_TRUE(text.contains(QStringLiteral("GrabKeyboard")));
    EXPECT_TRUE(text.contains(QStringLiteral("ShapeRectangles")) || text.contains(QStringLiteral("Rectangles")));
    for (const char* reader : {"GetImage", "ShmGetImage", "CopyArea", "CopyPlane"}) {
        const QRegularExpression request(QStringLiteral("Request\\([0-9,]+\\): %1\\b").arg(QLatin1String(reader)));
        const auto match = request.match(text);
        EXPECT_FALSE(match.hasMatch()) << reader << " sent: "
                                       << text.mid(std::max(0, int(match.capturedStart()) - 200), 400).toStdString();
    }
}

// Trigger, Up, Left, Return sent in one burst with no delay: the keys reach the overlay, in
// order, and the window lands on the top-left cell; the target sees none of them.
TEST_F(OverlayProtocolTest, KeysSentInOneBurstWithTheTriggerPlaceTheWindowExactly)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto window = activeClient({"--title", "Target", "--geometry", "400x300+200+150"});
    const ScreenRef screen = app->screenAt(0);
    const Rect expected = app->expectedFrame(screen, {3, 2}, 0, HighlightedRegion::single({0, 0}));
    ASSERT_NE(session->outerFrame(window.window), expected);

    for (int round = 0; round < 3; ++round) {
        if (round > 0) {
            // Back somewhere else, with a key of the overlay typed at once after the trigger.
            ASSERT_TRUE(app->openOverlay());
            ASSERT_TRUE(app->keys({{keys::right, 0}, {keys::returnKey, 0}}));
            ASSERT_TRUE(session->waitUntil([&] { return session->outerFrame(window.window) != expected; }));
        }
        X11Connection& c = session->connection();
        auto fake = [&](std::uint8_t type, std::uint8_t code) {
            xcb_test_fake_input(c.connection(), type, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        };
        for (std::uint8_t code : {xSuper, xReturn})
            fake(XCB_KEY_PRESS, code);
        for (std::uint8_t code : {xReturn, xSuper})
            fake(XCB_KEY_RELEASE, code);
        for (std::uint8_t code : {xUp, xLeft, xReturn}) {
            fake(XCB_KEY_PRESS, code);
            fake(XCB_KEY_RELEASE, code);
        }
        c.flush();
        EXPECT_TRUE(session->waitUntil([&] { return session->outerFrame(window.window) == expected; }))
            << "round " << round << ": " << describe(session->outerFrame(window.window)).toStdString();
        ASSERT_TRUE(app->waitForNoOverlay());
    }
}

// A desktop's own shortcut daemon may still hold the keyboard when it starts Mosaro's trigger:
// the panel shows at once and takes the keyboard from the event loop as soon as it is free.
TEST_F(OverlayProtocolTest, APanelTakesTheKeyboardFromTheEventLoopOnceAnotherClientLetsGo)
{
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    X11Connection connection(session->displayName());
    connection.attachToEventLoop();
    X11ScreenList screens(connection);
    LocalEventMonitors monitors;
    NotificationCenter center;
    X11PanelHost host(connection, screens, nullptr);
    PanelOverlayWindowFactory factory(host, monitors, center);

    X11Connection daemon(session->displayName());
    auto held = daemon.ask<xcb_grab_keyboard_reply>(xcb_grab_keyboard, 0, daemon.root(), XCB_CURRENT_TIME,
                                                    XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    ASSERT_TRUE(held && held->status == XCB_GRAB_STATUS_SUCCESS);

    auto panel = factory.makeOverlayWindow();
    panel->setFrame(screens.screens().front()->visibleFrame());
    panel->takeKeyboard();
    panel->makeKeyAndOrderFront();
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(panel->isKeyWindow());

    // The daemon lets go from the event loop too: the panel cannot have been sleeping.
    QTimer::singleShot(50, [&] {
        xcb_ungrab_keyboard(daemon.connection(), XCB_CURRENT_TIME);
        daemon.flush();
    });
    EXPECT_TRUE(waitFor([&] { return panel->isKeyWindow(); }, 3000));
    panel->close();
    EXPECT_FALSE(panel->isVisible());
}

} // namespace
