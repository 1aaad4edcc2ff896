#include "App/MenuContent.h"
#include "support/MenuWorld.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

using Item = MenuContent::Item;

class MenuContentTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        QObject::connect(content.get(), &MenuContent::changed, [this] { ++changes; });
    }

    QStringList titles() const
    {
        QStringList out;
        for (const auto& e : content->entries())
            out << (e.isSeparator() ? QStringLiteral("—") : e.title);
        return out;
    }
    MenuContent::Entry entry(Item item) const
    {
        for (const auto& e : content->entries())
            if (e.item == item)
                return e;
        ADD_FAILURE() << "no entry " << int(item);
        return {};
    }

    MenuWorld world;
    std::unique_ptr<MenuContent>& content = world.content;
    FakeAccessibilityTrust& trust = world.trust;
    FakeScheduler& scheduler = world.scheduler;
    FakeUpdateService& service = world.service;
    FakeApplication& app = world.app;
    std::vector<std::string>& ran = world.ran;
    int changes = 0;
};

TEST_F(MenuContentTest, EntriesInTheirOrderWithTheDesktopsKeyEquivalents)
{
    EXPECT_EQ(titles(),
              (QStringList{"About Mosaro", "—", "Open Window Manager Help…", "—", "Settings…", "Check for Updates…",
                           "—", "Copy Diagnostics", "Report a Bug…", "—", "Quit Mosaro"}));
    EXPECT_EQ(entry(Item::settings).keyEquivalent, QStringLiteral("Ctrl+,"));
    EXPECT_EQ(entry(Item::quit).keyEquivalent, QStringLiteral("Ctrl+Q"));
    for (const auto& e : content->entries()) {
        if (e.item != Item::settings && e.item != Item::quit) {
            EXPECT_TRUE(e.keyEquivalent.isEmpty()) << e.title.toStdString();
        }
    }
}

// The slot follows the monitor: granted within one poll of the window manager appearing, and
// back when it goes.
TEST_F(MenuContentTest, PermissionSlotSwitchesWithinOneMonitorTick)
{
    AccessibilityStatusMonitor::shared().start();
    EXPECT_EQ(changes, 0);
    const auto help = entry(Item::openAccessibilitySettings);
    EXPECT_TRUE(help.enabled && help.actionable && !help.checkmark);

    trust.trusted = true;
    scheduler.fireAll();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(titles()[2], QStringLiteral("Window manager connected"));
    const auto granted = entry(Item::permissionGranted);
    EXPECT_FALSE(granted.actionable);
    EXPECT_TRUE(granted.checkmark);
    EXPECT_EQ(titles().size(), 11);

    scheduler.fireAll(); // unchanged: no news
    EXPECT_EQ(changes, 1);
    trust.trusted = false;
    scheduler.fireAll();
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(titles()[2], QStringLiteral("Open Window Manager Help…"));
}

TEST_F(MenuContentTest, CheckForUpdatesFollowsCanCheckForUpdates)
{
    EXPECT_TRUE(entry(Item::checkForUpdates).enabled);
    content->activate(Item::checkForUpdates);
    EXPECT_EQ(service.checks, 1);
    EXPECT_EQ(changes, 1);
    EXPECT_FALSE(entry(Item::checkForUpdates).enabled);
    content->activate(Item::checkForUpdates); // disabled: nothing
    EXPECT_EQ(service.checks, 1);
    service.setChecking(false);
    EXPECT_EQ(changes, 2);
    EXPECT_TRUE(entry(Item::checkForUpdates).enabled);
}

TEST_F(MenuContentTest, EntriesRunTheirActionsAndAboutAndSettingsActivateFirst)
{
    content->activate(Item::about);
    EXPECT_EQ(app.activations, 1);
    content->activate(Item::settings);
    EXPECT_EQ(app.activations, 2);
    content->activate(Item::openAccessibilitySettings);
    content->activate(Item::copyDiagnostics);
    content->activate(Item::reportBug);
    content->activate(Item::permissionGranted); // not shown, not actionable
    content->activate(Item::quit);
    EXPECT_EQ(ran,
              (std::vector<std::string>{"about", "settings", "permission help", "diagnostics", "bug report", "quit"}));
    EXPECT_EQ(app.activations, 2);
}

} // namespace
