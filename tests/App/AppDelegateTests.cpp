#include "App/AppDelegate.h"
#include "Diagnostics/Log.h"
#include "Diagnostics/LogMessages.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "Preferences/PreferencesFile.h"
#include "support/FakeAccessibility.h"
#include "support/FakeHotKeyService.h"
#include "support/FakeOverlayPlatform.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeScreens.h"
#include "support/InMemoryDefaultsStore.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

struct FakeDesktop : DesktopSession {
    bool isActive() const override { return active; }
    bool hasVisibleTitledWindow() const override { return titledVisible; }
    void hide() override { ++hides; }
    bool active = true;
    bool titledVisible = false;
    int hides = 0;
};

class AppDelegateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        PermissionGate::resetRecordedStateForTesting();
        AccessibilityStatusMonitor::shared().resetForTesting();
        KeyboardShortcuts::resetForTesting();
        KeyboardShortcuts::configure({&defaults, &hotKeys, nullptr, &center});
        screens.add({0, 0, 1440, 900}, {0, 25, 1440, 875}, "Alpha");
        factory.journal = &journal;
        factory.center = &center;
        trust.trusted = true;
        delegate = std::make_unique<AppDelegate>(AppEnvironment{
            accessibility, trust, defaults, urls, scheduler, desktop,
            OverlayPlatform{screens, beeper, app, monitor, factory, center, workspace, dir.filePath("p.json")},
            [this](std::function<void()> onContinue) {
                onboardingShown = true;
                continueAction = std::move(onContinue);
            }});
    }
    void TearDown() override
    {
        delegate.reset();
        AccessibilityStatusMonitor::shared().resetForTesting();
        KeyboardShortcuts::resetForTesting();
    }

    // Runs the one-shot timers that are due, as the event loop would.
    void runOneShotTimers()
    {
        for (auto [token, timer] : std::map<Scheduler::Token, FakeScheduler::Timer>(scheduler.timers)) {
            if (!timer.repeating) {
                scheduler.timers.erase(token);
                timer.callback();
            }
        }
    }

    std::vector<QString> lifecycleLines()
    {
        std::vector<QString> out;
        for (const auto& e : Log::Store::shared().entries())
            if (e.category == "lifecycle")
                out.push_back(e.message);
        return out;
    }

    QTemporaryDir dir;
    InMemoryDefaultsStore defaults;
    FakeHotKeyService hotKeys;
    NotificationCenter center, workspace;
    FakeScreens screens;
    FakeAccessibility accessibility;
    FakeAccessibilityTrust trust;
    FakeUrlOpener urls;
    FakeScheduler scheduler;
    FakeDesktop desktop;
    FakeBeeper beeper;
    FakeApplication app;
    FakeEventMonitor monitor;
    FakeOverlayWindowFactory factory;
    std::vector<std::string> journal;
    std::unique_ptr<AppDelegate> delegate;
    bool onboardingShown = false;
    std::function<void()> continueAction;
};

TEST_F(AppDelegateTest, LaunchMakesTheTriggerLiveBeforeOnboardingAndStartsThePoll)
{
    delegate->applicationDidFinishLaunching();
    EXPECT_EQ(lifecycleLines(), (std::vector<QString>{LogMessages::didFinishLaunching, LogMessages::presenterStarted}));
    EXPECT_EQ(hotKeys.activeCount(), 1u); // the trigger, registered with its default
    EXPECT_EQ(monitor.monitors.size(), 1u);
    EXPECT_TRUE(AccessibilityStatusMonitor::shared().isGranted());
    ASSERT_EQ(scheduler.timers.size(), 1u);
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, 2.0);
    EXPECT_TRUE(onboardingShown);

    // The welcome window's continue action: prompt when never asked, else open the settings.
    trust.trusted = false;
    continueAction();
    EXPECT_TRUE(defaults.boolean(PermissionGate::promptFlagKey));
    EXPECT_TRUE(urls.opened.empty());
    continueAction();
    EXPECT_EQ(urls.opened.size(), 1u);
}

TEST_F(AppDelegateTest, ClosingTheLastTitledWindowHidesTheApplicationShortlyAfter)
{
    delegate->applicationDidFinishLaunching();
    int panel = 0;
    center.post(PlatformNotifications::windowWillClose, &panel, {{PlatformNotifications::windowIsTitledKey, false}});
    EXPECT_TRUE(scheduler.timers.size() == 1u); // only the poll: untitled windows never hide anything

    center.post(PlatformNotifications::windowWillClose, &panel, {{PlatformNotifications::windowIsTitledKey, true}});
    desktop.titledVisible = true; // the welcome window is still open
    runOneShotTimers();
    EXPECT_EQ(desktop.hides, 0);

    center.post(PlatformNotifications::windowWillClose, &panel, {{PlatformNotifications::windowIsTitledKey, true}});
    desktop.titledVisible = false;
    desktop.active = false; // not active: nothing
    runOneShotTimers();
    EXPECT_EQ(desktop.hides, 0);

    center.post(PlatformNotifications::windowWillClose, &panel, {{PlatformNotifications::windowIsTitledKey, true}});
    desktop.active = true;
    runOneShotTimers();
    EXPECT_EQ(desktop.hides, 1);
}

TEST_F(AppDelegateTest, TerminationSavesAResizedGridAndDisablesTheTrigger)
{
    FocusedWindow w;
    accessibility.trusted = true;
    delegate->applicationDidFinishLaunching();
    OverlayPresenter* presenter = delegate->presenter();
    ASSERT_NE(presenter, nullptr);
    w.isResizable = true;
    w.frame = {100, 100, 400, 300};
    presenter->present(w, screens.list[0]);
    presenter->handleKeyDown({KeyEvent::Type::keyDown, 124, ModifierFlag::option, presenter->window()});

    delegate->applicationWillTerminate();
    EXPECT_EQ(delegate->presenter(), nullptr);
    EXPECT_EQ(hotKeys.activeCount(), 0u);
    const auto saved = loadPreferences(dir.filePath("p.json"));
    ASSERT_TRUE(saved);
    EXPECT_EQ(saved->proSettings.globalGrid, (GridDimensions{4, 2}));
    EXPECT_EQ(lifecycleLines().back(), LogMessages::willTerminate);

    // Closing a window after termination changes nothing.
    int window = 0;
    center.post(PlatformNotifications::windowWillClose, &window, {{PlatformNotifications::windowIsTitledKey, true}});
    runOneShotTimers();
    EXPECT_EQ(desktop.hides, 0);
}

} // namespace
