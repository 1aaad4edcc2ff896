#include "Diagnostics/Log/Log.h"
#include "Settings/AboutSettings.h"
#include "Settings/GeneralSettings.h"
#include "Settings/SettingsPane.h"
#include "Settings/ShortcutsSettings.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSettingsPlatform.h"
#include "support/ShortcutPackageFixture.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

Notification request(const QVariantMap& userInfo)
{
    return {openSettingsToPaneNotification, nullptr, userInfo};
}

TEST(SettingsPane, RequestsNameAPaneByItsExactRawValueOnly)
{
    EXPECT_EQ(requestedPane(request({{"pane", "about"}})), SettingsPane::about);
    EXPECT_EQ(requestedPane(request(openSettingsToPaneUserInfo(SettingsPane::shortcuts))), SettingsPane::shortcuts);
    for (const QVariantMap& info :
         {QVariantMap{}, QVariantMap{{"pane", "About"}}, QVariantMap{{"pane", "display"}}, QVariantMap{{"pane", 2}},
          QVariantMap{{"pane", QStringList{"about"}}}, QVariantMap{{"tab", "about"}}})
        EXPECT_EQ(requestedPane(request(info)), std::nullopt) << info.keys().value(0).toStdString();
    EXPECT_EQ(settingsWindowTitle(SettingsPane::shortcuts), "Mosaro Settings - Shortcuts");
}

TEST(GeneralSettings, StepperRangesAreTheLoadersLimits)
{
    EXPECT_EQ(columnsRange, (StepperRange{1, 30}));
    EXPECT_EQ(rowsRange, (StepperRange{1, 20}));
    EXPECT_EQ(marginRange, (StepperRange{0, 64}));
    EXPECT_EQ(columnsRange.clamped(0), 1);
    EXPECT_EQ(columnsRange.clamped(31), 30);
    EXPECT_EQ(rowsRange.clamped(21), 20);
    EXPECT_EQ(marginRange.clamped(-5), 0);
    EXPECT_EQ(marginRange.clamped(100), 64);
    EXPECT_EQ(marginLabel(8), "8 px");
}

TEST(GeneralSettings, DisplayListAndPerDisplayEdits)
{
    ProSettings s;
    s.globalGrid = {4, 3};
    s.perDisplayGrids.overrides = {{"Zeta", {2, 2}}, {"DP-1", {6, 2}}, {"Attic", {5, 5}}};
    // Attached ones in platform order, then the others (not connected) by name.
    EXPECT_EQ(displayList({"HDMI-1", "DP-1"}, s.perDisplayGrids),
              (std::vector<ScreenEntry>{{"HDMI-1", true}, {"DP-1", true}, {"Attic", false}, {"Zeta", false}}));
    EXPECT_TRUE(displayList({}, {}).empty());

    EXPECT_EQ(displayGrid(s, "DP-1"), (GridDimensions{6, 2}));
    EXPECT_EQ(displayGrid(s, "HDMI-1"), (GridDimensions{4, 3})) << "no entry: the global grid";
    EXPECT_EQ(displayGrid(s, ""), (GridDimensions{4, 3}));

    // The first change on a display following the global grid creates its entry.
    const ProSettings rows = withDisplayRows(s, "HDMI-1", 7);
    EXPECT_EQ(rows.perDisplayGrids.overrides.at("HDMI-1"), (GridDimensions{4, 7}));
    EXPECT_EQ(withDisplayColumns(rows, "HDMI-1", 9).perDisplayGrids.overrides.at("HDMI-1"), (GridDimensions{9, 7}));

    const ProSettings reset = withDisplayReset(s, "Zeta");
    EXPECT_FALSE(reset.perDisplayGrids.overrides.contains("Zeta"));
    EXPECT_EQ(reset.perDisplayGrids.overrides.size(), 2u);
    EXPECT_EQ(withDisplayReset(s, ""), s);
}

TEST(GeneralSettings, LaunchAtLoginSwitchFollowsThePlatformAndSpringsBackOnFailure)
{
    Log::Store::shared().clear();
    FakeLoginItems items;
    LaunchAtLoginSwitch loginSwitch(items);
    EXPECT_FALSE(loginSwitch.read());
    EXPECT_TRUE(loginSwitch.flip(true));
    EXPECT_TRUE(loginSwitch.read());
    items.registered = LoginItemService::RegistrationStatus::requiresApproval;
    EXPECT_FALSE(loginSwitch.read()) << "only an enabled registration counts as on";

    items.registered = LoginItemService::RegistrationStatus::notRegistered;
    items.failWith = QStringLiteral("no autostart folder");
    EXPECT_FALSE(loginSwitch.flip(true));
    EXPECT_EQ(items.requests, (std::vector<bool>{true, true}));
    std::vector<QString> lifecycle;
    for (const auto& e : Log::Store::shared().entries())
        if (e.category == "lifecycle")
            lifecycle.push_back(QStringLiteral("%1: %2").arg(Log::levelName(e.level), e.message));
    EXPECT_EQ(lifecycle, (std::vector<QString>{"info: Registered Mosaro as a login item",
                                               "error: Failed to set launch-at-login to true: <private>"}));
}

TEST(AboutSettings, VersionRowShowsADashForEachMissingValue)
{
    EXPECT_EQ(versionText({"1.4.0", "57", "tech.brenmark.mosaro"}), "1.4.0 (57)");
    EXPECT_EQ(versionText({}), "— (—)");
    EXPECT_EQ(versionText({"0.1.0", std::nullopt, std::nullopt}), "0.1.0 (—)");
    EXPECT_EQ(bundleIdentifierText({}), "—");
    EXPECT_EQ(bundleIdentifierText({"1", "2", "tech.brenmark.mosaro"}), "tech.brenmark.mosaro");
}

TEST(AboutSettings, PollerReadsThePermissionEverySecondWhileShownAndNeverPrompts)
{
    PermissionGate::resetRecordedStateForTesting();
    FakeAccessibilityTrust trust;
    InMemoryDefaultsStore defaults;
    FakeUrlOpener urls;
    FakeScheduler scheduler;
    PermissionGate gate(trust, defaults, urls);
    PermissionPoller poller(gate, scheduler);
    int changes = 0;
    QObject::connect(&poller, &PermissionPoller::stateChanged, [&] { ++changes; });

    poller.appear();
    ASSERT_EQ(scheduler.timers.size(), 1u);
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, 1.0);
    EXPECT_TRUE(scheduler.timers.begin()->second.repeating);
    EXPECT_EQ(poller.state(), PermissionState::notDetermined());

    trust.trusted = true;
    scheduler.fireAll();
    EXPECT_EQ(poller.state(), PermissionState::granted());
    EXPECT_EQ(changes, 1);
    scheduler.fireAll();
    EXPECT_EQ(changes, 1) << "an unchanged state is not announced";

    // Appearing again keeps one timer; disappearing stops it.
    poller.appear();
    EXPECT_EQ(scheduler.timers.size(), 1u);
    poller.disappear();
    EXPECT_TRUE(scheduler.timers.empty());
    EXPECT_FALSE(poller.isPolling());
    for (bool prompt : trust.promptArguments)
        EXPECT_FALSE(prompt);
    EXPECT_FALSE(defaults.boolean(PermissionGate::promptFlagKey));

    EXPECT_EQ(permissionExplanation(PermissionState::granted()), "Mosaro can move and resize windows. You're all set.");
}

class ShortcutsSettingsTest : public ShortcutPackageTest {};

TEST_F(ShortcutsSettingsTest, SectionsListEveryActionOnceInOrder)
{
    std::vector<HotkeyAction> listed;
    for (const auto& section : shortcutSections())
        for (const auto& row : section.rows) {
            listed.push_back(row.action);
            EXPECT_EQ(row.label, displayTitle(row.action));
        }
    EXPECT_EQ(listed, std::vector<HotkeyAction>(allHotkeyActions().begin(), allHotkeyActions().end()));
    EXPECT_EQ(shortcutSections().front().title, "System-wide");
    EXPECT_FALSE(shortcutSections().front().note.isEmpty());
    for (std::size_t i = 1; i < shortcutSections().size(); ++i)
        EXPECT_TRUE(shortcutSections()[i].note.isEmpty());
}

} // namespace
