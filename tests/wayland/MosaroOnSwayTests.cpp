// The real Mosaro on a real headless sway: keys typed by wtype, windows read from sway's tree.
// Every scenario runs on Debian 12's sway 1.7 and on the Debian 13 root's sway 1.10.
#include "App/Desktop/DesktopPlatform.h"
#include "App/Wayland/SwayPlatform.h"
#include "Diagnostics/DiagnosticsReport.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/Geometry.h"
#include "Shortcuts/ShortcutConflict.h"
#include "support/ApplicationEnvironment.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSystemInfo.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/wayland/MosaroProcess.h"
#include "support/wayland/SwaySession.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

const QString bottomBar = QStringLiteral("bar {\n position bottom\n height 25\n}");
const QString panelTitle = QStringLiteral("Mosaro overlay");

struct Compositor {
    const char* name;
    bool root;
    const char* version; // as the report names it
};
// Test names and failures show the compositor, not its bytes (GoogleTest looks for this name).
[[maybe_unused]] void PrintTo( // NOLINT(readability-identifier-naming)
    const Compositor& compositor, std::ostream* out)
{
    *out << compositor.name;
}

class MosaroOnSway : public ::testing::TestWithParam<Compositor> {
protected:
    void start(SwaySession::Options options = {})
    {
        options.root = GetParam().root;
        const QString rootDir = qEnvironmentVariable("MOSARO_WAYLAND_ROOT_DIR", QStringLiteral(MOSARO_DEBIAN_ROOT_DIR));
        if (options.root && !QFile::exists(rootDir + QStringLiteral("/trixie/usr/bin/sway")))
            GTEST_SKIP() << "the Debian 13 root is not built (debian-root.sh ensure)";
        session = std::make_unique<SwaySession>(options);
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        target = session->startFoot(QStringLiteral("mosaro-target"));
        ASSERT_TRUE(target);
        app = std::make_unique<MosaroProcess>(*session);
        ASSERT_TRUE(app->start()) << app->log().toStdString();
    }
    // The panel as sway sees it: shown, and holding the keyboard.
    QJsonObject panel()
    {
        QJsonObject found;
        std::function<void(const QJsonObject&)> search = [&](const QJsonObject& node) {
            if (node.value(QLatin1String("name")).toString() == panelTitle)
                found = node;
            for (const char* children : {"nodes", "floating_nodes"})
                for (const auto& child : node.value(QLatin1String(children)).toArray())
                    search(child.toObject());
        };
        search(QJsonDocument::fromJson(session->ask(QStringLiteral("get_tree"))).object());
        return found;
    }
    bool panelHoldsKeyboard()
    {
        return eventually([&] { return panel().value(QLatin1String("focused")).toBool(); });
    }
    bool panelGone()
    {
        return eventually([&] { return !panel().value(QLatin1String("visible")).toBool(); });
    }
    // Ready once Mosaro has placed its panel too: that command gives it the focus again, and would
    // take it back from a change the test makes before it.
    bool trigger(const QString& keys = QStringLiteral("logo+Return"))
    {
        const int placed = app->count(QStringLiteral("sway placed the panel"));
        return session->press(keys) && app->waitForLog(QStringLiteral("sway placed the panel"), placed + 1) &&
               panelHoldsKeyboard();
    }
    bool frameIs(std::int64_t id, const Rect& frame)
    {
        return eventually([&] { return session->frameOf(id) == frame; }, 3000);
    }
    void TearDown() override
    {
        if (HasFailure() && app)
            std::fprintf(stderr, "%s\n", qPrintable(app->log().right(4000)));
    }

    std::unique_ptr<SwaySession> session;
    std::optional<SwaySession::Window> target;
    std::unique_ptr<MosaroProcess> app;
};

// The grid's worked frames (3 x 2, no margin) on a 1440 x 900 output with a 25 px bar at the bottom
// and without one: a tiled terminal placed (made floating), moves between cells of different
// sizes, a Qt window, and Escape leaving the window where it is.
TEST_P(MosaroOnSway, PlacesWindowsOnTheWorkedFrames)
{
    struct Step {
        const char* keys; // typed between the trigger and Return; "Escape" ends the showing instead
        Rect frame;       // sway's layout pixels, title bar included
    };
    struct Row {
        const char* name;
        QString config;
        bool qtWindow;
        std::vector<Step> steps;
    };
    const Row rows[] = {
        {"bar at the bottom",
         bottomBar,
         false,
         {{"Left", {0, 437, 480, 438}},
          {"shift+Right", {480, 437, 960, 438}},
          {"Up", {480, 0, 480, 437}},
          {"Escape", {480, 0, 480, 437}}}},
        {"no bar", {}, true, {{"", {480, 450, 480, 450}}, {"Up", {480, 0, 480, 450}}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_NO_FATAL_FAILURE(start({1440, 900, row.config}));
        if (IsSkipped())
            return;
        auto window = *target;
        if (row.qtWindow) {
            const auto qt = session->startQtWindow(QStringLiteral("mosaro-qt"));
            ASSERT_TRUE(qt);
            window = *qt;
        }
        for (const Step& step : row.steps) {
            SCOPED_TRACE(step.keys);
            ASSERT_TRUE(trigger()) << "no panel";
            const QString keys = QString::fromLatin1(step.keys);
            if (!keys.isEmpty()) {
                ASSERT_TRUE(session->press(keys));
            }
            if (keys != QLatin1String("Escape")) {
                ASSERT_TRUE(session->press(QStringLiteral("Return")));
            }
            EXPECT_TRUE(panelGone());
            EXPECT_TRUE(frameIs(window.id, step.frame)) << describe(*session->frameOf(window.id)).toStdString();
            EXPECT_EQ(session->container(window.id).value(QLatin1String("type")).toString(),
                      QLatin1String("floating_con"));
            // The keyboard is back with the window.
            EXPECT_TRUE(
                eventually([&] { return session->container(window.id).value(QLatin1String("focused")).toBool(); }));
        }
        app.reset();
        session.reset();
    }
}

// Debian's default configuration binds Super+Return to a terminal ($mod, $term, included files,
// modes): Mosaro refuses it and says so in --check, the grid (opened by `mosaro --trigger`) jumps
// to a second output with Super+Shift+Right, and after Mosaro the user's binding still works.
TEST_P(MosaroOnSway, UnderDebiansDefaultsRefusesTheTriggerAndJumpsToASecondOutput)
{
    SwaySession::Options options;
    options.debianDefaults = true;
    ASSERT_NO_FATAL_FAILURE(start(options));
    if (IsSkipped())
        return;
    EXPECT_TRUE(app->waitForLog(QStringLiteral("sway already binds Mod4+Return to \"exec foot\"")));
    QString check;
    EXPECT_EQ(app->run({QStringLiteral("--check")}, &check), 0) << check.toStdString();
    for (const char* line :
         {"(Wayland session)", "ok: compositor: sway 1.", "ok: keys: the panel takes every key",
          "warning: trigger: Super+Return is bound by the compositor's configuration to “exec foot”"})
        EXPECT_TRUE(check.contains(QString::fromUtf8(line))) << line << "\n" << check.toStdString();
    // A compositor whose channel Mosaro does not know: said, never a silent failure.
    QString unknown;
    EXPECT_EQ(app->run({QStringLiteral("--check")}, &unknown, 10000, {QStringLiteral("SWAYSOCK")}), 1);
    EXPECT_TRUE(unknown.contains(QStringLiteral("error: compositor: not one Mosaro can drive")))
        << unknown.toStdString();
    // (Off the session bus, or it would hand over to the running Mosaro.)
    EXPECT_EQ(app->run({}, &unknown, 10000, {QStringLiteral("SWAYSOCK"), QStringLiteral("DBUS_SESSION_BUS_ADDRESS")}),
              1);
    EXPECT_TRUE(unknown.contains(QStringLiteral("mosaro: no channel to this Wayland compositor")))
        << unknown.toStdString();

    ASSERT_TRUE(session->addOutput());
    ASSERT_TRUE(session->command(QStringLiteral("[con_id=%1] focus").arg(target->id)));
    ASSERT_EQ(app->run({QStringLiteral("--trigger")}), 0);
    ASSERT_TRUE(panelHoldsKeyboard());
    ASSERT_TRUE(session->press(QStringLiteral("logo+shift+Right")));
    EXPECT_TRUE(eventually([&] {
        const QJsonObject p = panel();
        return p.value(QLatin1String("rect")).toObject().value(QLatin1String("x")).toInt() >= 1440 &&
               p.value(QLatin1String("focused")).toBool();
    })) << "the panel did not move to the second output";
    ASSERT_TRUE(session->press(QStringLiteral("Return")));
    EXPECT_TRUE(panelGone());
    EXPECT_TRUE(eventually([&] {
        const auto frame = session->frameOf(target->id);
        return frame && frame->x >= 1440 && frame->width == 640; // a third of the 1920 px output
    })) << describe(*session->frameOf(target->id)).toStdString();

    app->stop();
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    EXPECT_TRUE(session->waitForWindow(QStringLiteral("foot"), 10000)) << "the user's binding is gone";
}

// The three dismissals: the focus taken away, a workspace switch, an output added. The window
// stays where it was and gets the keyboard back where it still can.
TEST_P(MosaroOnSway, TheDesktopsEventsDismissTheGrid)
{
    ASSERT_NO_FATAL_FAILURE(start());
    if (IsSkipped())
        return;
    const auto other = session->startFoot(QStringLiteral("mosaro-other"));
    ASSERT_TRUE(other);
    const auto before = session->frameOf(target->id);
    struct Row {
        const char* name;
        QString command;
    };
    const Row rows[] = {
        {"the focus taken away", QStringLiteral("[con_id=%1] focus").arg(other->id)},
        {"a workspace switch", QStringLiteral("workspace 2")},
        {"an output added", QStringLiteral("create_output")},
    };
    int dismissed = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(session->command(QStringLiteral("workspace 1; [con_id=%1] focus").arg(target->id)));
        ASSERT_TRUE(trigger());
        ASSERT_TRUE(session->command(row.command));
        EXPECT_TRUE(panelGone());
        EXPECT_TRUE(app->waitForLog(QStringLiteral("overlay dismiss"), ++dismissed));
        EXPECT_EQ(session->frameOf(target->id), before);
    }
}

// A compositor that stops answering costs one bounded wait and one line, and the grid closes; one
// that goes away ends Mosaro as a lost X display does: one line, exit status 1.
TEST_P(MosaroOnSway, AStoppedCompositorIsBoundedAndAVanishedOneEndsMosaro)
{
    ASSERT_NO_FATAL_FAILURE(start());
    if (IsSkipped())
        return;
    ASSERT_TRUE(trigger());
    session->pauseCompositor();
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(app->run({QStringLiteral("--trigger")}), 0);
    EXPECT_TRUE(app->waitForLog(QStringLiteral("no answer within 1000 ms")));
    EXPECT_LT(timer.elapsed(), 3000);
    session->resumeCompositor();
    EXPECT_TRUE(panelGone());
    EXPECT_EQ(app->count(QStringLiteral("no answer within 1000 ms")), 1);

    session->stopCompositor();
    EXPECT_EQ(app->waitForExit(), 1);
    EXPECT_EQ(app->count(QStringLiteral("has gone away")), 1);
}

// A trigger recorded in the settings window (reached by keys alone) opens the grid; the old one no
// longer does.
TEST_P(MosaroOnSway, ARecordedTriggerReplacesTheOldOne)
{
    ASSERT_NO_FATAL_FAILURE(start());
    if (IsSkipped())
        return;
    ASSERT_EQ(app->run({}), 0); // a second start opens the settings window of the running one
    const auto settings = session->waitForTitle(QStringLiteral("Mosaro Settings - General"), 10000);
    ASSERT_TRUE(settings);
    ASSERT_TRUE(session->press(QStringLiteral("ctrl+Tab")));
    ASSERT_TRUE(session->waitForTitle(QStringLiteral("Mosaro Settings - Shortcuts"), 5000));
    // Three steps of the window's tab order lead from the tab bar to the trigger's recorder.
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(session->press(QStringLiteral("Tab")));
    ASSERT_TRUE(session->press(QStringLiteral("space")));
    ASSERT_TRUE(session->press(QStringLiteral("ctrl+alt+t")));
    ASSERT_TRUE(app->waitForDefaults(QStringLiteral(R"(carbonKeyCode\":17)")));

    ASSERT_TRUE(session->command(QStringLiteral("[con_id=%1] focus").arg(target->id)));
    EXPECT_TRUE(trigger(QStringLiteral("ctrl+alt+t")));
    ASSERT_TRUE(session->press(QStringLiteral("Escape")));
    ASSERT_TRUE(panelGone());
    ASSERT_TRUE(session->press(QStringLiteral("logo+Return")));
    EXPECT_FALSE(eventually([&] { return panel().value(QLatin1String("visible")).toBool(); }, 700))
        << "the old trigger still opens the grid";
}

// What a person sees: the panel translucent over the display's visible frame only (the bar below
// it untouched), the highlight drawn. MOSARO_SCREENSHOT_DIR keeps the picture (the README's).
TEST_P(MosaroOnSway, ThePanelIsDrawnOverTheVisibleFrame)
{
    ASSERT_NO_FATAL_FAILURE(start({1440, 900, bottomBar}));
    if (IsSkipped())
        return;
    ASSERT_TRUE(session->startQtWindow(QStringLiteral("mosaro-qt")));
    const QImage before = session->screenshot(QStringLiteral("before"));
    ASSERT_TRUE(trigger());
    QImage shot;
    // Drawn when sway has shown the panel's frame: the highlight (the bottom-middle cell) differs.
    ASSERT_TRUE(eventually([&] {
        shot = session->screenshot(QStringLiteral("panel"));
        return !shot.isNull() && shot.pixel(720, 650) != before.pixel(720, 650);
    }));
    EXPECT_NE(shot.pixel(240, 200), before.pixel(240, 200)); // dimmed
    for (int x : {5, 720, 1430})
        EXPECT_EQ(shot.pixel(x, 890), before.pixel(x, 890)) << "the bar is covered at x " << x;
    if (const QString dir = qEnvironmentVariable("MOSARO_SCREENSHOT_DIR"); !dir.isEmpty())
        shot.save(dir + QStringLiteral("/overlay-sway-%1.png").arg(QString::fromLatin1(GetParam().name)));
}

// The diagnostics report's six summary lines, its operating-system line naming the session and
// the compositor, the help window's sentence naming the configuration's binding of the trigger,
// and the recorder's alert naming it: from the sway platform the program builds, on Debian's
// default configuration.
TEST_P(MosaroOnSway, TheReportAndTheHelpNameTheSession)
{
    SwaySession::Options options;
    options.debianDefaults = true;
    ASSERT_NO_FATAL_FAILURE(start(options));
    if (IsSkipped())
        return;
    auto platform = makeSwayPlatform(session->swaySocket());
    // The trigger as the program registers it: the default, nothing stored.
    InMemoryDefaultsStore defaults;
    KeyboardShortcuts::configure({&defaults, &platform->hotKeys(), &platform->keyboardLayout(), nullptr});
    KeyboardShortcuts::registerName(nameFor(HotkeyAction::trigger));
    FakeOperatingSystemInfo system;
    system.text = QStringLiteral("Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64");
    const SessionOperatingSystemInfo info(system, *platform);
    FakeBundleInfo bundle;
    FakeHardwareInfo hardware;
    FakeLogReader log;
    FakeClock clock;
    FakePasteboard pasteboard;
    FakeUrlOpener urlOpener;
    const Diagnostics diagnostics({bundle, info, hardware, platform->screens(), platform->trust(),
                                   session->configPath() + QStringLiteral(".none"), log, clock, pasteboard, urlOpener});
    const QStringList lines = diagnostics.diagnosticsSummary().split(u'\n');
    ASSERT_EQ(lines.size(), 6) << diagnostics.diagnosticsSummary().toStdString();
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("macOS:    Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64; "
                                                   "Wayland, sway ") +
                                    QString::fromLatin1(GetParam().version)))
        << lines[1].toStdString();
    EXPECT_EQ(lines[4], QStringLiteral("AX perm:  granted"));
    EXPECT_TRUE(platform->describeDesktop().contains(QStringLiteral("binds Super+Return to “exec foot”")))
        << platform->describeDesktop().toStdString();
    // The recorder: after the fixed table, the configuration's binding is a system shortcut of sway.
    const auto conflict = findShortcutConflict(36, CarbonModifier::command, nameFor(HotkeyAction::navigateUp));
    ASSERT_TRUE(conflict);
    const auto alert = conflictAlertText(*conflict, *KeyboardShortcuts::getShortcut(nameFor(HotkeyAction::trigger)),
                                         QStringLiteral("Move up"));
    EXPECT_EQ(alert.informativeText, QStringLiteral("Super+Return is also used by sway for exec foot. Using it for "
                                                    "Move up here may interfere with that system shortcut."));
    KeyboardShortcuts::resetForTesting();
}

INSTANTIATE_TEST_SUITE_P(Sway, MosaroOnSway,
                         ::testing::Values(Compositor{"sway_1_7", false, "1.7"}, Compositor{"sway_1_10", true, "1.10"}),
                         [](const ::testing::TestParamInfo<Compositor>& row) { return std::string(row.param.name); });

} // namespace
