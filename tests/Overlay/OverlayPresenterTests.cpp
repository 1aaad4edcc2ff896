#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Grid/ScreenGeometry.h"
#include "KeyboardShortcuts/HotkeyRegistry.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Overlay/OverlayPresenter.h"
#include "Permission/PermissionGate.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"
#include "support/FakeHotKeyService.h"
#include "support/FakeOverlayPlatform.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeScreens.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/KeyCodes.h"
#include "support/NotLoadingPreferences.h"
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
            prefsAtMove = QFile::exists(prefsPath) ? loadPreferences(prefsPath).valueOr(Preferences::defaults())
                                                   : Preferences::defaults();
        };
        trust.trusted = true;
        gate = std::make_unique<PermissionGate>(trust, defaults, urls);
        makePresenter();
    }

    void TearDown() override
    {
        presenter.reset();
        KeyboardShortcuts::resetForTesting();
        Log::setMinimumLevel(Log::Level::info);
    }

    void makePresenter()
    {
        presenter = std::make_shared<OverlayPresenter>(
            manipulator, registry, *gate, FocusedWindowResolver(manipulator, screens),
            std::make_shared<OverlayViewModel>(),
            OverlayPlatform{screens, beeper, app, monitor, factory, center, workspace, prefsPath});
    }

    void writePrefs(const Preferences& p) { ASSERT_TRUE(savePreferences(p, prefsPath)); }
    Preferences readPrefs() { return loadPreferences(prefsPath).valueOr(Preferences::defaults()); }

    // Presses the system-wide trigger through the hotkey service.
    void pressTrigger() { hotKeys.pressRegistered(36, 0x100); }

    // A key-down on the visible panel, through the application's local monitor.
    void key(std::uint16_t code, std::uint64_t flags = 0)
    {
        ASSERT_NE(presenter->window(), nullptr);
        const KeyEvent event{KeyEvent::Type::keyDown, code, flags, presenter->window()};
        EXPECT_FALSE(monitor.send(event).has_value()) << "the panel's key must be swallowed";
    }

    long prompts() const { return std::count(trust.promptArguments.begin(), trust.promptArguments.end(), true); }

    const std::optional<OverlayPresentation>& presentation() { return presenter->viewModel()->presentation(); }

    // The outcome of each show interval, oldest first.
    std::vector<QString> showOutcomes()
    {
        std::vector<QString> out;
        for (const auto& e : Log::Store::shared().entries())
            if (e.kind == Log::Entry::Kind::signpostEnd && e.signpostName == LogMessages::showOverlayInterval)
                out.push_back(e.message);
        return out;
    }
    std::vector<QString> commitEnds()
    {
        std::vector<QString> out;
        for (const auto& e : Log::Store::shared().entries())
            if (e.kind == Log::Entry::Kind::signpostEnd && e.signpostName == LogMessages::commitMoveInterval)
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
        const auto& all = Log::Store::shared().entries();
        return int(std::count_if(all.begin(), all.end(), [&](const auto& e) { return e.level == level; }));
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

TEST_F(OverlayPresenterTest, TriggerShowsCentreCellOnTheWindowsDisplayAndTogglesOff)
{
    presenter->start();
    presenter->start(); // a second start subscribes nothing more
    EXPECT_TRUE(registry.isTriggerRegistered);
    EXPECT_EQ(monitor.monitors.size(), 1u);

    pressTrigger();
    ASSERT_TRUE(presentation());
    EXPECT_EQ(presentation()->display.screen, ScreenRef(alpha));
    EXPECT_EQ(presentation()->grid, (GridLayout{3, 2, {0, 25, 1440, 875}, 0}));
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({1, 1}));
    EXPECT_EQ(presenter->initialDimensions(), (GridDimensions{3, 2}));
    ASSERT_EQ(factory.made.size(), 1u);
    EXPECT_EQ(factory.made[0]->frame, (Rect{0, 25, 1440, 875}));
    EXPECT_EQ(factory.made[0]->content, presenter->viewModel());
    EXPECT_TRUE(factory.made[0]->key);
    EXPECT_EQ(showOutcomes(), std::vector<QString>{"ok"});

    Log::Store::shared().clear();
    const long promptsBefore = prompts();
    pressTrigger(); // one press, one toggle: no checks, no beep, no interval
    EXPECT_FALSE(presentation());
    EXPECT_EQ(presenter->window(), nullptr);
    EXPECT_TRUE(factory.made[0]->closed);
    EXPECT_EQ(beeper.beeps, 0);
    EXPECT_EQ(prompts(), promptsBefore);
    EXPECT_TRUE(showOutcomes().empty());
}

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
        EXPECT_EQ(showOutcomes(), std::vector<QString>{row.outcome});
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

TEST_F(OverlayPresenterTest, GridSizeComesFromTheFileOnEveryShowingClampedToLimits)
{
    presenter->start();
    Preferences p;
    p.proSettings.globalGrid = {1, 1};
    writePrefs(p);
    pressTrigger();
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({0, 0}));
    pressTrigger();

    p.proSettings.globalGrid = {30, 20};
    writePrefs(p);
    pressTrigger();
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({15, 10}));
    pressTrigger();

    p.proSettings.perDisplayMode = true;
    p.proSettings.perDisplayGrids.overrides = {{"Alpha", {40, 25}}};
    p.proSettings.margin = 10;
    writePrefs(p);
    const QByteArray before = [&] {
        QFile f(prefsPath);
        f.open(QIODevice::ReadOnly);
        return f.readAll();
    }();
    pressTrigger();
    EXPECT_EQ(presentation()->grid.dimensions(), (GridDimensions{30, 20}));
    EXPECT_EQ(presentation()->grid.margin, 10.0);
    EXPECT_EQ(presenter->initialDimensions(), (GridDimensions{30, 20}));
    pressTrigger(); // no resize: nothing written, the stored 40 x 25 stays
    QFile f(prefsPath);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), before);

    QFile::remove(prefsPath);
    QFile corrupt(prefsPath);
    ASSERT_TRUE(corrupt.open(QIODevice::WriteOnly));
    corrupt.write("{ not json");
    corrupt.close();
    pressTrigger();
    EXPECT_EQ(presentation()->grid.dimensions(), (GridDimensions{3, 2}));
}

TEST_F(OverlayPresenterTest, KeysMoveExtendAndResizeAndUnboundKeysDismiss)
{
    presenter->start();
    pressTrigger();
    key(up);
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({1, 0}));
    key(left, kShift);
    EXPECT_EQ(presentation()->region, (HighlightedRegion{{1, 0}, {0, 0}}));
    key(down, kShift | ModifierFlag::capsLock);
    EXPECT_EQ(presentation()->region, (HighlightedRegion{{1, 0}, {0, 1}}));
    key(right, kOption);
    EXPECT_EQ(presentation()->grid.dimensions(), (GridDimensions{4, 2}));
    key(up, kOption);
    EXPECT_EQ(presentation()->grid.dimensions(), (GridDimensions{4, 1}));
    EXPECT_EQ(presentation()->region, (HighlightedRegion{{1, 0}, {0, 0}}));
    key(right);
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({1, 0}));

    // A key from another window is not the overlay's.
    const KeyEvent foreign{KeyEvent::Type::keyDown, escape, 0, &monitor};
    EXPECT_TRUE(monitor.send(foreign).has_value());
    EXPECT_TRUE(presentation());

    // The panel's own callback reaches the same handling.
    presenter->window()->keyDown({KeyEvent::Type::keyDown, left, 0, presenter->window()});
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({0, 0}));

    key(a); // unbound: closes like Escape, moves nothing
    EXPECT_FALSE(presentation());
    EXPECT_TRUE(manipulator.moves.empty());
    EXPECT_EQ(beeper.beeps, 0);

    // Every applied key is one highlight interval.
    int intervals = 0;
    for (const auto& e : Log::Store::shared().entries())
        if (e.kind == Log::Entry::Kind::signpostEnd && e.signpostName == "sc-002 highlight-update")
            ++intervals;
    EXPECT_EQ(intervals, 8);
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
    EXPECT_EQ(commitEnds(), std::vector<QString>{"ok"});

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
    EXPECT_EQ(commitEnds(), (std::vector<QString>{"ok", "not-resizable", "error"}));
    EXPECT_EQ(count(Log::Level::error), 2);
}

TEST_F(OverlayPresenterTest, ResizeWriteBackFollowsTheModeInForceAtWritingTime)
{
    presenter->start();
    int notifications = 0;
    center.addObserver(preferencesDidChangeOnDiskNotification, nullptr, [&](const Notification&) { ++notifications; });

    // Back to the starting size: nothing written, nothing logged.
    pressTrigger();
    key(right, kOption);
    key(left, kOption);
    key(escape);
    EXPECT_FALSE(QFile::exists(prefsPath));
    EXPECT_EQ(notifications, 0);

    // Per-display mode switched on while the overlay is up: saved under the display's name.
    pressTrigger();
    key(right, kOption);
    key(right, kOption);
    key(down, kOption);
    Preferences p;
    p.proSettings.perDisplayMode = true;
    writePrefs(p);
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

    // A failed save is logged and announces nothing.
    QFile::remove(prefsPath);
    QDir(dir.path()).rmdir("Mosaro");
    QFile blocker(dir.filePath("Mosaro"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    pressTrigger();
    key(right, kOption);
    key(escape);
    EXPECT_EQ(lines(LogMessages::persistResizeFailed).size(), 1u);
    EXPECT_EQ(notifications, 2);
    EXPECT_FALSE(presenter->initialDimensions());
}

// Whatever the file held that did not load as version 2 survives the resize that replaces it:
// byte for byte in a copy beside it, named in the log; the live file is the document written.
TEST_F(OverlayPresenterTest, AResizeKeepsEveryKindOfFileThatDidNotLoad)
{
    presenter->start();
    const QDir folder(dir.filePath("Mosaro"));
    ASSERT_TRUE(folder.mkpath("."));
    const auto copies = [&] { return folder.entryList({"preferences.json.bak-*"}, QDir::Files, QDir::Name); };
    const auto bytesOf = [](const QString& path) {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
    };
    const auto writeBytes = [this](const QByteArray& bytes) {
        QFile f(prefsPath);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
    };
    // The preferences lines and the write-back's own line, "level: message".
    const auto lines = [] {
        QStringList out;
        for (const auto& e : Log::Store::shared().entries())
            if (e.category == "preferences" || e.format == QString::fromUtf8(LogMessages::persistedGlobalResize))
                out << Log::levelName(e.level) + ": " + e.message;
        return out;
    };
    const auto resize = [this] {
        pressTrigger();
        key(right, kOption);
        key(escape);
    };

    for (const auto& kind : notLoadingPreferences()) {
        SCOPED_TRACE(kind.name);
        for (const QString& name : folder.entryList(QDir::Files))
            QFile::remove(folder.filePath(name));
        writeBytes(kind.bytes);
        Log::Store::shared().clear();
        resize();

        ASSERT_EQ(copies().size(), 1);
        EXPECT_EQ(bytesOf(folder.filePath(copies()[0])), kind.bytes);
        Preferences expected;
        if (QByteArray(kind.name) == "version 1") {
            expected.showInDockIcon = true;
            expected.highlightedRegionTintHex = QStringLiteral("#3366FF");
        }
        expected.proSettings.globalGrid = {4, 2};
        EXPECT_EQ(bytesOf(prefsPath), PreferencesJson::encode(expected));
        // The session's load replaces a migrated or unknown version at once; the others are
        // loaded again for the write-back, and replaced by its save.
        QStringList expectedLines = kind.loadLines;
        if (kind.loadReplaces)
            expectedLines << kind.keptLine(copies()[0]) << "info: persisted global resize: 4×2";
        else
            expectedLines << kind.loadLines << "info: persisted global resize: 4×2" << kind.keptLine(copies()[0]);
        EXPECT_EQ(lines(), expectedLines);
    }

    // A second and a third such file: every earlier copy stays.
    const QByteArray second = R"({"schemaVersion": 99, "n": 2})";
    const QByteArray third = "third, not JSON";
    writeBytes(second);
    resize();
    writeBytes(third);
    resize();
    ASSERT_EQ(copies().size(), 3);
    QList<QByteArray> kept;
    for (const QString& name : copies())
        kept << bytesOf(folder.filePath(name));
    EXPECT_TRUE(kept.contains(notLoadingPreferences().back().bytes));
    EXPECT_TRUE(kept.contains(second));
    EXPECT_TRUE(kept.contains(third));
    EXPECT_EQ(readPrefs().proSettings.globalGrid, (GridDimensions{4, 2}));
}

// A folder that cannot be written (a regular file in its place, which holds even for root):
// nothing is lost, and each failed save is one line.
TEST_F(OverlayPresenterTest, AnUnwritableFolderLosesNothingAndLogsEachFailedSaveOnce)
{
    QDir(dir.path()).rmdir("Mosaro");
    QFile blocker(dir.filePath("Mosaro"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.write("someone else's file");
    blocker.close();
    presenter->start();
    Log::Store::shared().clear();
    for (int i = 0; i < 3; ++i) {
        pressTrigger();
        key(right, kOption);
        key(escape);
    }
    std::vector<QString> errors;
    for (const auto& e : Log::Store::shared().entries())
        if (e.level == Log::Level::error)
            errors.push_back(e.format);
    EXPECT_EQ(errors, std::vector<QString>(3, QString::fromUtf8(LogMessages::persistResizeFailed)));
    ASSERT_TRUE(blocker.open(QIODevice::ReadOnly));
    EXPECT_EQ(blocker.readAll(), "someone else's file");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{"Mosaro"});
}

TEST_F(OverlayPresenterTest, JumpsWrapInDisplayOrderAndRestartAtTheCentre)
{
    presenter->start();
    Preferences p;
    p.proSettings.perDisplayMode = true;
    p.proSettings.perDisplayGrids.overrides = {{"Beta", {6, 4}}};
    writePrefs(p);

    pressTrigger();      // on Alpha (first of Alpha, Beta, Gamma)
    key(right, kOption); // 4 x 2 on Alpha
    key(right, kShift);
    key(right, kCommand | kShift);
    ASSERT_TRUE(presentation());
    EXPECT_EQ(presentation()->display.screen, ScreenRef(beta));
    EXPECT_EQ(presentation()->grid.dimensions(), (GridDimensions{6, 4}));
    EXPECT_EQ(presentation()->region, HighlightedRegion::single({3, 2}));
    EXPECT_EQ(presentation()->grid.displayBounds, beta->visibleFrame());
    EXPECT_EQ(readPrefs().proSettings.perDisplayGrids.overrides.at("Alpha"), (GridDimensions{4, 2}));
    EXPECT_EQ(factory.made.size(), 2u);
    EXPECT_TRUE(factory.made[0]->closed);

    key(left, kCommand | kShift); // previous of Beta is Alpha
    EXPECT_EQ(presentation()->display.screen, ScreenRef(alpha));
    key(left, kCommand | kShift); // previous of Alpha wraps to Gamma
    EXPECT_EQ(presentation()->display.screen, ScreenRef(gamma));
    key(right, kCommand | kShift); // next of Gamma wraps to Alpha
    EXPECT_EQ(presentation()->display.screen, ScreenRef(alpha));

    // The current display disconnected: it counts as the first of the list.
    screens.list.erase(screens.list.begin());
    key(right, kCommand | kShift);
    EXPECT_EQ(presentation()->display.screen, ScreenRef(gamma));

    // Committing after a jump moves the window resolved at the trigger onto the new display.
    key(returnKey);
    ASSERT_EQ(manipulator.moves.size(), 1u);
    EXPECT_EQ(manipulator.moves[0].first.frame, (Rect{100, 100, 600, 400}));
    EXPECT_EQ(manipulator.moves[0].second, (Rect{-853, 0, 426, 512}));

    // One display left: the jump is refused with a beep and the overlay stays.
    screens.list.resize(1);
    manipulator.window->frame = {1500, 100, 600, 400};
    pressTrigger();
    const auto before = presentation();
    key(right, kCommand | kShift);
    EXPECT_EQ(presentation(), before);
    EXPECT_EQ(beeper.beeps, 1);
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
    EXPECT_EQ(hotKeys.activeCount(), 0u);

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
    key(right, kCommand | kShift);
    ASSERT_EQ(factory.made.size(), 2u);
    EXPECT_TRUE(factory.made[1]->keyboardTakenFirst);
}

} // namespace
