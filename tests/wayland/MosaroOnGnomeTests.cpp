// The real Mosaro on a real headless GNOME Shell through its extension: keys typed through mutter's
// remote-desktop interface, windows and monitors read by the tests' own probe extension. Every
// scenario runs on Debian 12's GNOME Shell 43 and on the Debian 13 root's 48.
#include "Platform/Geometry.h"
#include "support/wayland/GnomeSession.h"
#include "support/wayland/MosaroProcess.h"
#include "support/wayland/SessionProcesses.h"

#include <QDir>
#include <QFile>
#include <QImage>

#include <gtest/gtest.h>

#include <cmath>

using namespace mosaro;
using namespace mosaro::test;

namespace {

const QString panelTitle = QStringLiteral("Mosaro overlay");
const QString targetTitle = QStringLiteral("mosaro-target");

struct Compositor {
    const char* name;
    bool root;
};
[[maybe_unused]] void PrintTo(const Compositor& compositor, std::ostream* out)
{
    *out << compositor.name;
}

// A region's frame by the grid's rule, over a work area given top-down (the Shell's coordinates):
// cell edges rounded from the inner rectangle's bottom-left, half margins between regions.
Rect gridFrame(const Rect& work, int columns, int rows, int margin, int minCol, int maxCol, int minRow, int maxRow)
{
    const double innerW = work.width - 2 * margin;
    const double innerH = work.height - 2 * margin;
    const double cw = innerW / columns;
    const double ch = innerH / rows;
    const double half = margin * 0.5;
    const double left = std::round(cw * minCol) + (minCol == 0 ? 0 : half);
    const double right = std::round(cw * (maxCol + 1)) - (maxCol == columns - 1 ? 0 : half);
    const double bottom = std::round(ch * (rows - 1 - maxRow)) + (maxRow == rows - 1 ? 0 : half);
    const double top = std::round(ch * (rows - minRow)) - (minRow == 0 ? 0 : half);
    // Measured upward from the inner rectangle's bottom; the Shell counts downward from the top.
    return {work.x + margin + left, work.maxY() - margin - top, right - left, top - bottom};
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
        if (options.root && !QFile::exists(rootDir + QStringLiteral("/trixie/usr/bin/gnome-shell")))
            GTEST_SKIP() << "the Debian 13 root has no GNOME Shell (debian-root.sh ensure)";
        session.reset();
        session = std::make_unique<GnomeSession>(options);
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        // Without user extensions the probe is off too: nothing to see a terminal with.
        if (!options.userExtensions)
            return startMosaro(withMosaro);
        target = session->startFoot(targetTitle);
        ASSERT_TRUE(target) << "no terminal";
        startMosaro(withMosaro, margin);
    }
    void startMosaro(bool run, int margin = 0)
    {
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
        if (run) {
            ASSERT_TRUE(app->start()) << app->log().toStdString();
        }
    }
    // Until the window of that title has the state ("focused", "maximized").
    bool has(const QString& title, const char* state, int ms = 5000)
    {
        return waitUntil(
            [&] {
                const auto window = session->window(title);
                return window && window->value(QLatin1String(state)).toBool();
            },
            ms);
    }
    bool panelGone()
    {
        return waitUntil(
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
        return waitUntil([&] { return session->frameOf(targetTitle) == frame; }, 3000);
    }
    QString check(int* status)
    {
        QString output;
        *status = app->run({QStringLiteral("--check")}, &output);
        return output;
    }
    void TearDown() override
    {
        if (HasFailure() && app)
            std::fprintf(stderr, "%s\n", qPrintable(app->log().right(4000)));
    }

    std::unique_ptr<GnomeSession> session;
    std::optional<std::uint64_t> target;
    std::unique_ptr<MosaroProcess> app;
};

// The grid's frames (3 x 2) over the work area below the top bar, without and with a margin: the
// centre cell, a move to a cell of another size, a maximized window placed, Escape leaving the
// window alone. MOSARO_SCREENSHOT_DIR keeps a picture of the panel (the README's).
TEST_P(MosaroOnGnome, PlacesWindowsOnTheGridsFrames)
{
    struct Step {
        const char* keys; // typed between the trigger and Return; "Escape" ends the showing instead
        int minCol, maxCol, minRow, maxRow;
        bool maximizeFirst = false;
    };
    struct Row {
        int margin;
        std::vector<Step> steps;
    };
    const Row rows[] = {
        {0, {{"", 1, 1, 1, 1}, {"Up Shift+Right", 1, 2, 0, 0}, {"Escape", 1, 2, 0, 0}, {"", 1, 1, 1, 1, true}}},
        {10, {{"", 1, 1, 1, 1}, {"Left Up Shift+Right Shift+Right Shift+Down", 0, 2, 0, 1}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.margin);
        ASSERT_NO_FATAL_FAILURE(start({}, true, row.margin));
        if (IsSkipped())
            return;
        const auto monitors = session->monitors();
        ASSERT_EQ(monitors.size(), 1u);
        const Rect work = workArea(monitors.front());
        EXPECT_EQ(work, (Rect{0, 32, 1440, 868})) << "the top bar is 32 px";
        for (const Step& step : row.steps) {
            SCOPED_TRACE(step.keys);
            if (step.maximizeFirst) {
                ASSERT_TRUE(session->press(QStringLiteral("Super+Up")));
                ASSERT_TRUE(has(targetTitle, "maximized", 3000));
            }
            ASSERT_TRUE(trigger()) << "no panel";
            if (row.margin == 10 && step.maxCol == 1) {
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
            const Rect wanted = gridFrame(work, 3, 2, row.margin, step.minCol, step.maxCol, step.minRow, step.maxRow);
            EXPECT_TRUE(frameIs(wanted)) << describe(*session->frameOf(targetTitle)).toStdString() << " wanted "
                                         << describe(wanted).toStdString();
            const auto window = session->window(targetTitle);
            EXPECT_FALSE(window->value(QStringLiteral("maximized")).toBool());
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
    EXPECT_TRUE(waitUntil(
        [&] {
            const auto panel = session->window(panelTitle);
            const int x = panel ? panel->value(QStringLiteral("x")).toInt() : -1;
            return panel && x >= other.value(QStringLiteral("x")).toInt() &&
                   x < other.value(QStringLiteral("x")).toInt() + other.value(QStringLiteral("width")).toInt() &&
                   panel->value(QStringLiteral("focused")).toBool();
        },
        5000))
        << "the panel did not move to the other monitor: "
        << describe(session->frameOf(panelTitle).value_or(Rect{})).toStdString() << " focused "
        << has(panelTitle, "focused", 0);
    EXPECT_EQ(session->window(targetTitle)->value(QStringLiteral("monitor")).toInt(), from) << "GNOME moved the window";
    ASSERT_TRUE(session->press(QStringLiteral("Return")));
    EXPECT_TRUE(panelGone());
    const Rect wanted = gridFrame(workArea(other), 3, 2, 0, 1, 1, 1, 1);
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
    ASSERT_TRUE(waitUntil(
        [&] {
            session->press(QStringLiteral("Control+Tab"));
            return has(QStringLiteral("Mosaro Settings - Shortcuts"), "shown", 1000);
        },
        5000));
    // Three steps of the window's tab order lead from the tab bar to the trigger's recorder.
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(session->press(QStringLiteral("Tab")));
    ASSERT_TRUE(session->press(QStringLiteral("space")));
    ASSERT_TRUE(session->press(QStringLiteral("Control+Alt+y")));
    ASSERT_TRUE(app->waitForDefaults(QStringLiteral(R"(carbonKeyCode\":16)")));

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
        GnomeSession::Options options;
        bool copyAfterStart;
        const char* checkLine;
        int status;
        const char* permission;
    };
    const auto options = [](bool install, bool enable, const char* version, bool user) {
        GnomeSession::Options o;
        o.installMosaro = install;
        o.enableMosaro = enable;
        o.mosaroVersion = QString::fromLatin1(version);
        o.userExtensions = user;
        return o;
    };
    const Row rows[] = {
        {"enabled", options(true, true, "", true), false, "; Mosaro's extension: enabled, answering on the session bus",
         0, "granted"},
        {"not installed", options(false, false, "", true), false,
         "; Mosaro's extension: not installed. Click \"Install GNOME Shell Extension\"", 1, "notDetermined"},
        {"disabled", options(true, false, "", true), false,
         "; Mosaro's extension: installed but disabled. Switch \"Mosaro\" on in GNOME's Extensions app", 1,
         "notDetermined"},
        {"user extensions off", options(true, true, "", false), false,
         "; Mosaro's extension: user extensions switched off. GNOME runs no extension of yours", 1, "notDetermined"},
        {"another version", options(true, true, "0.0.9", true), false,
         "; Mosaro's extension: another version. The extension installed is another Mosaro's", 1, "notDetermined"},
        {"waiting for a log-in", options(false, false, "", true), true,
         "; Mosaro's extension: installed, waiting for a log-in. The extension is installed and switched on", 1,
         "notDetermined"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_NO_FATAL_FAILURE(start(row.options, false));
        if (IsSkipped())
            return;
        const QString variant = session->shellMajor() < 45 ? QStringLiteral("script") : QStringLiteral("module");
        if (row.copyAfterStart) {
            ASSERT_TRUE(session->installMosaro());
        }
        int status = -1;
        const QString output = check(&status);
        EXPECT_TRUE(output.contains(QStringLiteral("compositor: GNOME Shell ") + session->shellVersion() +
                                    QString::fromUtf8(row.checkLine)))
            << output.toStdString();
        EXPECT_EQ(status, row.status) << output.toStdString();
        ASSERT_TRUE(app->start()) << app->log().toStdString();
        EXPECT_TRUE(app->waitForLog(QStringLiteral("permission state → ") + QLatin1String(row.permission)));
        if (QLatin1String(row.name) == QLatin1String("not installed")) {
            // Asking for access installs the variant of this Shell and enables it for the next log-in.
            ASSERT_EQ(app->run({QStringLiteral("--trigger")}), 0);
            ASSERT_TRUE(waitUntil(
                [&] { return QFile::exists(session->extensionFolder() + QStringLiteral("/metadata.json")); }, 5000));
            QFile entry(session->extensionFolder() + QStringLiteral("/extension.js"));
            ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
            EXPECT_EQ(entry.readAll().contains("export default class"), variant == QLatin1String("module"));
            QString enabled;
            EXPECT_TRUE(waitUntil(
                [&] {
                    session->gsettings({QStringLiteral("get"), QStringLiteral("org.gnome.shell"),
                                        QStringLiteral("enabled-extensions")},
                                       &enabled);
                    return enabled.contains(QStringLiteral("mosaro@brenmark.tech"));
                },
                3000))
                << enabled.toStdString();
            EXPECT_TRUE(check(&status).contains(QStringLiteral("installed, waiting for a log-in")));
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
