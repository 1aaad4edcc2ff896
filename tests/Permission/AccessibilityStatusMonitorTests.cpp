#include "Diagnostics/Log/Log.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "support/FakePermissionPlatform.h"
#include "support/InMemoryDefaultsStore.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

TEST(AccessibilityStatusMonitor, PollsEveryTwoSecondsAndNotifiesOnlyOnChange)
{
    FakeAccessibilityTrust trust;
    InMemoryDefaultsStore defaults;
    FakeUrlOpener opener;
    PermissionGate gate(trust, defaults, opener);
    FakeScheduler scheduler;
    PermissionGate::resetRecordedStateForTesting();
    auto& monitor = AccessibilityStatusMonitor::shared();
    monitor.resetForTesting();
    monitor.configure(&gate, &scheduler);
    std::vector<bool> heard;
    QObject::connect(&monitor, &AccessibilityStatusMonitor::isGrantedChanged, [&](bool g) { heard.push_back(g); });
    Log::Store::shared().clear();
    auto permissionLines = [] {
        const auto entries = Log::Store::shared().entries();
        return std::count_if(entries.begin(), entries.end(), [](const auto& e) { return e.category == "permission"; });
    };

    monitor.start();
    monitor.start();
    ASSERT_EQ(scheduler.timers.size(), 1u);
    EXPECT_TRUE(scheduler.timers.begin()->second.repeating);
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, 2.0);
    EXPECT_EQ(trust.promptArguments, std::vector<bool>{false}); // one poll, at the first start
    EXPECT_FALSE(monitor.isGranted());
    scheduler.fireAll();
    EXPECT_TRUE(heard.empty());

    trust.trusted = true; // granted in the settings while running
    scheduler.fireAll();
    scheduler.fireAll();
    EXPECT_TRUE(monitor.isGranted());
    EXPECT_EQ(heard, std::vector<bool>{true});
    EXPECT_EQ(permissionLines(), 2); // notDetermined at start, then granted once
    EXPECT_EQ(Log::Store::shared().entries().back().message, "permission state → granted");

    trust.trusted = false;
    monitor.refresh();
    EXPECT_EQ(heard, (std::vector<bool>{true, false}));

    monitor.resetForTesting();
    EXPECT_TRUE(scheduler.timers.empty());
    monitor.refresh(); // unconfigured: harmless
    EXPECT_EQ(trust.promptArguments.size(), 5u);
    PermissionGate::resetRecordedStateForTesting();
}

} // namespace
