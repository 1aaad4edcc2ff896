#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "KeyboardShortcuts/HotkeyRegistry.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Overlay/OverlayPresenter.h"
#include "Permission/PermissionGate.h"
#include "Preferences/PreferencesFile.h"
#include "support/FakeHotKeyService.h"
#include "support/FakeOverlayPlatform.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeScreens.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/KeyCodes.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

using namespace mosaro::test::keys;
constexpr std::uint64_t kShift = ModifierFlag::shift, kOption = ModifierFlag::option, kCommand = ModifierFlag::command;

class OverlayPresenterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        Log::setMinimumLevel(Log::Level::debug);
        PermissionGate::resetRecordedStateForTesting();
        KeyboardShortcuts::resetForTesting();
        KeyboardShortcuts::configure({&defaults, &hotKeys, nullptr, &center});
        KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));

        prefsPath = dir.filePath("Mosaro/preferences.json");
        alpha = screens.add({0, 0, 1440, 900}, {0, 25, 1440, 875}, "Alpha");
        beta = screens.add({1440, 0, 1920, 1080}, {1440, 0, 1920, 1080}, "Beta");
        gamma = screens.add({-1280, 0, 1280, 1024}, {-1280, 0, 1280, 1024}, "Gamma");
        factory.journal = &journal;
        factory.center = &center;

        FocusedWindow w;
        w.processID = 4242;
        w.title = QStringLiteral("Notes");
        w.isResizable = true;
        w.frame = {100, 100, 600, 400}; // centre on Alpha
        manipulator.window = w;
        manipulator.onMove = [this] {
            journal.push_back("move");
            movedWhileVisible = presenter->viewModel()->presentation().has_value() || presenter->window() != nullptr;
            prefsAtMove = readPrefs();
        };
        trust.trusted = true;
        gate = std::make_unique<PermissionGate>(trust, defaults, urls);
        presenter = std::make_shared<OverlayPresenter>(
            manipulator, registry, *gate, FocusedWindowResolver(manipulator, screens),
            std::make_shared<OverlayViewModel>(),
            OverlayPlatform{screens, beeper, app, monitor, factory, center, workspace, prefsPath});
    }

    void TearDown() override
    {
        presenter.reset();
        KeyboardShortcuts::resetForTesting();
        Log::setMinimumLevel(Log::Level::info);
    }

    Preferences readPrefs() { return loadPreferences(prefsPath).valueOr(Preferences::defaults()); }

    // Presses the system-wide trigger through the hotkey service.
    void pressTrigger() { hotKeys.pressHotKey(36, 0x100); }

    // A key-down on the visible panel, through the application's local monitor.
    void key(std::uint16_t code, std::uint64_t flags = 0)
    {
        ASSERT_NE(presenter->window(), nullptr);
        const KeyEvent event{KeyEvent::Type::keyDown, code, flags, presenter->window()};
        EXPECT_FALSE(monitor.send(event).has_value()) << "the panel's key must be swallowed";
    }

    long prompts() const { return std::count(trust.promptArguments.begin(), trust.promptArguments.end(), true); }

    const std::optional<OverlayPresentation>& presentation() { return presenter->viewModel()->presentation(); }

    // The end message of each interval of that name, oldest first.
    static std::vector<QString> intervalEnds(const char* name)
    {
        std::vector<QString> out;
        for (const auto& e : Log::Store::shared().entries())
            if (e.kind == Log::Entry::Kind::signpostEnd && e.signpostName == name)
                out.push_back(e.message);
        return out;
    }
    // The composed messages of every entry written with the format, oldest first.
    std::vector<QString> lines(const char* format)
    {
        std::vector<QString> out;
        for (const auto& e : Log::Store::shared().entries())
            if (e.format == QString::fromUtf8(format))
                out.push_back(e.message);
        return out;
    }
    int count(Log::Level level)
    {
        return int(std::ranges::count(Log::Store::shared().entries(), level, &Log::Entry::level));
    }

    QTemporaryDir dir;
    QString prefsPath;
    InMemoryDefaultsStore defaults;
    FakeHotKeyService hotKeys;
    NotificationCenter center;
    NotificationCenter workspace;
    FakeScreens screens;
    std::shared_ptr<FakeScreen> alpha, beta, gamma;
    FakeBeeper beeper;
    FakeApplication app;
    FakeEventMonitor monitor;
    FakeOverlayWindowFactory factory;
    FakeAccessibilityTrust trust;
    FakeUrlOpener urls;
    FakeWindowManipulator manipulator;
    HotkeyRegistry registry;
    std::unique_ptr<PermissionGate> gate;
    std::shared_ptr<OverlayPresenter> presenter;
    std::vector<std::string> journal;
    bool movedWhileVisible = false;
    Preferences prefsAtMove;
};

// Each refused trigger ends its own show interval with its reason, answers as it should (a
// prompt, the settings page, a beep), shows nothing, and logs one error at most.
TEST_F(OverlayPresenterTest, RefusedTriggersEndTheirIntervalAndAnswer)
{
    struct Row {
        const char* name;
        std::function<void()> arrange;
        const char* outcome;
        int beeps, prompts, settingsOpened;
    };
    const FocusedWindow tileable = *manipulator.window;
    const Row rows[] = {
        {"never prompted", [&] { trust.trusted = false; }, "permission-denied", 0, 1, 0},
        {"prompted before",
         [&] {
             trust.trusted = false;
             defaults.setBool(PermissionGate::promptFlagKey, true);
         },
         "permission-denied", 0, 0, 1},
        {"permission lost at resolve",
         [&] { manipulator.resolveError = WindowManipulationError::accessibilityPermissionMissing(); }, "ax-denied", 1,
         0, 0},
        {"resolve failed",
         [&] { manipulator.resolveError = WindowManipulationError::axCallFailed("AXFocusedWindow", -25200); },
         "resolve-failed", 1, 0, 0},
        {"no window", [&] { manipulator.window.reset(); }, "no-window", 1, 0, 0},
        {"window on no display",
         [&] {
             manipulator.window->frame = {5000, 5000, 100, 100};
         },
         "no-window", 1, 0, 0},
        {"minimized window", [&] { manipulator.window->isMinimized = true; }, "not-tileable", 1, 0, 0},
        {"full-screen window", [&] { manipulator.window->isFullscreen = true; }, "not-tileable", 1, 0, 0},
        {"fixed-size window", [&] { manipulator.window->isResizable = false; }, "not-tileable", 1, 0, 0},
    };
    presenter->start();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        trust.trusted = true;
        defaults.values.remove(PermissionGate::promptFlagKey);
        manipulator.resolveError.reset();
        manipulator.window = tileable;
        row.arrange();
        Log::Store::shared().clear();
        const int beeps = beeper.beeps, activations = app.activations;
        const long promptsBefore = prompts();
        const std::size_t opened = urls.opened.size();

        pressTrigger();
        EXPECT_FALSE(presentation());
        EXPECT_TRUE(factory.made.empty());
        EXPECT_EQ(intervalEnds(LogMessages::showOverlayInterval), std::vector<QString>{row.outcome});
        EXPECT_EQ(beeper.beeps - beeps, row.beeps);
        EXPECT_EQ(prompts() - promptsBefore, row.prompts);
        EXPECT_EQ(int(urls.opened.size() - opened), row.settingsOpened);
        EXPECT_EQ(app.activations - activations, row.settingsOpened);
        EXPECT_LE(count(Log::Level::error), 1);
    }
    EXPECT_EQ(lines(LogMessages::notTileable),
              std::vector<QString>{"trigger blocked: window not tileable (fullscreen=false minimized=false "
                                   "resizable=false)"});
}

TEST_F(OverlayPresenterTest, ConfirmDismissesAndSavesBeforeMovingTheWindow)
{
    presenter->start();
    pressTrigger();
    key(right, kOption); // 4 x 2, saved as the global grid
    key(left, kShift);   // region (1,1)-(0,1)
    key(returnKey);

    ASSERT_EQ(manipulator.moves.size(), 1u);
    EXPECT_FALSE(movedWhileVisible);
    EXPECT_EQ(journal, (std::vector<std::string>{"panel shown", "panel closed", "move"}));
    EXPECT_EQ(prefsAtMove.proSettings.globalGrid, (GridDimensions{4, 2}));
    EXPECT_EQ(manipulator.moves[0].first.processID, 4242);
    // Columns 0-1 of 4 on the lower row of (0, 25, 1440, 875).
    EXPECT_EQ(manipulator.moves[0].second, (Rect{0, 25, 720, 438}));
    EXPECT_EQ(intervalEnds(LogMessages::commitMoveInterval), std::vector<QString>{"ok"});

    // Keypad Enter confirms too; failures close first, then beep.
    manipulator.moveError = WindowManipulationError::windowNotResizable(NonResizableReason::systemDialog);
    pressTrigger();
    key(76);
    EXPECT_FALSE(presentation());
    EXPECT_EQ(beeper.beeps, 1);
    manipulator.moveError = WindowManipulationError::axCallFailed("AXSize", -25200);
    pressTrigger();
    key(returnKey);
    EXPECT_EQ(beeper.beeps, 2);
    EXPECT_EQ(intervalEnds(LogMessages::commitMoveInterval), (std::vector<QString>{"ok", "not-resizable", "error"}));
    EXPECT_EQ(count(Log::Level::error), 2);
}

TEST_F(OverlayPresenterTest, ResizeWriteBackFollowsTheModeInForceAtWritingTime)
{
    presenter->start();
    int notifications = 0;
    center.addObserver(preferencesDidChangeOnDiskNotification, nullptr, [&](const Notification&) { ++notifications; });

    // Per-display mode switched on while the overlay is up: saved under the display's name.
    pressTrigger();
    key(right, kOption);
    key(right, kOption);
    key(down, kOption);
    Preferences p;
    p.proSettings.perDisplayMode = true;
    ASSERT_TRUE(savePreferences(p, prefsPath));
    key(escape);
    Preferences saved = readPrefs();
    EXPECT_EQ(saved.proSettings.perDisplayGrids.overrides.at("Alpha"), (GridDimensions{5, 3}));
    EXPECT_EQ(saved.proSettings.globalGrid, (GridDimensions{3, 2}));
    EXPECT_EQ(notifications, 1);
    EXPECT_EQ(lines(LogMessages::persistedDisplayResize),
              std::vector<QString>{"persisted resize for display 'Alpha': 5×3"});

    // A display with an empty name stores no override but still saves and logs.
    alpha->m_name.clear();
    pressTrigger();
    key(up, kOption);
    key(escape);
    EXPECT_EQ(readPrefs().proSettings.perDisplayGrids.overrides.size(), 1u);
    EXPECT_EQ(notifications, 2);
}

// A folder that cannot be written (a regular file in its place, which holds even for root):
// nothing is lost, each failed save is one line, and none is announced.
TEST_F(OverlayPresenterTest, AnUnwritableFolderLosesNothingAndLogsEachFailedSaveOnce)
{
    QDir(dir.path()).rmdir("Mosaro");
    QFile blocker(dir.filePath("Mosaro"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.write("someone else's file");
    blocker.close();
    presenter->start();
    int notifications = 0;
    center.addObserver(preferencesDidChangeOnDiskNotification, nullptr, [&](const Notification&) { ++notifications; });
    Log::Store::shared().clear();
    for (int i = 0; i < 3; ++i) {
        pressTrigger();
        key(right, kOption);
        key(escape);
    }
    EXPECT_EQ(count(Log::Level::error), 3);
    EXPECT_EQ(lines(LogMessages::persistResizeFailed).size(), 3u);
    EXPECT_EQ(notifications, 0) << "a failed save announces nothing";
    EXPECT_FALSE(presenter->initialDimensions());
    ASSERT_TRUE(blocker.open(QIODevice::ReadOnly));
    EXPECT_EQ(blocker.readAll(), "someone else's file");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"Mosaro"});
}

TEST_F(OverlayPresenterTest, FocusLossSpaceAndDisplayChangesDismissAndSave)
{
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"focus lost", [&] { center.post(PlatformNotifications::windowDidResignKey, factory.made.back()->window); }},
        {"space changed", [&] { workspace.post(PlatformNotifications::activeSpaceDidChange); }},
        {"displays changed", [&] { center.post(PlatformNotifications::screenParametersDidChange); }},
    };
    presenter->start();
    std::int64_t rowCount = 2;
    for (const auto& [name, notify] : rows) {
        SCOPED_TRACE(name);
        pressTrigger();
        center.post(PlatformNotifications::windowDidResignKey, &beeper); // another window: ignored
        ASSERT_TRUE(presentation());
        key(down, kOption);
        notify();
        EXPECT_FALSE(presentation());
        EXPECT_TRUE(factory.made.back()->closed);
        EXPECT_EQ(readPrefs().proSettings.globalGrid, (GridDimensions{3, ++rowCount}));
    }
    EXPECT_EQ(beeper.beeps, 0);

    // While hidden these notifications do nothing.
    Log::Store::shared().clear();
    workspace.post(PlatformNotifications::activeSpaceDidChange);
    center.post(PlatformNotifications::screenParametersDidChange);
    EXPECT_TRUE(Log::Store::shared().entries().empty());
}

TEST_F(OverlayPresenterTest, StopDisablesTheTriggerSavesAndRemovesObservers)
{
    presenter->start();
    const std::size_t observersBefore = center.observerCount();
    pressTrigger();
    key(down, kOption);
    presenter->stop();
    EXPECT_FALSE(presentation());
    EXPECT_EQ(readPrefs().proSettings.globalGrid, (GridDimensions{3, 3}));
    EXPECT_TRUE(monitor.monitors.empty());
    EXPECT_EQ(workspace.observerCount(), 0u);
    EXPECT_EQ(center.observerCount(), observersBefore - 1);
    EXPECT_TRUE(registry.isTriggerRegistered);
    EXPECT_EQ(hotKeys.live.size(), 0u);

    // Once the presenter is gone, a trigger handler still registered does nothing.
    KeyboardShortcuts::enable({nameFor(HotkeyAction::trigger)});
    presenter.reset();
    pressTrigger();
    EXPECT_EQ(factory.made.size(), 1u);
}

// Keys typed right after the trigger must reach the panel: it asks for the keyboard before
// anything else happens to it, on every showing, a jump's included.
TEST_F(OverlayPresenterTest, ThePanelTakesTheKeyboardBeforeItIsFilledOrShown)
{
    presenter->start();
    pressTrigger();
    ASSERT_EQ(factory.made.size(), 1u);
    EXPECT_TRUE(factory.made[0]->keyboardTakenFirst);
    // A key of another window is not the overlay's; the panel's own callback is.
    EXPECT_TRUE(monitor.send({KeyEvent::Type::keyDown, escape, 0, &monitor}).has_value());
    presenter->window()->keyDown({KeyEvent::Type::keyDown, left, 0, presenter->window()});
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({0, 1}));
    key(right, kCommand | kShift);
    ASSERT_EQ(factory.made.size(), 2u);
    EXPECT_TRUE(factory.made[1]->keyboardTakenFirst);
}

} // namespace
