#include "App/MenuContent.h"
#include "App/UI/AboutDialog.h"
#include "App/UI/ApplicationIcon.h"
#include "App/UI/MenuTracking.h"
#include "App/UI/TrayMenu.h"
#include "Permission/AccessibilityStatusMonitor.h"
#include "Permission/PermissionGate.h"
#include "support/ApplicationEnvironment.h"
#include "support/FakeOverlayPlatform.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSettingsPlatform.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/ShortcutPackageFixture.h"

#include <QAction>
#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

MOSARO_APPLICATION_ENVIRONMENT(QApplication);

namespace {

// The tray menu over the menu's content, a faked permission poll and update service; every action
// it runs is written to `ran`.
class TrayMenuTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        PermissionGate::resetRecordedStateForTesting();
        AccessibilityStatusMonitor::shared().resetForTesting();
        AccessibilityStatusMonitor::shared().configure(&gate, &scheduler);
        auto log = [this](const char* action) { return [this, action] { ran.push_back(action); }; };
        content =
            std::make_unique<MenuContent>(AccessibilityStatusMonitor::shared(), updater, app,
                                          MenuContent::Actions{log("about"), log("permission help"), log("settings"),
                                                               log("diagnostics"), log("bug report"), log("quit")});
        tray = std::make_unique<TrayMenu>(*content, applicationIcon());
    }
    void TearDown() override
    {
        tray.reset();
        AccessibilityStatusMonitor::shared().resetForTesting();
    }

    QStringList shown() const
    {
        QStringList out;
        for (const QAction* a : tray->menu()->actions()) {
            QString text = a->isSeparator() ? QStringLiteral("—") : a->text();
            if (!a->shortcut().isEmpty())
                text += QStringLiteral(" [") + a->shortcut().toString(QKeySequence::NativeText) + ']';
            if (!a->isEnabled())
                text += QStringLiteral(" (disabled)");
            if (a->isChecked())
                text += QStringLiteral(" ✓");
            out << text;
        }
        return out;
    }
    QAction* action(const QString& title) const
    {
        for (QAction* a : tray->menu()->actions())
            if (a->text() == title)
                return a;
        return nullptr;
    }

    FakeAccessibilityTrust trust;
    InMemoryDefaultsStore defaults;
    FakeUrlOpener urls;
    PermissionGate gate{trust, defaults, urls};
    FakeScheduler scheduler;
    FakeUpdateService service;
    UpdaterController updater{service};
    FakeApplication app;
    std::unique_ptr<MenuContent> content;
    std::unique_ptr<TrayMenu> tray;
    std::vector<std::string> ran;
};

// The entries in order with the desktop's key equivalents; the permission slot follows the
// monitor within one poll, both ways, and an unchanged poll is no news.
TEST_F(TrayMenuTest, TheMenuHoldsTheEntriesInOrderAndSwitchesThePermissionSlotWithinOneTick)
{
    int changes = 0;
    QObject::connect(content.get(), &MenuContent::changed, [&] { ++changes; });
    AccessibilityStatusMonitor::shared().start();
    AccessibilityStatusMonitor::shared().start();
    ASSERT_EQ(scheduler.timers.size(), 1u) << "a second start keeps the one poll";
    EXPECT_EQ(shown(), (QStringList{"About Mosaro", "—", "Open Window Manager Help…", "—", "Settings… [Ctrl+,]",
                                    "Check for Updates…", "—", "Copy Diagnostics", "Report a Bug…", "—",
                                    "Quit Mosaro [Ctrl+Q]"}));
    EXPECT_FALSE(tray->trayIcon()->icon().isNull());
    EXPECT_EQ(tray->trayIcon()->contextMenu(), tray->menu());

    trust.trusted = true;
    scheduler.fireAll();
    EXPECT_EQ(shown()[2], QStringLiteral("Window manager connected (disabled) ✓"));
    EXPECT_EQ(shown().size(), 11);
    EXPECT_EQ(action(QStringLiteral("Open Window Manager Help…")), nullptr);
    scheduler.fireAll();
    EXPECT_EQ(changes, 1);
    trust.trusted = false;
    scheduler.fireAll();
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(shown()[2], QStringLiteral("Open Window Manager Help…"));
}

// Each entry runs its action once; About and Settings bring the application forward first.
// Check for Updates asks the updater, and only while it can check.
TEST_F(TrayMenuTest, EntriesRunTheirActionsAndAboutAndSettingsActivateFirst)
{
    for (const char* title : {"About Mosaro", "Settings…", "Open Window Manager Help…", "Check for Updates…",
                              "Copy Diagnostics", "Report a Bug…", "Quit Mosaro"})
        action(QString::fromUtf8(title))->trigger();
    EXPECT_EQ(ran,
              (std::vector<std::string>{"about", "settings", "permission help", "diagnostics", "bug report", "quit"}));
    EXPECT_EQ(app.activations, 2);
    EXPECT_EQ(service.checks, 1);
    service.reportCanCheck(false); // the check runs
    EXPECT_FALSE(action(QStringLiteral("Check for Updates…"))->isEnabled());
    action(QStringLiteral("Check for Updates…"))->trigger(); // disabled: nothing
    EXPECT_EQ(service.checks, 1);
    service.reportCanCheck(true);
    EXPECT_TRUE(action(QStringLiteral("Check for Updates…"))->isEnabled());
}

class MenuTrackingTest : public ShortcutPackageTest {};

// Any menu of the application (the tray's, a context menu) rests the hotkeys while open; they come back
// when the last open one closes or goes away.
TEST_F(MenuTrackingTest, AnOpenMenuRestsTheHotkeysUntilTheLastOneCloses)
{
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));
    ASSERT_EQ(hotKeys.live.size(), 1u);
    MenuTracking tracking(center);
    QMenu tray;
    tray.addAction(QStringLiteral("About Mosaro"));
    auto other = std::make_unique<QMenu>();
    other->addAction(QStringLiteral("Copy"));

    tray.popup(QPoint(10, 10));
    EXPECT_TRUE(hotKeys.live.empty());
    other->popup(QPoint(40, 40));
    tray.hide();
    EXPECT_TRUE(hotKeys.live.empty()) << "another menu is still open";
    other.reset();
    ASSERT_EQ(hotKeys.live.size(), 1u);
    EXPECT_EQ(hotKeys.pressHotKey(36, 0x100), HotKeyStatus::noErr);

    tray.popup(QPoint(10, 10));
    EXPECT_TRUE(hotKeys.live.empty());
    tray.hide();
    EXPECT_EQ(hotKeys.live.size(), 1u);
}

QRgb centre(const QPixmap& pixmap)
{
    const QImage image = pixmap.toImage();
    return image.pixel(image.width() / 2, image.height() / 2);
}

TEST(AboutDialog, ShowsTheLogoResourceWhenItExistsElseTheApplicationIcon)
{
    QApplication::setWindowIcon(applicationIcon());
    AboutDialog withLogo(QStringLiteral("9.8.7"), QStringLiteral(":/test/AboutPanelLogo.png"));
    EXPECT_TRUE(withLogo.showsLogo());
    EXPECT_EQ(withLogo.iconPixmap().size(), QSize(AboutDialog::logoSize, AboutDialog::logoSize));
    EXPECT_EQ(centre(withLogo.iconPixmap()), qRgb(0xd0, 0x20, 0x20));
    EXPECT_TRUE(withLogo.text().contains(QStringLiteral("Version 9.8.7")));
    EXPECT_FALSE(withLogo.isModal());

    AboutDialog withoutLogo(QStringLiteral("9.8.7"), QStringLiteral(":/test/NoSuchLogo.png"));
    EXPECT_FALSE(withoutLogo.showsLogo());
    EXPECT_EQ(withoutLogo.iconPixmap().size(), QSize(AboutDialog::logoSize, AboutDialog::logoSize));
    EXPECT_EQ(centre(withoutLogo.iconPixmap()),
              centre(applicationIcon().pixmap(QSize(AboutDialog::logoSize, AboutDialog::logoSize))));
    EXPECT_NE(centre(withoutLogo.iconPixmap()), qRgb(0xd0, 0x20, 0x20));

    // The shipped build has no logo image: the icon it is.
    EXPECT_FALSE(AboutDialog(QStringLiteral("1")).showsLogo());
}

} // namespace
