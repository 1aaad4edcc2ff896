#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "WindowControl/AXWindowManipulator.h"
#include "support/FakeAccessibility.h"
#include "support/FakeScreens.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

using Writes = std::vector<std::pair<QString, AXValue>>;
const QString pos = AXAttribute::position, size = AXAttribute::size;
const QString restoring = QString::fromUtf8(LogMessages::restoringFrame);

const auto wmLog = [] { return loggedMessages(QStringLiteral("windowmanager"), true); };

class AXWindowManipulatorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        screens.add({0, 0, 1440, 900}, QStringLiteral("Built-in")); // H = 900
        window = ax.addFocusedWindow({100, 50}, {800, 600});
    }
    FocusedWindow resolved()
    {
        auto result = manipulator.focusedWindow();
        EXPECT_TRUE(result.hasValue() && result->has_value());
        Log::Store::shared().clear();
        return result.hasValue() && result->has_value() ? **result : FocusedWindow{};
    }

    FakeScreens screens;
    FakeAccessibility ax;
    AXWindowManipulator manipulator{ax, screens};
    std::shared_ptr<FakeElement> window;
    const Rect target{480, 25, 480, 438};
    const Writes targetWrites{{pos, axPoint(480, 437)}, {size, axSize(480, 438)}, {pos, axPoint(480, 437)}};
    const Writes restoreWrites{{pos, axPoint(100, 50)}, {size, axSize(800, 600)}, {pos, axPoint(100, 50)}};
};

TEST_F(AXWindowManipulatorTest, ReadsTheFocusedWindowInScreenCoordinates)
{
    window->attributes[AXAttribute::minimized] = true;
    auto w = resolved();
    EXPECT_EQ(w.processID, 501);
    EXPECT_FALSE(w.windowID.has_value());
    EXPECT_EQ(w.title, QStringLiteral("Report.txt"));
    EXPECT_TRUE(w.isMinimized && w.isResizable && !w.isFullscreen);
    EXPECT_EQ(w.frame, (Rect{100, 250, 800, 600}));
    EXPECT_EQ(w.axElement, AXElementRef(window));
    EXPECT_EQ(ax.app->messagingTimeout, 1.0f);
    EXPECT_EQ(window->messagingTimeout, 1.0f);

    // Unreadable optional fields fall back without touching the rest; settability needs a clean yes.
    window->attributes.erase(AXAttribute::title);
    window->readErrors[AXAttribute::minimized] = AXErrorCode::failure;
    window->attributes[AXAttribute::fullScreen] = QStringLiteral("yes");
    window->sizeSettable = false;
    w = resolved();
    EXPECT_FALSE(w.title || w.isMinimized || w.isFullscreen || w.isResizable);
    EXPECT_EQ(w.frame, (Rect{100, 250, 800, 600}));
    window->readErrors[AXAttribute::title] = AXErrorCode::cannotComplete;
    window->sizeSettable = true;
    window->settableError = AXErrorCode::failure;
    w = resolved();
    EXPECT_FALSE(w.title || w.isResizable);
}

TEST_F(AXWindowManipulatorTest, EachAbsentResultLogsItsReasonOnce)
{
    const std::vector<std::pair<std::function<void()>, const char*>> cases = {
        {[&] { ax.frontmostPID.reset(); }, LogMessages::noFrontmostApp},
        {[&] { ax.frontmostPID = ax.currentPID; }, LogMessages::selfFrontmost},
        {[&] { ax.app->readErrors[AXAttribute::focusedWindow] = AXErrorCode::noValue; },
         LogMessages::noAXFocusedWindow},
        {[&] { ax.app->readErrors[AXAttribute::focusedWindow] = AXErrorCode::notImplemented; },
         LogMessages::noAXFocusedWindow},
        {[&] { ax.app->readErrors[AXAttribute::focusedWindow] = AXErrorCode::attributeUnsupported; },
         LogMessages::noAXFocusedWindow},
        {[&] { ax.app->attributes[AXAttribute::focusedWindow] = QStringLiteral("?"); }, LogMessages::noAXFocusedWindow},
        {[&] { window->attributes.erase(pos); }, LogMessages::frameUnreadable},
        {[&] { window->readErrors[size] = AXErrorCode::failure; }, LogMessages::frameUnreadable},
        {[&] { window->attributes[size] = axPoint(800, 600); }, LogMessages::frameUnreadable},
    };
    for (const auto& [arrange, message] : cases) {
        SCOPED_TRACE(message);
        ax = FakeAccessibility{};
        window = ax.addFocusedWindow({100, 50}, {800, 600});
        Log::Store::shared().clear();
        arrange();
        const auto result = manipulator.focusedWindow();
        ASSERT_TRUE(result.hasValue());
        EXPECT_FALSE(result->has_value());
        EXPECT_EQ(wmLog(), QStringList{"info: " + QString::fromUtf8(message)});
    }
}

TEST_F(AXWindowManipulatorTest, MissingTrustAndBrokenFocusedWindowReadsAreErrors)
{
    ax.trusted = false;
    auto result = manipulator.focusedWindow();
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), WindowManipulationError::accessibilityPermissionMissing());
    EXPECT_FALSE(ax.app->messagingTimeout.has_value());

    ax.trusted = true;
    ax.app->readErrors[AXAttribute::focusedWindow] = AXErrorCode::failure;
    result = manipulator.focusedWindow();
    ASSERT_FALSE(result.hasValue());
    EXPECT_EQ(result.error(), WindowManipulationError::axCallFailed(AXAttribute::focusedWindow, AXErrorCode::failure));
    EXPECT_TRUE(wmLog().empty());
}

TEST_F(AXWindowManipulatorTest, MovesPositionSizePositionAfterRefusingUntileableWindows)
{
    FocusedWindow w = resolved();
    for (auto [fullscreen, minimized, resizable, reason] :
         {std::tuple{false, true, true, NonResizableReason::minimized},
          std::tuple{true, true, false, NonResizableReason::fullscreen},
          std::tuple{false, false, false, NonResizableReason::systemDialog}}) {
        FocusedWindow refused = w;
        refused.isFullscreen = fullscreen;
        refused.isMinimized = minimized;
        refused.isResizable = resizable;
        const auto status = manipulator.move(refused, target);
        EXPECT_TRUE(!status.hasValue() && status.error() == WindowManipulationError::windowNotResizable(reason));
    }
    // A frame that cannot be wrapped writes nothing.
    ax.failSizeWrap = true;
    EXPECT_FALSE(manipulator.move(w, target).hasValue());
    ax.failPointWrap = true;
    EXPECT_FALSE(manipulator.move(w, target).hasValue());
    EXPECT_TRUE(ax.writes.empty());

    ax.failSizeWrap = ax.failPointWrap = false;
    EXPECT_TRUE(manipulator.move(w, target).hasValue());
    EXPECT_EQ(ax.writes, targetWrites);
    EXPECT_EQ(manipulator.readFrame(window), target);
    EXPECT_TRUE(wmLog().empty());
}

TEST_F(AXWindowManipulatorTest, FailedWritesRestoreTheOriginalFrameOnlyAfterTheFirst)
{
    const FocusedWindow w = resolved();
    window->scriptedWrites[pos] = {AXErrorCode::cannotComplete};
    auto status = manipulator.move(w, target);
    EXPECT_EQ(status.error(), WindowManipulationError::axCallFailed(pos, -25204));
    EXPECT_EQ(ax.writes, (Writes{{pos, axPoint(480, 437)}}));
    EXPECT_EQ(wmLog(), QStringList{"error: AX set AXPosition failed: -25204"});

    ax.writes.clear();
    Log::Store::shared().clear();
    window->scriptedWrites[size] = {AXErrorCode::failure};
    status = manipulator.move(w, target);
    EXPECT_EQ(status.error(), WindowManipulationError::axCallFailed(size, -25200));
    Writes expected{targetWrites[0], targetWrites[1]};
    expected.insert(expected.end(), restoreWrites.begin(), restoreWrites.end());
    EXPECT_EQ(ax.writes, expected);
    EXPECT_EQ(wmLog(), (QStringList{"error: AX set AXSize failed: -25200", "error: " + restoring}));
    EXPECT_EQ(manipulator.readFrame(window), w.frame);
}

TEST_F(AXWindowManipulatorTest, RestoreRunsEveryWriteAndTheMoveErrorWins)
{
    const FocusedWindow w = resolved();
    window->scriptedWrites[pos] = {0, AXErrorCode::illegalArgument, AXErrorCode::failure};
    window->scriptedWrites[size] = {0, AXErrorCode::cannotComplete};
    const auto status = manipulator.move(w, target);
    EXPECT_EQ(status.error(), WindowManipulationError::axCallFailed(pos, -25201));
    Writes expected = targetWrites;
    expected.insert(expected.end(), restoreWrites.begin(), restoreWrites.end());
    EXPECT_EQ(ax.writes, expected);
    EXPECT_EQ(wmLog(), (QStringList{"error: AX set AXPosition failed: -25201", "error: " + restoring,
                                    "error: AX set AXPosition failed: -25200", "error: AX set AXSize failed: -25204"}));

    // The restore converts with the display height as it is now, and stops at unwrappable frames.
    ax.writes.clear();
    screens.list.front()->m_frame.height = 1000;
    manipulator.restoreFrame(window, w.frame);
    EXPECT_EQ(ax.writes, (Writes{{pos, axPoint(100, 150)}, {size, axSize(800, 600)}, {pos, axPoint(100, 150)}}));
    ax.writes.clear();
    manipulator.restoreFrame(window, {0, 0, INFINITY, 600});
    EXPECT_TRUE(ax.writes.empty());
}

} // namespace
