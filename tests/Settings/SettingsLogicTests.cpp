#include "Settings/GeneralSettings.h"
#include "Settings/SettingsPane.h"
#include "support/FakeSettingsPlatform.h"

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
}

// Attached displays in platform order, then the remembered ones (not connected) by name.
TEST(GeneralSettings, DisplayListPutsTheRememberedOnesAfterTheAttachedByName)
{
    PerDisplayGridMap grids;
    grids.overrides = {{"Zeta", {2, 2}}, {"DP-1", {6, 2}}, {"Attic", {5, 5}}};
    EXPECT_EQ(displayList({"HDMI-1", "DP-1"}, grids),
              (std::vector<ScreenEntry>{{"HDMI-1", true}, {"DP-1", true}, {"Attic", false}, {"Zeta", false}}));
    EXPECT_TRUE(displayList({}, {}).empty());
}

// Only an enabled registration counts as on.
TEST(GeneralSettings, LaunchAtLoginSwitchIsOnOnlyForAnEnabledRegistration)
{
    FakeLoginItems items;
    LaunchAtLoginSwitch loginSwitch(items);
    EXPECT_TRUE(loginSwitch.flip(true));
    EXPECT_TRUE(loginSwitch.read());
    items.registered = LoginItemService::RegistrationStatus::requiresApproval;
    EXPECT_FALSE(loginSwitch.read());
}

} // namespace
