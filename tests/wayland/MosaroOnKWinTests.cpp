// The real Mosaro on a real headless KWin: keys typed through KWin's fake input, windows read by
// the tests' own read-only script. Every scenario runs on Debian 12's KWin 5.27 and on the
// Debian 13 root's KWin 6.3.
#include "Preferences/PreferencesFile.h"
#include "support/wayland/KWinSession.h"
#include "support/wayland/MosaroProcess.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>

#include <csignal>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

const QString panelTitle = QStringLiteral("Mosaro overlay");
const QString sessionScript = QStringLiteral("mosaro-session");

// The parameter: KWin 6.3 from the Debian 13 root rather than this system's 5.27.
class MosaroOnKWin : public ::testing::TestWithParam<bool> {
protected:
    // KWin with a bar reserving `bar` pixels (negative: at the bottom), the target window, Mosaro.
    void start(int bar, const QStringList& how = {}, KWinSession::Options options = {}, int margin = 0)
    {
        options.root = GetParam();
        const QString rootDir = qEnvironmentVariable("MOSARO_WAYLAND_ROOT_DIR", QStringLiteral(MOSARO_DEBIAN_ROOT_DIR));
        if (options.root && !QFile::exists(rootDir + QStringLiteral("/trixie/usr/local/bin/kwin_wayland")))
            GTEST_SKIP() << "the Debian 13 root has no KWin (debian-root.sh ensure)";
        session = std::make_unique<KWinSession>(options);
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        ASSERT_TRUE(bar == 0 || session->startBar(std::abs(bar), bar > 0));
        ASSERT_TRUE(
            session->startWindow(QStringLiteral("Mosaro target"), QStringList{QStringLiteral("700x500")} + how));
        app = std::make_unique<MosaroProcess>(*session);
        if (margin != 0) {
            Preferences prefs;
            prefs.proSettings.margin = margin;
            const QString data = session->runtimeDirectory() + QStringLiteral("/../mosaro/.local/share");
            ASSERT_TRUE(savePreferences(prefs, data + QStringLiteral("/Mosaro/preferences.json")));
            QProcess::execute(QStringLiteral("chown"), {QStringLiteral("-R"), QStringLiteral("65534:65534"), data});
        }
        ASSERT_TRUE(app->start()) << app->log().toStdString();
    }
    QJsonObject panel() { return session->window(panelTitle); }
    bool panelGone()
    {
        return eventually([&] { return panel().isEmpty(); }, 5000);
    }
    bool trigger(const QString& keys = QStringLiteral("Meta+Return"))
    {
        return session->press(keys) &&
               eventually([&] { return panel().value(QLatin1String("active")).toBool(); }, 5000);
    }
    bool frameIs(const Rect& frame)
    {
        return eventually([&] { return session->frameOf(QStringLiteral("Mosaro target")) == frame; }, 3000);
    }
    void TearDown() override
    {
        if (HasFailure() && app)
            std::fprintf(stderr, "%s\n", qPrintable(app->log().right(4000)));
    }

    std::unique_ptr<KWinSession> session;
    std::unique_ptr<MosaroProcess> app;
};

// The grid's worked frames (3 x 2) from the area KWin reports below a bar: a 25 px bar at the
// bottom is the examples' visible frame, with margins 0 and 10; a 40 px bar at the top; a
// maximized window placed; moves between cells of different sizes; Escape leaving the window.
TEST_P(MosaroOnKWin, PlacesWindowsOnTheWorkedFrames)
{
    struct Step {
        const char* keys; // typed between the trigger and Return; "Escape" ends the showing instead
        Rect frame;       // KWin's frame (y down), title bar included
    };
    struct Row {
        const char* name;
        int bar;
        QStringList how;
        int margin;
        Rect area;
        std::vector<Step> steps;
    };
    const Row rows[] = {
        {"bar at the bottom",
         -25,
         {},
         0,
         {0, 0, 1440, 875},
         {{"Left", {0, 437, 480, 438}},
          {"Shift+Right", {480, 437, 960, 438}},
          {"Up", {480, 0, 480, 437}},
          {"Escape", {480, 0, 480, 437}}}},
        {"margin 10", -25, {}, 10, {0, 0, 1440, 875}, {{"", {488, 442, 464, 423}}, {"Left", {10, 442, 468, 423}}}},
        {"maximized under a bar at the top",
         40,
         {QStringLiteral("maximized")},
         0,
         {0, 40, 1440, 860},
         {{"", {480, 470, 480, 430}}, {"Up", {480, 40, 480, 430}}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_NO_FATAL_FAILURE(start(row.bar, row.how, {}, row.margin));
        if (IsSkipped())
            return;
        // The area KWin leaves below the bar on the first output (y down).
        ASSERT_EQ(rectOf(session->report()[QLatin1String("outputs")][0][QLatin1String("placement")]), row.area);
        for (const Step& step : row.steps) {
            SCOPED_TRACE(step.keys);
            ASSERT_TRUE(trigger()) << "no panel";
            // The panel: over the visible frame, above everything, borderless.
            const QJsonObject p = panel();
            EXPECT_EQ(rectOf(p.value(QLatin1String("frame"))), row.area);
            EXPECT_TRUE(p.value(QLatin1String("keepAbove")).toBool() && p.value(QLatin1String("noBorder")).toBool());
            const QString keys = QString::fromLatin1(step.keys);
            ASSERT_TRUE(keys.isEmpty() || session->press(keys));
            ASSERT_TRUE(keys == QLatin1String("Escape") || session->press(QStringLiteral("Return")));
            EXPECT_TRUE(panelGone());
            EXPECT_TRUE(frameIs(step.frame))
                << describe(*session->frameOf(QStringLiteral("Mosaro target"))).toStdString();
            // The keyboard is back with the window.
            EXPECT_TRUE(eventually(
                [&] { return session->window(QStringLiteral("Mosaro target"))[QLatin1String("active")].toBool(); },
                3000));
        }
        EXPECT_TRUE(row.how.isEmpty() ||
                    session->log(QStringLiteral("mosaro_wayland_client")).contains(QLatin1String("state normal")));
        app.reset();
        session.reset();
    }
}

// Under KDE's default shortcuts Meta+Shift+Right and Meta+Shift+Left move a window to the next
// screen: with the panel up they reach Mosaro, which jumps the grid to the other output and back.
TEST_P(MosaroOnKWin, TheJumpKeysReachThePanelUnderKDEsDefaults)
{
    KWinSession::Options options;
    options.outputs = 2;
    ASSERT_NO_FATAL_FAILURE(start(0, {}, options));
    if (IsSkipped())
        return;
    // KWin 6 activates the moved panel before it re-activates the panel's shortcut inhibitor: a key
    // in between is KWin's. A person is never that quick; the test waits a moment.
    const auto panelOn = [&](double x) {
        const bool on = eventually(
            [&] {
                const QJsonObject p = panel();
                return rectOf(p.value(QLatin1String("frame"))).x == x && p.value(QLatin1String("active")).toBool();
            },
            5000);
        QThread::msleep(150);
        return on;
    };
    ASSERT_TRUE(trigger());
    ASSERT_TRUE(session->press(QStringLiteral("Meta+Shift+Right")));
    EXPECT_TRUE(panelOn(1440)) << "the panel did not move: " << QJsonDocument(panel()).toJson().toStdString();
    ASSERT_TRUE(session->press(QStringLiteral("Meta+Shift+Left")));
    EXPECT_TRUE(panelOn(0)) << "the panel did not come back: " << QJsonDocument(panel()).toJson().toStdString();
    ASSERT_TRUE(session->press(QStringLiteral("Meta+Shift+Right")));
    ASSERT_TRUE(panelOn(1440)) << QJsonDocument(session->report()).toJson().toStdString();
    ASSERT_TRUE(session->press(QStringLiteral("Return")));
    EXPECT_TRUE(panelGone());
    EXPECT_TRUE(frameIs({1920, 450, 480, 450}));
}

// KDE already uses the trigger: Mosaro leaves it alone and says so, in its log and in --check.
TEST_P(MosaroOnKWin, RefusesATriggerKDEAlreadyBinds)
{
    KWinSession::Options options;
    options.shortcuts = QStringLiteral("[kwin]\nShow Desktop=Meta+Return,Meta+D,Peek at Desktop\n");
    ASSERT_NO_FATAL_FAILURE(start(0, {}, options));
    if (IsSkipped())
        return;
    EXPECT_TRUE(app->waitForLog(QStringLiteral("KDE already binds Meta+Return to ")));
    QString check;
    EXPECT_EQ(app->run({QStringLiteral("--check")}, &check), 0) << check.toStdString();
    EXPECT_TRUE(check.contains(
        QStringLiteral("warning: trigger: Super+Return is bound by the compositor's configuration to “")))
        << check.toStdString();
    ASSERT_TRUE(session->press(QStringLiteral("Meta+Return")));
    EXPECT_FALSE(eventually([&] { return !panel().isEmpty(); }, 700)) << "Mosaro took KDE's shortcut";
}

// Two of the three dismissals, from the session script's signals: another window taking the
// keyboard, and a switch to another desktop. The window stays where it was.
TEST_P(MosaroOnKWin, TheDesktopsEventsDismissTheGrid)
{
    ASSERT_NO_FATAL_FAILURE(start(0));
    if (IsSkipped())
        return;
    const QString kwin = QStringLiteral("org.kde.KWin");
    const auto before = session->frameOf(QStringLiteral("Mosaro target"));
    ASSERT_TRUE(trigger());
    ASSERT_TRUE(session->startWindow(QStringLiteral("Mosaro other")));
    EXPECT_TRUE(panelGone());
    EXPECT_TRUE(app->waitForLog(QStringLiteral("overlay dismiss"), 1));

    ASSERT_TRUE(session
                    ->call(kwin, QStringLiteral("/VirtualDesktopManager"),
                           QStringLiteral("org.kde.KWin.VirtualDesktopManager"), QStringLiteral("createDesktop"),
                           {1u, QStringLiteral("Two")})
                    .isValid());
    ASSERT_TRUE(trigger());
    ASSERT_TRUE(session->call(kwin, QStringLiteral("/KWin"), kwin, QStringLiteral("setCurrentDesktop"), {2}).isValid());
    EXPECT_TRUE(panelGone());
    EXPECT_TRUE(app->waitForLog(QStringLiteral("overlay dismiss"), 2));
    EXPECT_EQ(session->frameOf(QStringLiteral("Mosaro target")), before);
}

// The script lives as long as Mosaro: loaded at start, unloaded at exit with its shortcut entry; a
// Mosaro that died leaves it loaded, and the next start unloads it first. A trigger recorded in the
// settings window (reached by keys alone) opens the grid, the old one no longer does, and the next
// Mosaro registers the recorded one.
TEST_P(MosaroOnKWin, TheScriptLivesAsLongAsMosaroAndARecordedTriggerReplacesTheOldOne)
{
    ASSERT_NO_FATAL_FAILURE(start(0));
    if (IsSkipped())
        return;
    const auto loaded = [&] { return session->scripting(QStringLiteral("isScriptLoaded"), {sessionScript}).toBool(); };
    EXPECT_TRUE(loaded());
    QString check;
    EXPECT_EQ(app->run({QStringLiteral("--check")}, &check), 0) << check.toStdString();
    EXPECT_TRUE(check.contains(QStringLiteral("ok: compositor: KWin %1").arg(GetParam() ? "6." : "5.27")))
        << check.toStdString();
    ASSERT_EQ(app->run({}), 0); // a second start opens the settings window of the running one
    ASSERT_TRUE(eventually(
        [&] { return session->window(QStringLiteral("Mosaro Settings - General"))[QLatin1String("active")].toBool(); },
        10000));
    // The window may take a moment to give its tab bar the keyboard: asked again until it switches.
    ASSERT_TRUE(eventually(
        [&] {
            return session->press(QStringLiteral("Ctrl+Tab")) &&
                   eventually([&] { return !session->window(QStringLiteral("Mosaro Settings - Shortcuts")).isEmpty(); },
                              1000);
        },
        5000));
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(session->press(QStringLiteral("Tab")));
    ASSERT_TRUE(session->press(QStringLiteral("Space")));
    ASSERT_TRUE(session->press(QStringLiteral("Ctrl+Alt+T")));
    ASSERT_TRUE(app->waitForDefaults(QStringLiteral(R"(carbonKeyCode\":17)")));

    // Alt+F4 (evdev 62) closes the settings window under KDE's defaults; the target has the keyboard again.
    ASSERT_TRUE(session->press(QStringLiteral("Alt+62")));
    ASSERT_TRUE(eventually(
        [&] { return session->window(QStringLiteral("Mosaro target"))[QLatin1String("active")].toBool(); }, 3000));
    EXPECT_TRUE(trigger(QStringLiteral("Ctrl+Alt+T")));
    ASSERT_TRUE(session->press(QStringLiteral("Escape")));
    ASSERT_TRUE(panelGone());
    ASSERT_TRUE(session->press(QStringLiteral("Meta+Return")));
    EXPECT_FALSE(eventually([&] { return !panel().isEmpty(); }, 700)) << "the old trigger still opens the grid";

    ::kill(app->pid(), SIGKILL);
    app->waitForExit();
    EXPECT_TRUE(loaded()) << "nothing was left to unload";
    app = std::make_unique<MosaroProcess>(*session);
    ASSERT_TRUE(app->start()) << app->log().toStdString();
    EXPECT_EQ(app->count(QStringLiteral("unloading the KWin script an earlier Mosaro left")), 1);
    ASSERT_TRUE(trigger(QStringLiteral("Ctrl+Alt+T")));
    ASSERT_TRUE(session->press(QStringLiteral("Escape")));
    EXPECT_TRUE(panelGone());

    app->stop();
    EXPECT_FALSE(loaded());
    const QStringList names =
        session
            ->call(QStringLiteral("org.kde.kglobalaccel"), QStringLiteral("/component/kwin"),
                   QStringLiteral("org.kde.kglobalaccel.Component"), QStringLiteral("shortcutNames"))
            .toStringList();
    EXPECT_FALSE(names.join(QLatin1Char(',')).contains(QLatin1String("Mosaro"))) << names.join(',').toStdString();
}

INSTANTIATE_TEST_SUITE_P(KWin, MosaroOnKWin, ::testing::Bool(), [](const ::testing::TestParamInfo<bool>& row) {
    return row.param ? "kwin_6_3" : "kwin_5_27";
});

} // namespace
