// The real Mosaro on a real headless GNOME Shell through its extension: keys typed through mutter's
// remote-desktop interface, windows and monitors read by the tests' own probe extension. Every
// scenario runs on Debian 12's GNOME Shell 43 and on the Debian 13 root's 48.
#include "Platform/Geometry.h"
#include "support/wayland/GnomeSession.h"
#include "support/wayland/MosaroProcess.h"
#include "support/wayland/SessionProcesses.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <string_view>

using namespace mosaro;
using namespace mosaro::test;

namespace {

const QString panelTitle = QStringLiteral("Mosaro overlay");
const QString targetTitle = QStringLiteral("mosaro-target");

struct Compositor {
    const char* name;
    bool root;
};
[[maybe_unused]] void PrintTo( // NOLINT(readability-identifier-naming)
    const Compositor& compositor, std::ostream* out)
{
    *out << compositor.name;
}

Rect workArea(const QVariantMap& monitor)
{
    const auto v = [&](const char* key) { return monitor.value(QLatin1String(key)).toDouble(); };
    return {v("workX"), v("workY"), v("workWidth"), v("workHeight")};
}

class MosaroOnGnome : public ::testing::TestWithParam<Compositor> {
protected:
    // A Shell with a terminal focused, and Mosaro when asked; preferences with this margin.
    void start(GnomeSession::Options options = {}, bool withMosaro = true, int margin = 0)
    {
        options.root = GetParam().root;
        const QString rootDir = qEnvironmentVariable("MOSARO_WAYLAND_ROOT_DIR", QStringLiteral(MOSARO_DEBIAN_ROOT_DIR));
        // A Shell missing here is one line and a skip on a developer's machine, a failure in CI.
        if (!QFile::exists(options.root ? rootDir + QStringLiteral("/trixie/usr/bin/gnome-shell")
                                        : QStandardPaths::findExecutable(QStringLiteral("gnome-shell")))) {
            const char* why = options.root ? "the Debian 13 root has no GNOME Shell (debian-root.sh ensure)"
                                           : "no gnome-shell on this system (make run installs packages.txt)";
            if (qEnvironmentVariable("CI") == QLatin1String("true"))
                FAIL() << why;
            GTEST_SKIP() << why;
        }
        session.reset();
        session = std::make_unique<GnomeSession>(options);
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        // Without user extensions the probe is off too: nothing to see a terminal with.
        if (options.userExtensions) {
            ASSERT_TRUE(session->startFoot(targetTitle)) << "no terminal";
        }
        const QString data = session->home() + QStringLiteral("/.local/share/Mosaro");
        QDir().mkpath(data);
        QFile preferences(data + QStringLiteral("/preferences.json"));
        ASSERT_TRUE(preferences.open(QIODevice::WriteOnly));
        preferences.write(QStringLiteral(R"({"analyticsOptIn": false, "proSettings": {"globalGrid": {"columns": 3,
            "rows": 2}, "margin": %1, "perDisplayGrids": {"overrides": {}}, "perDisplayMode": false},
            "schemaVersion": 2, "showInDockIcon": false})")
                              .arg(margin)
                              .toUtf8());
        preferences.close();
        app = std::make_unique<MosaroProcess>(*session);
        ASSERT_TRUE(!withMosaro || app->start()) << app->log().toStdString();
    }
    // Until the window of that title has the state ("focused", "maximized").
    bool has(const QString& title, const char* state, int ms = 5000)
    {
        return eventually(
            [&] {
                const auto window = session->window(title);
                return window && window->value(QLatin1String(state)).toBool();
            },
            ms);
    }
    bool panelGone()
    {
        return eventually(
            [&] {
                const auto panel = session->window(panelTitle);
                return !panel || !panel->value(QStringLiteral("shown")).toBool();
            },
            5000);
    }
    bool trigger(const QString& keys = QStringLiteral("Super+Return"))
    {
        return session->press(keys) && has(panelTitle, "focused");
    }
    bool frameIs(const Rect& frame)
    {
        return eventually([&] { return session->frameOf(targetTitle) == frame; }, 3000);
    }
    void TearDown() override
    {
        if (HasFailure() && app)
            std::fprintf(stderr, "%s\n", qPrintable(app->log().right(4000)));
    }

    std::unique_ptr<GnomeSession> session;
    std::unique_ptr<MosaroProcess> app;
};

// The grid's frames (3 x 2) over the work area below the top bar, without and with a margin: the
// centre cell, a move to a cell of another size, a maximized window placed, Escape leaving the
// window alone. MOSARO_SCREENSHOT_DIR keeps a picture of the panel (the README's).
TEST_P(MosaroOnGnome, PlacesWindowsOnTheGridsFrames)
{
    struct Step {
        const char* keys; // typed between the trigger and Return; "Escape" ends the showing instead
        Rect frame;       // the Shell's coordinates: the work area starts below the 32 px top bar
        bool maximizeFirst = false;
    };
    struct Row {
        int margin;
        std::vector<Step> steps;
    };
    const Row rows[] = {
        {0,
         {{"", {480, 466, 480, 434}},
          {"Up Shift+Right", {480, 32, 960, 434}},
          {"Escape", {480, 32, 960, 434}},
          {"", {480, 466, 480, 434}, true}}},
        {10, {{"", {488, 471, 464, 419}}, {"Left Up Shift+Right Shift+Right Shift+Down", {10, 42, 1420, 848}}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.margin);
        ASSERT_NO_FATAL_FAILURE(start({}, true, row.margin));
        if (IsSkipped())
            return;
        for (const Step& step : row.steps) {
            SCOPED_TRACE(step.keys);
            if (step.maximizeFirst) {
                ASSERT_TRUE(session->press(QStringLiteral("Super+Up")));
                ASSERT_TRUE(has(targetTitle, "maximized", 3000));
            }
            ASSERT_TRUE(trigger()) << "no panel";
            if (row.margin == 10 && step.keys == std::string_view()) {
                if (const QString dir = qEnvironmentVariable("MOSARO_SCREENSHOT_DIR"); !dir.isEmpty()) {
                    EXPECT_TRUE(session->screenshot(
                        dir + QStringLiteral("/overlay-gnome-%1.png").arg(QString::fromLatin1(GetParam().name))));
                }
            }
            const QString keys = QString::fromLatin1(step.keys);
            for (const QString& key : keys.split(QLatin1Char(' '), Qt::SkipEmptyParts))
                ASSERT_TRUE(session->press(key));
            if (keys != QLatin1String("Escape")) {
                ASSERT_TRUE(session->press(QStringLiteral("Return")));
            }
            EXPECT_TRUE(panelGone());
            EXPECT_TRUE(frameIs(step.frame)) << describe(*session->frameOf(targetTitle)).toStdString() << " wanted "
                                             << describe(step.frame).toStdString();
            EXPECT_FALSE(session->window(targetTitle)->value(QStringLiteral("maximized")).toBool());
            // The keyboard is back with the window.
            EXPECT_TRUE(has(targetTitle, "focused", 3000));
        }
    }
}

// GNOME binds Super+Shift+Left/Right to moving a window to the next monitor: while the panel
// holds the keyboard they reach it, and the grid jumps to the other monitor, where the window
// lands in that monitor's centre cell. A Shell that goes away ends Mosaro: one line, status 1.
TEST_P(MosaroOnGnome, TheJumpKeysReachThePanelUnderGnomesBindings)
{
    GnomeSession::Options options;
    options.monitors = 2;
    ASSERT_NO_FATAL_FAILURE(start(options));
    if (IsSkipped())
        return;
    const auto monitors = session->monitors();
    ASSERT_EQ(monitors.size(), 2u);
    const int from = session->window(targetTitle)->value(QStringLiteral("monitor")).toInt();
    const QVariantMap& other = monitors[from == 0 ? 1 : 0];
    const bool otherIsRight =
        other.value(QStringLiteral("x")).toInt() > monitors[std::size_t(from)].value(QStringLiteral("x")).toInt();
    ASSERT_TRUE(trigger());
    ASSERT_TRUE(
        session->press(otherIsRight ? QStringLiteral("Super+Shift+Right") : QStringLiteral("Super+Shift+Left")));
    EXPECT_TRUE(eventually([&] {
        const auto panel = session->window(panelTitle);
        return panel && panel->value(QStringLiteral("monitor")).toInt() != from &&
               panel->value(QStringLiteral("focused")).toBool();
    })) << "the panel did not move to the other monitor with the keyboard";
    EXPECT_EQ(session->window(targetTitle)->value(QStringLiteral("monitor")).toInt(), from) << "GNOME moved the window";
    ASSERT_TRUE(session->press(QStringLiteral("Return")));
    EXPECT_TRUE(panelGone());
    const Rect work = workArea(other); // its centre cell
    const Rect wanted{work.x + work.width / 3, work.y + work.height / 2, work.width / 3, work.height / 2};
    EXPECT_TRUE(frameIs(wanted)) << describe(*session->frameOf(targetTitle)).toStdString();

    session->stopShell();
    EXPECT_EQ(app->waitForExit(), 1);
    EXPECT_EQ(app->count(QStringLiteral("GNOME Shell has gone away")), 1);
}

// A trigger recorded in the settings window (reached by keys alone) is grabbed through the
// extension and opens the grid; the old one no longer does.
TEST_P(MosaroOnGnome, ARecordedTriggerReplacesTheOldOne)
{
    ASSERT_NO_FATAL_FAILURE(start());
    if (IsSkipped())
        return;
    ASSERT_EQ(app->run({}), 0); // a second start opens the settings window of the running one
    ASSERT_TRUE(has(QStringLiteral("Mosaro Settings - General"), "focused", 10000));
    // The window may get the Shell's focus a moment before Qt takes keys: the tab switch is repeated.
    ASSERT_TRUE(eventually(
        [&] {
            session->press(QStringLiteral("Control+Tab"));
            return has(QStringLiteral("Mosaro Settings - Shortcuts"), "shown", 1000);
        },
        5000));
    // Three steps of the tab order lead to the trigger's recorder, which records once it is ready.
    ASSERT_TRUE(session->press(QStringLiteral("Tab")) && session->press(QStringLiteral("Tab")) &&
                session->press(QStringLiteral("Tab")));
    ASSERT_TRUE(eventually([&] {
        return session->press(QStringLiteral("space")) && session->press(QStringLiteral("Control+Alt+y")) &&
               app->waitForDefaults(QStringLiteral(R"(carbonKeyCode\":16)"), 1500);
    }));

    // Back to the terminal, as a person would.
    ASSERT_TRUE(session->press(QStringLiteral("Alt+Tab")));
    ASSERT_TRUE(has(targetTitle, "focused", 5000));
    EXPECT_TRUE(trigger(QStringLiteral("Control+Alt+y")));
    ASSERT_TRUE(session->press(QStringLiteral("Escape")));
    ASSERT_TRUE(panelGone());
    ASSERT_TRUE(session->press(QStringLiteral("Super+Return")));
    EXPECT_FALSE(has(panelTitle, "shown", 700)) << "the old trigger still opens the grid";
}

// Each state of the extension: what --check says (the state, the help's advice, the exit status)
// and what permission the running Mosaro derives. Asking for access (the trigger while access is
// missing) installs the variant that fits the Shell; switching the extension on is seen by the
// status poll.
TEST_P(MosaroOnGnome, EachStateOfTheExtensionIsTheRightPermission)
{
    struct Row {
        const char* name;
        void (*options)(GnomeSession::Options&); // from the defaults: installed and enabled
        bool copyAfterStart;
        const char* checkLine;
        int status;
        const char* permission;
    };
    using Options = GnomeSession::Options;
    const Row rows[] = {
        {"enabled", [](Options&) {}, false, "; Mosaro's extension: enabled, answering on the session bus", 0,
         "granted"},
        {"not installed", [](Options& o) { o.installMosaro = false; }, false,
         "; Mosaro's extension: not installed. Click \"Install GNOME Shell Extension\"", 1, "notDetermined"},
        {"disabled", [](Options& o) { o.enableMosaro = false; }, false,
         "; Mosaro's extension: installed but disabled. Switch \"Mosaro\" on in GNOME's Extensions app", 1,
         "notDetermined"},
        {"user extensions off", [](Options& o) { o.userExtensions = false; }, false,
         "; Mosaro's extension: user extensions switched off. GNOME runs no extension of yours", 1, "notDetermined"},
        {"another version", [](Options& o) { o.mosaroVersion = QStringLiteral("0.0.9"); }, false,
         "; Mosaro's extension: another version. The extension installed is another Mosaro's", 1, "notDetermined"},
        {"waiting for a log-in", [](Options& o) { o.installMosaro = false; }, true,
         "; Mosaro's extension: installed, waiting for a log-in. The extension is installed and switched on", 1,
         "notDetermined"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Options options;
        row.options(options);
        ASSERT_NO_FATAL_FAILURE(start(options, false));
        if (IsSkipped())
            return;
        const QString variant = session->shellMajor() < 45 ? QStringLiteral("script") : QStringLiteral("module");
        if (row.copyAfterStart) {
            ASSERT_TRUE(session->installMosaro());
        }
        QString output;
        const int status = app->run({QStringLiteral("--check")}, &output);
        EXPECT_TRUE(output.contains(QStringLiteral("compositor: GNOME Shell ") + session->shellVersion() +
                                    QString::fromUtf8(row.checkLine)))
            << output.toStdString();
        EXPECT_EQ(status, row.status) << output.toStdString();
        ASSERT_TRUE(app->start()) << app->log().toStdString();
        EXPECT_TRUE(app->waitForLog(QStringLiteral("permission state → ") + QLatin1String(row.permission)));
        if (QLatin1String(row.name) == QLatin1String("not installed")) {
            // Asking for access installs the variant of this Shell and enables it for the next log-in.
            ASSERT_EQ(app->run({QStringLiteral("--trigger")}), 0);
            ASSERT_TRUE(eventually(
                [&] { return QFile::exists(session->extensionFolder() + QStringLiteral("/metadata.json")); }, 5000));
            QFile entry(session->extensionFolder() + QStringLiteral("/extension.js"));
            ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
            EXPECT_EQ(entry.readAll().contains("export default class"), variant == QLatin1String("module"));
            QString enabled;
            EXPECT_TRUE(eventually(
                [&] {
                    session->gsettings({QStringLiteral("get"), QStringLiteral("org.gnome.shell"),
                                        QStringLiteral("enabled-extensions")},
                                       &enabled);
                    return enabled.contains(QStringLiteral("mosaro@brenmark.tech"));
                },
                3000))
                << enabled.toStdString();
            app->run({QStringLiteral("--check")}, &output);
            EXPECT_TRUE(output.contains(QStringLiteral("installed, waiting for a log-in")));
        }
        if (QLatin1String(row.name) == QLatin1String("disabled")) {
            // Switched on in GNOME's Extensions app: the status poll sees it within its period.
            ASSERT_TRUE(session->gsettings({QStringLiteral("set"), QStringLiteral("org.gnome.shell"),
                                            QStringLiteral("enabled-extensions"),
                                            QStringLiteral("['mosaro-probe@brenmark.tech', 'mosaro@brenmark.tech']")}));
            EXPECT_TRUE(app->waitForLog(QStringLiteral("permission state → granted"), 1, 6000));
        }
        app->stop();
    }
}

INSTANTIATE_TEST_SUITE_P(Gnome, MosaroOnGnome,
                         ::testing::Values(Compositor{"gnome_43", false}, Compositor{"gnome_48", true}),
                         [](const ::testing::TestParamInfo<Compositor>& row) { return std::string(row.param.name); });

} // namespace
