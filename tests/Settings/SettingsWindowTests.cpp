#include "Permission/UI/PermissionStatusBadge.h"
#include "Platform/HostTexts.h"
#include "Preferences/PreferencesFile.h"
#include "Settings/UI/AboutPane.h"
#include "Settings/UI/GeneralPane.h"
#include "Settings/UI/LabeledStepper.h"
#include "support/ApplicationEnvironment.h"
#include "support/SettingsWindowFixture.h"

#include <QCheckBox>
#include <QLabel>
#include <QShowEvent>
#include <QSpinBox>
#include <QUrl>

using namespace mosaro;
using namespace mosaro::test;

MOSARO_APPLICATION_ENVIRONMENT(QApplication);

namespace {

class SettingsWindowLayout : public SettingsWindowTest {};

TEST_F(SettingsWindowLayout, ControllerOpensOneWindowRemembersARequestedPaneAndClosesLikeATitledWindow)
{
    SettingsWindowController controller(environment());
    std::vector<bool> closings;
    center.addObserver(PlatformNotifications::windowWillClose, nullptr, [&](const Notification& note) {
        closings.push_back(note.userInfo.value(PlatformNotifications::windowIsTitledKey).toBool());
    });

    // Asked for before the window exists: it opens there.
    center.post(openSettingsToPaneNotification, nullptr, openSettingsToPaneUserInfo(SettingsPane::shortcuts));
    controller.show();
    SettingsWindow* first = controller.window();
    ASSERT_TRUE(first && first->isVisible());
    EXPECT_EQ(first->selectedPane(), SettingsPane::shortcuts);
    controller.show();
    EXPECT_EQ(controller.window(), first) << "a second show brings the same window forward";
    center.post(openSettingsToPaneNotification, nullptr, openSettingsToPaneUserInfo(SettingsPane::about));
    EXPECT_EQ(first->selectedPane(), SettingsPane::about) << "and an open one turns to the pane asked for";

    first->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(closings, std::vector<bool>{true});
    EXPECT_EQ(controller.window(), nullptr);
    controller.show();
    ASSERT_NE(controller.window(), nullptr);
    EXPECT_EQ(controller.window()->selectedPane(), SettingsPane::general) << "a new window starts on General";
}

class GeneralPaneTest : public SettingsWindowTest {
protected:
    GeneralPane& pane() { return *open().generalPane(); }
    Preferences onDisk() { return loadPreferences(path).valueOr(Preferences{}); }
};

TEST_F(GeneralPaneTest, SteppersHoldTheirRangesAndEveryEditIsSaved)
{
    GeneralPane& p = pane();
    const std::pair<LabeledStepper*, StepperRange> steppers[] = {
        {p.columnsStepper(), columnsRange}, {p.rowsStepper(), rowsRange}, {p.marginStepper(), marginRange}};
    for (const auto& [stepper, range] : steppers) {
        QSpinBox* spin = stepper->spinBox();
        EXPECT_EQ(spin->minimum(), range.lowest);
        EXPECT_EQ(spin->maximum(), range.highest);
    }
    p.columnsStepper()->spinBox()->setValue(5);
    p.rowsStepper()->spinBox()->setValue(4);
    p.marginStepper()->spinBox()->setValue(8);
    EXPECT_EQ(p.marginStepper()->labelWidget()->text(), "8 px");
    const ProSettings saved = onDisk().proSettings;
    EXPECT_EQ(saved.globalGrid, (GridDimensions{5, 4}));
    EXPECT_EQ(saved.margin, 8);
    EXPECT_EQ(window->preferencesStore().proSettings(), saved);
}

TEST_F(GeneralPaneTest, PerDisplaySectionsForConnectedAndDisconnectedDisplays)
{
    screens.add({0, 0, 1920, 1080}, "HDMI-1");
    screens.add({1920, 0, 1280, 1024}, "DP-2");
    Preferences prefs;
    prefs.proSettings.globalGrid = {4, 3};
    prefs.proSettings.perDisplayGrids.overrides = {{"Projector", {2, 1}}};
    ASSERT_TRUE(savePreferences(prefs, path));
    GeneralPane& p = pane();
    EXPECT_TRUE(p.displaySections().isEmpty()) << "per-display mode is off";

    p.perDisplaySwitch()->click();
    EXPECT_TRUE(onDisk().proSettings.perDisplayMode);
    EXPECT_EQ(p.columnsStepper(), nullptr);
    auto sections = p.displaySections();
    ASSERT_EQ(sections.size(), 3);
    EXPECT_EQ(sections[0]->entry(), (ScreenEntry{"HDMI-1", true}));
    EXPECT_EQ(sections[1]->entry(), (ScreenEntry{"DP-2", true}));
    EXPECT_EQ(sections[2]->entry(), (ScreenEntry{"Projector", false}));
    EXPECT_EQ(sections[0]->notConnectedLabel(), nullptr);
    ASSERT_NE(sections[2]->notConnectedLabel(), nullptr);
    EXPECT_NE(sections[2]->findChild<QLabel*>("notConnectedIcon"), nullptr);
    EXPECT_EQ(sections[0]->columns()->value(), 4) << "no entry: the global grid";
    EXPECT_EQ(sections[2]->columns()->value(), 2);

    // The first change on a display creates its entry from what it showed.
    sections[1]->rows()->spinBox()->setValue(6);
    sections[1]->columns()->spinBox()->setValue(5);
    EXPECT_EQ(onDisk().proSettings.perDisplayGrids.overrides,
              (std::map<QString, GridDimensions>{{"DP-2", {5, 6}}, {"Projector", {2, 1}}}));

    // "Reset" on the disconnected one drops its entry, and its section goes.
    sections[2]->resetButton()->click();
    EXPECT_FALSE(onDisk().proSettings.perDisplayGrids.overrides.contains("Projector"));
    sections = p.displaySections();
    ASSERT_EQ(sections.size(), 2);

    // Hot-plugging rebuilds the list.
    screens.add({3200, 0, 800, 600}, "VGA-1");
    center.post(PlatformNotifications::screenParametersDidChange);
    EXPECT_EQ(p.refreshTick(), 1);
    EXPECT_EQ(p.displaySections().size(), 3);

    // Off and on again: the entries are kept.
    p.perDisplaySwitch()->click();
    EXPECT_EQ(onDisk().proSettings.perDisplayGrids.overrides.size(), 1u);
    ASSERT_NE(p.columnsStepper(), nullptr);
    p.perDisplaySwitch()->click();
    EXPECT_EQ(p.displaySections().size(), 3);
}

TEST_F(GeneralPaneTest, NoDisplaysDetectedLaunchAtLoginAndLegalLinks)
{
    UrlCatcher catcher;
    GeneralPane& p = pane();
    p.perDisplaySwitch()->click(); // nothing connected and nothing remembered
    ASSERT_NE(p.noDisplaysLabel(), nullptr);
    EXPECT_EQ(p.noDisplaysLabel()->text(), "No displays detected.");
    EXPECT_TRUE(p.displaySections().isEmpty());
    EXPECT_FALSE(p.launchAtLoginSwitch()->isChecked());
    p.launchAtLoginSwitch()->click();
    EXPECT_TRUE(p.launchAtLoginSwitch()->isChecked());
    EXPECT_EQ(loginItems.registered, LoginItemService::RegistrationStatus::enabled);

    loginItems.failWith = QStringLiteral("read-only autostart folder");
    p.launchAtLoginSwitch()->click();
    EXPECT_TRUE(p.launchAtLoginSwitch()->isChecked()) << "springs back to what the platform holds";

    ASSERT_EQ(p.legalLinkLabels().size(), 2);
    for (QLabel* link : p.legalLinkLabels())
        Q_EMIT link->linkActivated(link->toolTip());
    ASSERT_EQ(legalLinks().size(), 2u);
    EXPECT_EQ(catcher.opened, (QStringList{legalLinks()[0].url, legalLinks()[1].url}));
    for (const LegalLink& link : legalLinks())
        EXPECT_TRUE(QUrl(link.url).isValid() && link.url.startsWith("https://")) << link.url.toStdString();
}

class AboutPaneTest : public SettingsWindowTest {
protected:
    AboutPane& pane() { return *open(SettingsPane::about).aboutPane(); }
};

TEST_F(AboutPaneTest, BadgeAndExplanationFollowThePermissionWhileShown)
{
    AboutPane& p = pane();
    EXPECT_EQ(p.versionValue()->text(), "0.1.0 (12)");
    EXPECT_EQ(p.badge()->state(), PermissionState::notDetermined());
    ASSERT_EQ(scheduler.timers.size(), 1u);
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, 1.0);

    // The window manager comes up: the next tick shows it.
    trust.trusted = true;
    scheduler.fireAll();
    EXPECT_EQ(p.badge()->state(), PermissionState::granted());
    EXPECT_EQ(p.explanation()->text(), "Mosaro can move and resize windows. You're all set.");
    EXPECT_FALSE(p.openSettingsButton()->isEnabled());

    trust.trusted = false;
    defaults.setBool(PermissionGate::promptFlagKey, true);
    scheduler.fireAll();
    EXPECT_EQ(PermissionStatusBadge::label(p.badge()->state()), "Not granted");
    EXPECT_EQ(p.explanation()->text(), hostText(HostText::permissionDeniedExplanation));
    EXPECT_EQ(p.badge()->toolTip(), hostText(HostText::permissionDeniedTooltip));
    p.openSettingsButton()->click();
    EXPECT_EQ(urls.opened.size(), 1u);

    // Leaving the tab stops the poll; coming back starts one, and showing again keeps it one.
    // It never prompts.
    window->selectPane(SettingsPane::general);
    QApplication::processEvents();
    EXPECT_TRUE(scheduler.timers.empty());
    window->selectPane(SettingsPane::about);
    QApplication::processEvents();
    QShowEvent exposedAgain; // as the desktop sends when it shows the window again
    QApplication::sendEvent(&p, &exposedAgain);
    EXPECT_EQ(scheduler.timers.size(), 1u);
    EXPECT_EQ(std::count(trust.promptArguments.begin(), trust.promptArguments.end(), true), 0);
}

TEST_F(AboutPaneTest, UpdateControls)
{
    updates.reportCanCheck(false);
    int willChange = 0;
    QObject::connect(&updater, &UpdaterController::objectWillChange, [&] {
        ++willChange;
        EXPECT_TRUE(updates.automatic) << "announced before it is written";
    });
    AboutPane& p = pane();
    EXPECT_FALSE(p.checkForUpdatesButton()->isEnabled());
    updates.reportCanCheck(true);
    EXPECT_TRUE(p.checkForUpdatesButton()->isEnabled());
    p.checkForUpdatesButton()->click();
    EXPECT_EQ(updates.checks, 1);

    EXPECT_TRUE(p.automaticChecksSwitch()->isChecked());
    p.automaticChecksSwitch()->click();
    EXPECT_EQ(willChange, 1);
    EXPECT_FALSE(updates.automatic);
    EXPECT_FALSE(p.automaticChecksSwitch()->isChecked());
}

// A build without version facts shows dashes in their rows.
TEST_F(AboutPaneTest, MissingVersionFactsShowDashesAndShowAgainOpensTheWelcomeWindowEvenWhenGranted)
{
    bundle = {};
    trust.trusted = true;
    AboutPane& p = pane();
    EXPECT_EQ(p.versionValue()->text(), "— (—)");
    EXPECT_EQ(p.bundleIdentifierValue()->text(), "—");
    const auto welcomes = [] {
        const auto all = QApplication::topLevelWidgets();
        return std::count_if(all.begin(), all.end(),
                             [](QWidget* w) { return qobject_cast<OnboardingWidget*>(w) && w->isVisible(); });
    };
    p.showAgainButton()->click();
    ASSERT_TRUE(OnboardingPresenter::shared().isOpen());
    EXPECT_EQ(welcomes(), 1);
    p.showAgainButton()->click();
    EXPECT_EQ(welcomes(), 1) << "never a second one";
}

} // namespace
