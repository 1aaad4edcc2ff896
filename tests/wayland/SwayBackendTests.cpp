#include "Diagnostics/Log/Log.h"
#include "Platform/KeyEvent.h"
#include "Platform/Wayland/Sway/SwayAccessibility.h"
#include "Platform/Wayland/Sway/SwayDesktop.h"
#include "Platform/Wayland/Sway/SwayHotKeyService.h"
#include "WindowControl/AXWindowManipulator.h"
#include "support/ApplicationEnvironment.h"
#include "support/wayland/SwaySession.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

constexpr std::uint16_t returnKey = 36;
constexpr auto command = std::uint32_t(CarbonModifier::command);

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
        auto service = std::make_unique<SwayHotKeyService>(*ipc, Wayland::Keymap::create(QStringLiteral("us")));
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
    // A fullscreen window is seen as one, so that the presenter refuses it.
    ASSERT_TRUE(session->command(QStringLiteral("fullscreen enable")));
    EXPECT_TRUE(eventually([&] { return focused() && focused()->isFullscreen; }));
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
    ASSERT_TRUE(eventually([&] { return pressed.size() == 1; }));
    EXPECT_EQ(pressed[0], 7u);

    ASSERT_TRUE(session->command(QStringLiteral("reload")));
    ASSERT_TRUE(eventually([&] { return logged("binding Mod4+Return again") == 1; }));
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    ASSERT_TRUE(eventually([&] { return pressed.size() == 2; }));

    service.reset();
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    eventually([] { return false; }, 300);
    EXPECT_EQ(pressed.size(), 2u);
    // Our binding went, nothing else: sway knows no binding to remove for those keys any more.
    EXPECT_FALSE(session->command(QStringLiteral("unbindsym --no-repeat --inhibited Mod4+Return")));
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
    EXPECT_TRUE(eventually([&] { return focused().has_value(); })); // a new turn of the event loop asks again

    session->stopCompositor();
    ASSERT_TRUE(eventually([&] { return gone == 1; }));
    EXPECT_EQ(logged("has gone away"), 1);
    EXPECT_FALSE(focused());
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(false));
    EXPECT_FALSE(trust.isProcessTrustedWithOptions(false));
    EXPECT_EQ(logged("sway does not answer on"), 1); // said once, when trust turned into no
    EXPECT_EQ(logged("has gone away"), 1);
    EXPECT_EQ(gone, 1);
}

} // namespace
