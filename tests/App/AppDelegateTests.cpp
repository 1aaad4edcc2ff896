#include "App/AppDelegate.h"
#include "Diagnostics/Log/LogMessages.h"
#include "support/AppDriver.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

std::string lifecycle(const char* message)
{
    return std::string("log lifecycle: ") + message;
}

// Launching builds everything in its order: the trigger is live before the permission poll
// starts and before the welcome window is considered; the poll checks at once, then every 2 s.
TEST(AppDelegate, LaunchStepsRunInTheirOrder)
{
    AppDriver driver;
    driver.trust.trusted = false;
    driver.launch();
    const std::vector<std::string> expected{
        lifecycle(LogMessages::didFinishLaunching),
        std::string("log overlay: ") + LogMessages::presenterStart,
        lifecycle(LogMessages::presenterStarted),
        "log permission: permission state → notDetermined",
        "onboarding",
    };
    EXPECT_EQ(driver.journal, expected);
    EXPECT_EQ(driver.hotKeys.live.size(), 1u);
    ASSERT_EQ(driver.scheduler.timers.size(), 1u);
    EXPECT_TRUE(driver.scheduler.timers.begin()->second.repeating);
    EXPECT_EQ(driver.scheduler.timers.begin()->second.seconds, 2.0);
    EXPECT_EQ(driver.trust.promptArguments, std::vector<bool>{false});
    EXPECT_FALSE(AccessibilityStatusMonitor::shared().isGranted());
}

// The continue action handed to the welcome window: prompt while never asked, afterwards open
// the settings page.
TEST(AppDelegate, WelcomeContinueActionPromptsOnceThenOpensTheSettings)
{
    AppDriver driver;
    driver.trust.trusted = false;
    driver.launch();
    ASSERT_TRUE(driver.continueAction);
    driver.continueAction();
    EXPECT_TRUE(driver.defaults.values.value(PermissionGate::promptFlagKey).toBool());
    EXPECT_TRUE(driver.urls.opened.empty());
    driver.continueAction();
    ASSERT_EQ(driver.urls.opened.size(), 1u);
    EXPECT_TRUE(driver.urls.opened.front().startsWith(QStringLiteral("x-apple.systempreferences:")));
}

// A titled window closing schedules one check 0.1 s later; it hides the application only when
// it is active and no titled window is left. Untitled windows (the overlay) schedule nothing.
TEST(AppDelegate, ClosingTheLastTitledWindowHidesTheApplicationATenthOfASecondLater)
{
    AppDriver driver;
    driver.launch();
    driver.windowWillClose(false);
    EXPECT_TRUE(driver.runOneShotTimers().empty());

    driver.windowWillClose(true);
    driver.desktop.titledVisible = true; // the welcome window is still open
    EXPECT_EQ(driver.runOneShotTimers(), std::vector<double>{0.1});
    EXPECT_EQ(driver.desktop.hides, 0);

    driver.windowWillClose(true);
    driver.desktop.titledVisible = false;
    driver.desktop.active = false;
    EXPECT_EQ(driver.runOneShotTimers().size(), 1u);
    EXPECT_EQ(driver.desktop.hides, 0);

    driver.windowWillClose(true);
    driver.desktop.active = true;
    EXPECT_EQ(driver.desktop.hides, 0); // not before the delay
    EXPECT_EQ(driver.runOneShotTimers().size(), 1u);
    EXPECT_EQ(driver.desktop.hides, 1);
}

} // namespace
