#include "App/MenuContent.h"
#include "App/UI/AboutDialog.h"
#include "App/UI/ApplicationIcon.h"
#include "App/UI/TrayMenu.h"
#include "support/MenuWorld.h"
#include "support/WidgetTestEnvironment.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSystemTrayIcon>

#include <algorithm>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

MOSARO_WIDGET_TEST_ENVIRONMENT();

namespace {

class TrayMenuTest : public ::testing::Test {
protected:
    void SetUp() override { tray = std::make_unique<TrayMenu>(*world.content, applicationIcon()); }
    void TearDown() override { tray.reset(); }

    int count(const std::string& action) const { return int(std::count(world.ran.begin(), world.ran.end(), action)); }

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

    MenuWorld world;
    FakeAccessibilityTrust& trust = world.trust;
    FakeScheduler& scheduler = world.scheduler;
    FakeUpdateService& service = world.service;
    std::unique_ptr<TrayMenu> tray;
};

TEST_F(TrayMenuTest, TheMenuHoldsTheEntriesInOrderAndSwitchesThePermissionSlotWithinOneTick)
{
    AccessibilityStatusMonitor::shared().start();
    EXPECT_EQ(shown(), (QStringList{"About Mosaro", "—", "Open Window Manager Help…", "—", "Settings… [Ctrl+,]",
                                    "Check for Updates…", "—", "Copy Diagnostics", "Report a Bug…", "—",
                                    "Quit Mosaro [Ctrl+Q]"}));
    EXPECT_FALSE(tray->trayIcon()->icon().isNull());
    EXPECT_EQ(tray->trayIcon()->contextMenu(), tray->menu());

    action(QStringLiteral("Open Window Manager Help…"))->trigger();
    EXPECT_EQ(count("permission help"), 1);

    trust.trusted = true;
    scheduler.fireAll();
    EXPECT_EQ(shown()[2], QStringLiteral("Window manager connected (disabled) ✓"));
    EXPECT_EQ(shown().size(), 11);
    EXPECT_EQ(action(QStringLiteral("Open Window Manager Help…")), nullptr);
}

TEST_F(TrayMenuTest, CheckForUpdatesIsEnabledOnlyWhileTheUpdaterCanCheck)
{
    QAction* check = action(QStringLiteral("Check for Updates…"));
    ASSERT_NE(check, nullptr);
    EXPECT_TRUE(check->isEnabled());
    check->trigger();
    EXPECT_EQ(service.checks, 1);
    EXPECT_FALSE(action(QStringLiteral("Check for Updates…"))->isEnabled());
    service.setChecking(false);
    EXPECT_TRUE(action(QStringLiteral("Check for Updates…"))->isEnabled());
}

TEST_F(TrayMenuTest, CopyDiagnosticsAndReportABugCallTheirActions)
{
    action(QStringLiteral("Copy Diagnostics"))->trigger();
    EXPECT_EQ(world.ran, std::vector<std::string>{"diagnostics"});
    action(QStringLiteral("Report a Bug…"))->trigger();
    EXPECT_EQ(world.ran, (std::vector<std::string>{"diagnostics", "bug report"}));
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

    AboutDialog withoutLogo(QStringLiteral("9.8.7"), QStringLiteral(":/test/NoSuchLogo.png"));
    EXPECT_FALSE(withoutLogo.showsLogo());
    EXPECT_EQ(withoutLogo.iconPixmap().size(), QSize(AboutDialog::logoSize, AboutDialog::logoSize));
    EXPECT_EQ(centre(withoutLogo.iconPixmap()),
              centre(applicationIcon().pixmap(QSize(AboutDialog::logoSize, AboutDialog::logoSize))));
    EXPECT_NE(centre(withoutLogo.iconPixmap()), qRgb(0xd0, 0x20, 0x20));

    // The shipped build has no logo image: the icon it is.
    EXPECT_FALSE(AboutDialog(QStringLiteral("1")).showsLogo());
}

TEST(AboutDialog, TitleVersionAndTaglineSpeakLinux)
{
    AboutDialog about(QStringLiteral("9.8.7"));
    EXPECT_EQ(about.windowTitle(), QStringLiteral("About Mosaro"));
    EXPECT_TRUE(about.text().contains(QStringLiteral("Version 9.8.7")));
    EXPECT_TRUE(about.informativeText().contains(QStringLiteral("A keyboard-driven window tiler for Linux desktops.")));
    EXPECT_FALSE(about.informativeText().contains(QStringLiteral("macOS")));
    EXPECT_FALSE(about.isModal());
    EXPECT_EQ(about.buttons().size(), 1);
}

} // namespace
