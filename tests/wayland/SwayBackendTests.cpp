#include "Diagnostics/Log/Log.h"
#include "Grid/GridLayout.h"
#include "Grid/ScreenGeometry.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Wayland/Sway/SwayAccessibility.h"
#include "Platform/Wayland/Sway/SwayDesktop.h"
#include "Platform/Wayland/Sway/SwayHotKeyService.h"
#include "WindowControl/AXWindowManipulator.h"
#include "support/ApplicationEnvironment.h"
#include "support/wayland/SwaySession.h"

#include <QColor>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QJsonObject>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

constexpr std::uint16_t returnKey = 36;
constexpr auto command = std::uint32_t(CarbonModifier::command);
const QString bottomBar = QStringLiteral("bar {\n position bottom\n height 25\n}");

// Turns the event loop (blocking in it, as the application does between two actions, so that
// what is kept for one turn is read afresh) until the condition holds.
bool spin(const std::function<bool()>& condition, int ms = 5000)
{
    return eventually(condition, ms);
}

int logged(const char* text)
{
    int count = 0;
    for (const auto& e : Log::Store::shared().entries())
        count += e.message.contains(QLatin1String(text)) ? 1 : 0;
    return count;
}

// One headless sway, Mosaro's channel to it, and the backend classes over that channel.
class SwayBackendTest : public ::testing::Test {
protected:
    void start(const SwaySession::Options& options = {})
    {
        Log::Store::shared().clear();
        session = std::make_unique<SwaySession>(options);
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        ipc = std::make_unique<Sway::Ipc>(session->swaySocket());
        ipc->subscribe({Sway::EventType::workspace, Sway::EventType::output, Sway::EventType::window,
                        Sway::EventType::binding, Sway::EventType::shutdown});
        ax = std::make_unique<SwayAccessibility>(*ipc);
        screens = std::make_unique<SwayScreenList>(*ipc);
        manipulator = std::make_unique<AXWindowManipulator>(*ax, *screens);
    }
    std::unique_ptr<SwayHotKeyService> hotKeys()
    {
        auto service = std::make_unique<SwayHotKeyService>(*ipc, Sway::Keymap::create(QStringLiteral("us")));
        EventHandlerRef handler = 0;
        service->installEventHandler(
            [this](const HotKeyEvent* e) {
                EventHotKeyID id;
                e->hotKeyID(id);
                pressed.push_back(id.id);
                return HotKeyStatus::noErr;
            },
            {{kEventClassKeyboard, HotKeyEventKind::hotKeyPressed}}, handler);
        return service;
    }
    std::optional<FocusedWindow> focused()
    {
        auto window = manipulator->focusedWindow();
        return window ? *window : std::nullopt;
    }
    // A frame in screen coordinates as sway's layout pixels.
    Rect layoutFrame(const Rect& frame) { return flippedRect(frame, primaryScreenHeight(*screens)); }

    std::unique_ptr<SwaySession> session;
    std::unique_ptr<Sway::Ipc> ipc;
    std::unique_ptr<SwayAccessibility> ax;
    std::unique_ptr<SwayScreenList> screens;
    std::unique_ptr<AXWindowManipulator> manipulator;
    std::vector<std::uint32_t> pressed;

    void TearDown() override
    {
        // What sway was asked and answered, when something went wrong.
        if (HasFailure())
            for (const auto& e : Log::Store::shared().entries())
                std::fprintf(stderr, "%s\n", qPrintable(e.message));
    }
};

// The focused window and its display on a 1440 x 900 output, with and without a 25 px bar at the
// bottom: the bar's output gives the grid's worked examples' visible frame exactly.
TEST_F(SwayBackendTest, FocusedWindowAndVisibleFrameWithAndWithoutABar)
{
    struct Row {
        const char* name;
        QString config;
        Rect visible;
    };
    const Row rows[] = {{"no bar", {}, {0, 0, 1440, 900}}, {"bar at the bottom", bottomBar, {0, 25, 1440, 875}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        start({1440, 900, row.config});
        const auto foot = session->startFoot(QStringLiteral("mosaro-foot"));
        ASSERT_TRUE(foot);
        // The bar maps a moment after sway answers.
        spin([&] { return screens->screens().at(0)->visibleFrame() == row.visible; });
        const auto list = screens->screens();
        ASSERT_EQ(list.size(), 1u);
        EXPECT_EQ(list[0]->frame(), (Rect{0, 0, 1440, 900}));
        EXPECT_EQ(list[0]->visibleFrame(), row.visible);
        EXPECT_EQ(list[0]->localizedName(), QStringLiteral("headless")); // the output's model
        const auto window = focused();
        ASSERT_TRUE(window);
        EXPECT_EQ(window->processID, foot->pid);
        EXPECT_FALSE(window->isFullscreen);
        EXPECT_TRUE(window->isResizable);
        // A tiled window alone on its workspace fills the visible frame, title bar included.
        EXPECT_EQ(window->frame, row.visible);
        // A fullscreen window is seen as one, so that the presenter refuses it.
        ASSERT_TRUE(session->command(QStringLiteral("fullscreen enable")));
        ASSERT_TRUE(focused());
        EXPECT_TRUE(focused()->isFullscreen);
    }
}

// The grid's worked frames (3 x 2 on 0, 25, 1440, 875) reached exactly: a tiled Qt window made
// floating by its first move, then moves between cells of different sizes.
TEST_F(SwayBackendTest, PlacesWindowsOnTheWorkedFramesExactly)
{
    start({1440, 900, bottomBar});
    ASSERT_TRUE(spin([&] { return screens->screens().at(0)->visibleFrame() == Rect{0, 25, 1440, 875}; }));
    struct Row {
        double margin;
        GridCell anchor, extent;
        Rect frame; // as the grid gives it, screen coordinates
    };
    const Row rows[] = {
        {0, {1, 1}, {1, 1}, {480, 25, 480, 438}},  {0, {0, 0}, {0, 0}, {0, 463, 480, 437}},
        {10, {0, 0}, {2, 1}, {10, 35, 1420, 855}}, {10, {2, 0}, {2, 0}, {962, 468, 468, 422}},
        {10, {1, 1}, {1, 1}, {488, 35, 464, 423}},
    };
    // A terminal beside it keeps the Qt window's tile narrower than the output.
    const auto foot = session->startFoot(QStringLiteral("mosaro-foot"));
    const auto qt = session->startQtWindow(QStringLiteral("mosaro-qt"));
    ASSERT_TRUE(foot && qt);
    // sway takes a floating window's size from each answer of its client, so a move waits until
    // the Qt client has answered the last configure, its tile's or its last move's (a person is
    // never that quick).
    const auto caughtUp = [&] {
        const QJsonObject content = session->container(qt->id).value(QLatin1String("window_rect")).toObject();
        const QString size = QStringLiteral("size %1x%2\n")
                                 .arg(content.value(QLatin1String("width")).toInt())
                                 .arg(content.value(QLatin1String("height")).toInt());
        return spin([&] { return session->output(QStringLiteral(MOSARO_WAYLAND_CLIENT_NAME)).endsWith(size); });
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(describe(row.frame).toStdString());
        const GridLayout grid{3, 2, screens->screens().at(0)->visibleFrame(), row.margin};
        ASSERT_EQ(grid.frameFor({row.anchor, row.extent}), row.frame);
        // Only the Qt client says when it has answered a configure; the terminal's late answer to
        // its tile would resize the window after the move.
        const SwaySession::Window& target = *qt;
        ASSERT_TRUE(session->command(QStringLiteral("[con_id=%1] focus").arg(target.id)));
        EXPECT_TRUE(caughtUp()); // before the first move: the two tiles' configures are answered
        const auto window = focused();
        ASSERT_TRUE(window);
        EXPECT_EQ(window->processID, target.pid);
        ASSERT_TRUE(manipulator->move(*window, row.frame));
        EXPECT_EQ(session->container(target.id).value(QLatin1String("type")).toString(), QLatin1String("floating_con"));
        // A client's late answer to an earlier configure may resize it for a moment.
        EXPECT_TRUE(spin([&] {
            return session->frameOf(target.id) == layoutFrame(row.frame) && focused()->frame == row.frame;
        })) << describe(focused()->frame).toStdString();
    }
    EXPECT_TRUE(caughtUp());
    EXPECT_EQ(session->frameOf(qt->id), layoutFrame(rows[std::size(rows) - 1].frame));
    // The window is drawn there too: the client's colour fills the middle of its cell.
    const Rect cell = layoutFrame(rows[std::size(rows) - 1].frame);
    EXPECT_TRUE(spin([&] {
        const QImage shot = session->screenshot(QStringLiteral("placed"));
        return !shot.isNull() && shot.pixelColor(int(cell.midpoint().x), int(cell.midpoint().y)) == QColor(40, 90, 160);
    }));
    EXPECT_EQ(logged("sway placed window"), 0);
}

// A write sway cannot take rolls back to where the window was: a tiled window stays tiled; a
// frame sway settles differently is its answer, logged, without a rollback.
TEST_F(SwayBackendTest, FailedPlacementsRollBackAndDifferentAnswersStand)
{
    start();
    const auto foot = session->startFoot(QStringLiteral("mosaro-foot"));
    ASSERT_TRUE(foot);
    const auto before = session->frameOf(foot->id);
    struct Row {
        const char* name;
        Rect frame;
        bool moves;
        int restores;
        const char* type;
    };
    const Row rows[] = {
        {"a size past any output", {0, 0, 2e6, 500}, false, 1, "con"},
        {"a position past any output", {-3e6, 0, 400, 300}, false, 0, "con"},
        {"a size under sway's minimum", {100, 100, 1, 1}, true, 0, "floating_con"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Log::Store::shared().clear();
        const auto window = focused();
        ASSERT_TRUE(window);
        EXPECT_EQ(manipulator->move(*window, row.frame).hasValue(), row.moves);
        EXPECT_EQ(logged("restoring original frame"), row.restores);
        EXPECT_EQ(logged("sway placed window"), row.moves ? 1 : 0);
        EXPECT_EQ(session->container(foot->id).value(QLatin1String("type")).toString(), QLatin1String(row.type));
        if (!row.moves) {
            EXPECT_EQ(session->frameOf(foot->id), before);
        }
    }
}

// The trigger as a run-time binding: it fires, survives a reload, and leaves with Mosaro.
TEST_F(SwayBackendTest, TriggerBindingFiresSurvivesAReloadAndLeavesWithMosaro)
{
    start();
    ASSERT_TRUE(session->startFoot(QStringLiteral("mosaro-foot")));
    auto service = hotKeys();
    EventHotKeyRef ref = 0;
    ASSERT_EQ(service->registerEventHotKey(returnKey, command, {fourCharCode("KBHK"), 7}, ref), HotKeyStatus::noErr);
    EXPECT_TRUE(service->holds(returnKey, command));
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    ASSERT_TRUE(spin([&] { return pressed.size() == 1; }));
    EXPECT_EQ(pressed[0], 7u);

    ASSERT_TRUE(session->command(QStringLiteral("reload")));
    ASSERT_TRUE(spin([&] { return logged("binding Mod4+Return again") == 1; }));
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    ASSERT_TRUE(spin([&] { return pressed.size() == 2; }));

    service.reset();
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    spin([] { return false; }, 300);
    EXPECT_EQ(pressed.size(), 2u);
    // Our binding went, nothing else: sway knows no binding to remove for those keys any more.
    EXPECT_FALSE(session->command(QStringLiteral("unbindsym --no-repeat --inhibited Mod4+Return")));
}

// Debian's default configuration binds Super+Return to the terminal ($mod, $term, an included
// folder, a resize mode): the trigger is refused and the user's binding still opens a terminal
// after Mosaro has gone.
TEST_F(SwayBackendTest, RefusesACombinationTheUsersConfigurationBinds)
{
    SwaySession::Options options;
    options.debianDefaults = true;
    start(options);
    auto service = hotKeys();
    const auto held = service->userBinding(returnKey, command);
    ASSERT_TRUE(held);
    EXPECT_EQ(held->command, QStringLiteral("exec foot"));
    EXPECT_EQ(held->file, QStringLiteral("/etc/sway/config"));
    EventHotKeyRef ref = 0;
    EXPECT_EQ(service->registerEventHotKey(returnKey, command, {fourCharCode("KBHK"), 1}, ref),
              HotKeyStatus::hotKeyExists);
    EXPECT_EQ(logged("sway already binds Mod4+Return to \"exec foot\""), 1);
    // A combination the configuration leaves free is taken.
    ASSERT_EQ(service->registerEventHotKey(returnKey, command | std::uint32_t(CarbonModifier::control),
                                           {fourCharCode("KBHK"), 2}, ref),
              HotKeyStatus::noErr);
    service.reset();
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    EXPECT_TRUE(session->waitForWindow(QStringLiteral("foot"), 10000));
}

// Displays and workspaces from sway's events: an output added, a workspace switch.
TEST_F(SwayBackendTest, AnOutputAddedAndAWorkspaceSwitchAreAnnounced)
{
    start();
    NotificationCenter workspaceCenter, defaultCenter;
    SwayDesktopWatcher watcher(*ipc, *screens, workspaceCenter, defaultCenter);
    int spaces = 0, displays = 0;
    workspaceCenter.addObserver(PlatformNotifications::activeSpaceDidChange, nullptr, [&](auto&) { ++spaces; });
    defaultCenter.addObserver(PlatformNotifications::screenParametersDidChange, nullptr, [&](auto&) { ++displays; });

    ASSERT_TRUE(session->addOutput());
    ASSERT_TRUE(spin([&] { return displays == 1; }));
    const auto list = screens->screens();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[1]->frame(), (Rect{1440, -180, 1920, 1080})); // y-up from the 900 px output
    EXPECT_EQ(screenContaining(*screens, {2000, 300}), list[1]);

    ASSERT_TRUE(session->command(QStringLiteral("workspace 5")));
    ASSERT_TRUE(spin([&] { return spaces >= 1; }));
    spin([] { return false; }, 200);
    EXPECT_EQ(displays, 1); // a new workspace is no new display
}

// A compositor that stops answering costs one bounded wait and one line; one that goes away
// ends the channel with one line.
TEST_F(SwayBackendTest, AStoppedCompositorIsBoundedAndAVanishedOneEndsTheChannel)
{
    start();
    ASSERT_TRUE(session->startFoot(QStringLiteral("mosaro-foot")));
    int gone = 0;
    ipc->onGone = [&] { ++gone; };
    SwayAccessibilityTrust trust(*ipc, nullptr);
    EXPECT_TRUE(trust.isProcessTrustedWithOptions(false));
    session->pauseCompositor();
    QElapsedTimer timer;
    timer.start();
    EXPECT_FALSE(manipulator->focusedWindow());
    EXPECT_FALSE(ax->frontmostApplicationProcessID());
    const auto elapsed = timer.elapsed();
    EXPECT_GE(elapsed, 900);
    EXPECT_LT(elapsed, 1500); // one wait for the whole trigger, not one per request
    EXPECT_EQ(logged("failed: no answer within 1000 ms"), 1);
    session->resumeCompositor();
    EXPECT_TRUE(spin([&] { return focused().has_value(); })); // a new turn of the event loop asks again

    session->stopCompositor();
    ASSERT_TRUE(spin([&] { return gone == 1; }));
    EXPECT_EQ(logged("has gone away"), 1);
    EXPECT_FALSE(focused());
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(false));
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(false));
    EXPECT_EQ(logged("sway does not answer on"), 1); // said once, when trust turned into no
    EXPECT_EQ(logged("has gone away"), 1);
    EXPECT_EQ(gone, 1);
}

} // namespace
