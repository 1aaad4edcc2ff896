// The real Mosaro on real headless Wayland compositors: the user's scenarios written once and run
// on each of six (sway 1.7 and 1.10, KWin 5.27 and 6.3, GNOME Shell 43 and 48: this system's and
// the Debian 13 root's), each reached through a desktop of its own (how it starts, takes keys and
// shows windows); then each compositor's own cases.
#include "App/Desktop/DesktopPlatform.h"
#include "App/Wayland/SwayPlatform.h"
#include "Diagnostics/DiagnosticsReport.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Preferences/PreferencesFile.h"
#include "Shortcuts/ShortcutConflict.h"
#include "support/ApplicationEnvironment.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSystemInfo.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/wayland/GnomeSession.h"
#include "support/wayland/KWinSession.h"
#include "support/wayland/MosaroProcess.h"
#include "support/wayland/SwaySession.h"

#include <QCoreApplication>
#include <QImage>
#include <QStandardPaths>

#include <initializer_list>
#include <utility>

#include <csignal>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

// Keys are written in GNOME's names; each desktop's own names replace them in order.
QString renamed(QString keys, std::initializer_list<std::pair<const char*, const char*>> names)
{
    for (const auto& [from, to] : names)
        keys.replace(QLatin1String(from), QLatin1String(to));
    return keys;
}

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

const QString panelTitle = QStringLiteral("Mosaro overlay");

// How a scenario wants the desktop; each compositor reads what it can give.
struct Setup {
    int bar = 0; // a bar reserving that many pixels at the top (negative: at the bottom; sway's: bottom)
    int margin = 0;
    bool maximized = false;    // the target window maximized before Mosaro places it
    bool qtWindow = false;     // sway: the target is the tests' Qt window rather than a terminal
    bool triggerTaken = false; // the desktop's configuration binds Super+Return itself
    int outputs = 1;
};
struct Step {
    const char* keys; // typed between the trigger and Return; "Escape" ends the showing instead
    Rect frame;       // the compositor's frame (y down), title bar included
};
struct Placement {
    const char* name;
    Setup setup;
    std::vector<Step> steps;
};
struct Dismissal {
    const char* name;
    std::function<bool()> prepare; // before the trigger, or none
    std::function<bool()> dismiss;
};

// The examples' worked frames (3 x 2, no margin) on a 1440 x 900 output with a 25 px bar at the
// bottom, as sway and KWin give them: moves between cells of different sizes, Escape.
const Placement barAtTheBottom{"bar at the bottom",
                               {.bar = -25},
                               {{"Left", {0, 437, 480, 438}},
                                {"Shift+Right", {480, 437, 960, 438}},
                                {"Up", {480, 0, 480, 437}},
                                {"Escape", {480, 0, 480, 437}}}};

// One compositor under test, with a target window and the real Mosaro on it. Keys are written as
// GNOME names them ("Super+Shift+Right", "Control+Alt+y", "space"); each desktop types them its way.
class Desktop {
public:
    explicit Desktop(bool fromRoot) : root(fromRoot) {}
    virtual ~Desktop() = default;
    // The compositor with the target window focused, and Mosaro on it (when `run`).
    virtual void start(const Setup& setup, bool run = true) = 0;
    virtual CompositorSession& session() = 0;
    virtual bool press(const QString& keys) = 0;
    virtual bool shown(const QString& title) = 0;
    virtual bool focused(const QString& title) = 0;
    virtual std::optional<Rect> frame() = 0; // the target's
    virtual bool targetFocused() = 0;
    // The output the focused panel is on: 0 the target's, 1 the other; -1 when it is not focused.
    virtual int panelOutput() = 0;
    // The target's frame after a jump and Return: the other output's centre cell.
    virtual Rect jumped() = 0;
    virtual QString goneLine() const = 0;
    virtual QString refusalLine() const { return {}; }
    virtual std::vector<Placement> placements() = 0;
    virtual std::vector<Dismissal> dismissals() = 0;
    // From the settings window back to the target, as a person would on that desktop.
    virtual bool backToTarget() = 0;
    virtual void checkPanel(const Setup&) {} // with the panel up during a placement
    virtual bool placed() { return true; }
    virtual bool maximized() { return false; }

    virtual bool trigger(const QString& keys = QStringLiteral("Super+Return"))
    {
        return press(keys) && eventually([&] { return focused(panelTitle); });
    }
    bool panelGone()
    {
        return eventually([&] { return !shown(panelTitle); });
    }
    bool frameIs(const Rect& frame)
    {
        return eventually([&] { return this->frame() == frame; }, 3000);
    }

    QString name;
    bool root;
    bool otherIsRight = true;
    std::unique_ptr<MosaroProcess> app;

    void startMosaro(bool run)
    {
        app = std::make_unique<MosaroProcess>(session());
        ASSERT_TRUE(!run || app->start()) << app->log().toStdString();
    }

protected:
    // A compositor missing here is one line and a skip on a developer's machine, a failure in CI.
    void skipUnless(const QString& program)
    {
        const QString rootDir = qEnvironmentVariable("MOSARO_WAYLAND_ROOT_DIR", QStringLiteral(MOSARO_DEBIAN_ROOT_DIR));
        if (QFile::exists(root ? rootDir + QStringLiteral("/trixie") + program
                               : QStandardPaths::findExecutable(QFileInfo(program).fileName())))
            return;
        const std::string why = "no " + program.toStdString() + (root ? " in the Debian 13 root" : " here") +
                                " (debian-root.sh ensure; make run installs packages.txt)";
        if (qEnvironmentVariable("CI") == QLatin1String("true"))
            FAIL() << why;
        GTEST_SKIP() << why;
    }
};

// sway: keys through wtype, windows from sway's tree.
class SwayDesktop final : public Desktop {
public:
    using Desktop::Desktop;
    void start(const Setup& setup, bool run = true) override
    {
        ASSERT_NO_FATAL_FAILURE(skipUnless(QStringLiteral("/usr/bin/sway")));
        if (::testing::Test::IsSkipped())
            return;
        SwaySession::Options options;
        options.root = root;
        options.debianDefaults = setup.triggerTaken;
        if (setup.bar != 0)
            options.config = QStringLiteral("bar {\n position bottom\n height %1\n}").arg(std::abs(setup.bar));
        // Debian's bindings of the jump keys.
        if (setup.outputs > 1)
            options.config = QStringLiteral("bindsym Mod4+Shift+Right move right\nbindsym Mod4+Shift+Left move left");
        app.reset();
        sway.reset();
        sway = std::make_unique<SwaySession>(options);
        ASSERT_TRUE(sway->ok()) << sway->error().toStdString();
        target = sway->startFoot(QStringLiteral("mosaro-target"));
        ASSERT_TRUE(target);
        ASSERT_NO_FATAL_FAILURE(startMosaro(run));
        if (setup.qtWindow)
            target = sway->startQtWindow(QStringLiteral("mosaro-qt"));
        ASSERT_TRUE(target);
        ASSERT_TRUE(setup.outputs == 1 || (sway->addOutput() && focusTarget()));
    }
    CompositorSession& session() override { return *sway; }
    bool press(const QString& keys) override
    {
        return sway->press(renamed(keys, {{"Super", "logo"}, {"Shift", "shift"}, {"Control", "ctrl"}, {"Alt", "alt"}}));
    }
    bool shown(const QString& title) override { return node(title)[QLatin1String("visible")].toBool(); }
    bool focused(const QString& title) override { return node(title)[QLatin1String("focused")].toBool(); }
    std::optional<Rect> frame() override { return sway->frameOf(target->id); }
    bool targetFocused() override { return sway->container(target->id)[QLatin1String("focused")].toBool(); }
    int panelOutput() override
    {
        return focused(panelTitle) ? node(panelTitle)[QLatin1String("rect")][QLatin1String("x")].toInt() >= 1440 : -1;
    }
    Rect jumped() override { return {2080, 540, 640, 540}; } // the second output: 1920 x 1080
    QString goneLine() const override { return QStringLiteral("has gone away"); }
    QString refusalLine() const override { return QStringLiteral("sway already binds Mod4+Return to \"exec foot\""); }
    // The worked frames with a bar and without one, a tiled terminal placed (made floating) and a
    // Qt window.
    std::vector<Placement> placements() override
    {
        return {barAtTheBottom,
                {"no bar, a Qt window", {.qtWindow = true}, {{"", {480, 450, 480, 450}}, {"Up", {480, 0, 480, 450}}}}};
    }
    std::vector<Dismissal> dismissals() override
    {
        const auto other = sway->startFoot(QStringLiteral("mosaro-other"));
        EXPECT_TRUE(other);
        const auto run = [this](const QString& command) { return [this, command] { return sway->command(command); }; };
        const auto refocus = [this] { return focusTarget(); };
        return {{"the focus taken away", refocus, run(QStringLiteral("[con_id=%1] focus").arg(other ? other->id : 0))},
                {"a workspace switch", refocus, run(QStringLiteral("workspace 2"))},
                {"an output added", refocus, run(QStringLiteral("create_output"))}};
    }
    bool backToTarget() override { return focusTarget(); }
    bool placed() override
    {
        return sway->container(target->id)[QLatin1String("type")].toString() == QLatin1String("floating_con");
    }
    // Ready once Mosaro has placed its panel too: that command gives it the focus again, and would
    // take it back from a change the test makes before it.
    bool trigger(const QString& keys = QStringLiteral("Super+Return")) override
    {
        const int placed = app->count(QStringLiteral("sway placed the panel"));
        return press(keys) && app->waitForLog(QStringLiteral("sway placed the panel"), placed + 1) &&
               eventually([&] { return focused(panelTitle); });
    }
    QJsonObject node(const QString& title) { return sway->find(QStringLiteral("name"), title); }
    bool focusTarget() { return sway->command(QStringLiteral("workspace 1; [con_id=%1] focus").arg(target->id)); }

    std::unique_ptr<SwaySession> sway;
    std::optional<SwaySession::Window> target;
};

// KWin: keys through its fake input, windows from the tests' read-only script.
class KWinDesktop final : public Desktop {
public:
    using Desktop::Desktop;
    void start(const Setup& setup, bool run = true) override
    {
        ASSERT_NO_FATAL_FAILURE(
            skipUnless(root ? QStringLiteral("/usr/local/bin/kwin_wayland") : QStringLiteral("/usr/bin/kwin_wayland")));
        if (::testing::Test::IsSkipped())
            return;
        m_maximized = setup.maximized;
        const KWinSession::Options options{
            setup.outputs, root,
            setup.triggerTaken ? QStringLiteral("[kwin]\nShow Desktop=Meta+Return,Meta+D,Peek at Desktop\n")
                               : QString()};
        app.reset();
        kwin.reset();
        kwin = std::make_unique<KWinSession>(options);
        ASSERT_TRUE(kwin->ok()) << kwin->error().toStdString();
        ASSERT_TRUE(setup.bar == 0 || kwin->startBar(std::abs(setup.bar), setup.bar > 0));
        ASSERT_TRUE(kwin->startWindow(
            targetTitle, QStringList{QStringLiteral("700x500")} +
                             (setup.maximized ? QStringList{QStringLiteral("maximized")} : QStringList{})));
        if (setup.margin != 0) {
            Preferences prefs;
            prefs.proSettings.margin = setup.margin;
            const QString data = kwin->runtimeDirectory() + QStringLiteral("/../mosaro/.local/share");
            ASSERT_TRUE(savePreferences(prefs, data + QStringLiteral("/Mosaro/preferences.json")));
            QProcess::execute(QStringLiteral("chown"), {QStringLiteral("-R"), unprivilegedOwner, data});
        }
        ASSERT_NO_FATAL_FAILURE(startMosaro(run));
    }
    CompositorSession& session() override { return *kwin; }
    bool press(const QString& keys) override
    {
        return kwin->press(renamed(keys, {{"Super", "Meta"}, {"Control", "Ctrl"}, {"space", "Space"}, {"+y", "+Y"}}));
    }
    bool shown(const QString& title) override { return !kwin->window(title).isEmpty(); }
    bool focused(const QString& title) override { return kwin->window(title)[QLatin1String("active")].toBool(); }
    std::optional<Rect> frame() override { return kwin->frameOf(targetTitle); }
    bool targetFocused() override { return focused(targetTitle); }
    int panelOutput() override
    {
        const double x = rectOf(kwin->window(panelTitle)[QLatin1String("frame")]).x;
        return !focused(panelTitle) ? -1 : (x == 1440 ? 1 : (x == 0 ? 0 : -1));
    }
    Rect jumped() override { return {1920, 450, 480, 450}; }
    QString goneLine() const override { return QStringLiteral("KWin has left the session bus"); }
    QString refusalLine() const override { return QStringLiteral("KDE already binds Meta+Return to "); }
    // The worked frames from the area KWin reports beside a bar, with margins 0 and 10; a 40 px
    // bar at the top over a maximized window.
    std::vector<Placement> placements() override
    {
        return {barAtTheBottom,
                {"margin 10", {.bar = -25, .margin = 10}, {{"", {488, 442, 464, 423}}, {"Left", {10, 442, 468, 423}}}},
                {"maximized under a bar at the top",
                 {.bar = 40, .maximized = true},
                 {{"", {480, 470, 480, 430}}, {"Up", {480, 40, 480, 430}}}}};
    }
    std::vector<Dismissal> dismissals() override
    {
        const QString service = QStringLiteral("org.kde.KWin");
        const auto createDesktop = [this, service] {
            return kwin
                ->call(service, QStringLiteral("/VirtualDesktopManager"),
                       QStringLiteral("org.kde.KWin.VirtualDesktopManager"), QStringLiteral("createDesktop"),
                       {1u, QStringLiteral("Two")})
                .isValid();
        };
        const auto switchDesktop = [this, service] {
            return kwin->call(service, QStringLiteral("/KWin"), service, QStringLiteral("setCurrentDesktop"), {2})
                .isValid();
        };
        return {{"another window taking the keyboard", nullptr,
                 [this] { return kwin->startWindow(QStringLiteral("Mosaro other")); }},
                {"a switch to another desktop", createDesktop, switchDesktop}};
    }
    // Alt+F4 (evdev 62) closes the settings window under KDE's defaults.
    bool backToTarget() override
    {
        return kwin->press(QStringLiteral("Alt+62")) && eventually([&] { return targetFocused(); }, 3000);
    }
    // The panel over the area KWin leaves beside the bar, above everything, borderless.
    void checkPanel(const Setup& setup) override
    {
        const Rect area{0, double(std::max(setup.bar, 0)), 1440, double(900 - std::abs(setup.bar))};
        EXPECT_EQ(rectOf(kwin->report()[QLatin1String("outputs")][0][QLatin1String("placement")]), area);
        const QJsonObject panel = kwin->window(panelTitle);
        EXPECT_EQ(rectOf(panel[QLatin1String("frame")]), area);
        EXPECT_TRUE(panel[QLatin1String("keepAbove")].toBool() && panel[QLatin1String("noBorder")].toBool());
    }
    bool maximized() override
    {
        return m_maximized &&
               !kwin->log(QStringLiteral("mosaro_wayland_client")).contains(QLatin1String("state normal"));
    }

    const QString targetTitle = QStringLiteral("Mosaro target");
    std::unique_ptr<KWinSession> kwin;

private:
    bool m_maximized = false;
};

// GNOME Shell: keys through mutter's remote desktop, windows and monitors from the tests' probe.
class GnomeDesktop final : public Desktop {
public:
    using Desktop::Desktop;
    void start(const Setup& setup, bool run = true) override { start(setup, {}, run); }
    // With Mosaro's extension as `options` has it.
    void start(const Setup& setup, GnomeSession::Options options, bool run)
    {
        ASSERT_NO_FATAL_FAILURE(skipUnless(QStringLiteral("/usr/bin/gnome-shell")));
        if (::testing::Test::IsSkipped())
            return;
        options.root = root;
        options.monitors = setup.outputs;
        app.reset();
        gnome.reset();
        gnome = std::make_unique<GnomeSession>(options);
        ASSERT_TRUE(gnome->ok()) << gnome->error().toStdString();
        // Without user extensions the probe is off too: nothing to see a terminal with.
        ASSERT_TRUE(!options.userExtensions || gnome->startFoot(targetTitle)) << "no terminal";
        Preferences prefs;
        prefs.proSettings.margin = setup.margin;
        ASSERT_TRUE(savePreferences(prefs, gnome->home() + QStringLiteral("/.local/share/Mosaro/preferences.json")));
        ASSERT_TRUE(!setup.maximized ||
                    (press(QStringLiteral("Super+Up")) && eventually([&] { return maximized(); }, 3000)));
        if (setup.outputs > 1) {
            const auto monitors = gnome->monitors();
            ASSERT_EQ(monitors.size(), 2u);
            m_from = value(targetTitle, "monitor").toInt();
            otherIsRight = monitors[m_from == 0 ? 1 : 0][QStringLiteral("x")].toInt() >
                           monitors[std::size_t(m_from)][QStringLiteral("x")].toInt();
        }
        ASSERT_NO_FATAL_FAILURE(startMosaro(run));
    }
    CompositorSession& session() override { return *gnome; }
    bool press(const QString& keys) override { return gnome->press(keys); }
    bool shown(const QString& title) override { return value(title, "shown").toBool(); }
    bool focused(const QString& title) override { return value(title, "focused").toBool(); }
    std::optional<Rect> frame() override { return gnome->frameOf(targetTitle); }
    bool targetFocused() override { return focused(targetTitle); }
    int panelOutput() override { return focused(panelTitle) ? value(panelTitle, "monitor").toInt() != m_from : -1; }
    Rect jumped() override
    {
        const QVariantMap monitor = gnome->monitors().at(m_from == 0 ? 1 : 0);
        const auto v = [&](const char* key) { return monitor.value(QLatin1String(key)).toDouble(); };
        return {v("workX") + v("workWidth") / 3, v("workY") + v("workHeight") / 2, v("workWidth") / 3,
                v("workHeight") / 2};
    }
    QString goneLine() const override { return QStringLiteral("GNOME Shell has gone away"); }
    // The grid's frames (3 x 2) over the work area below the 32 px top bar, without and with a
    // margin: the centre cell, a move to a cell of another size, a maximized window placed.
    std::vector<Placement> placements() override
    {
        return {
            {"margin 0",
             {},
             {{"", {480, 466, 480, 434}}, {"Up Shift+Right", {480, 32, 960, 434}}, {"Escape", {480, 32, 960, 434}}}},
            {"maximized", {.maximized = true}, {{"", {480, 466, 480, 434}}}},
            {"margin 10",
             {.margin = 10},
             {{"", {488, 471, 464, 419}}, {"Left Up Shift+Right Shift+Right Shift+Down", {10, 42, 1420, 848}}}}};
    }
    std::vector<Dismissal> dismissals() override
    {
        EXPECT_TRUE(gnome->startFoot(QStringLiteral("mosaro-other")));
        return {{"another window taking the keyboard", [this] { return gnome->activate(targetTitle); },
                 [this] { return gnome->activate(QStringLiteral("mosaro-other")); }}};
    }
    bool backToTarget() override
    {
        return press(QStringLiteral("Alt+Tab")) && eventually([&] { return targetFocused(); });
    }
    // MOSARO_SCREENSHOT_DIR keeps a picture of the panel (the README's).
    void checkPanel(const Setup& setup) override
    {
        if (const QString dir = qEnvironmentVariable("MOSARO_SCREENSHOT_DIR"); !dir.isEmpty() && setup.margin == 10) {
            EXPECT_TRUE(gnome->screenshot(dir + QStringLiteral("/overlay-gnome-%1.png").arg(name)));
        }
    }
    bool maximized() override { return value(targetTitle, "maximized").toBool(); }
    // A field of the probe's record of the window with that title.
    QVariant value(const QString& title, const char* key)
    {
        const auto window = gnome->window(title);
        return window ? window->value(QLatin1String(key)) : QVariant();
    }

    const QString targetTitle = QStringLiteral("mosaro-target");
    std::unique_ptr<GnomeSession> gnome;

private:
    int m_from = 0; // the target's monitor
};

// A test run on the desktops its rows name: "Sway17", "Sway110", "KWin527", "KWin63", "Gnome43",
// "Gnome48" (the second of each from the Debian 13 root), or on one compositor's when `D` is one.
template <class D = Desktop>
class OnDesktop : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        const std::string& row = GetParam();
        const bool root = row.ends_with("110") || row.ends_with("63") || row.ends_with("48");
        if constexpr (!std::is_same_v<D, Desktop>)
            d = std::make_unique<D>(root);
        else if (row.starts_with("Sway"))
            d = std::make_unique<SwayDesktop>(root);
        else if (row.starts_with("KWin"))
            d = std::make_unique<KWinDesktop>(root);
        else
            d = std::make_unique<GnomeDesktop>(root);
        d->name = QString::fromStdString(row);
    }
    void TearDown() override
    {
        if (HasFailure() && d->app)
            std::fprintf(stderr, "%s\n", qPrintable(d->app->log().right(4000)));
    }
    std::unique_ptr<D> d;
};
std::string rowName(const ::testing::TestParamInfo<std::string>& row)
{
    return row.param;
}

using MosaroOnWayland = OnDesktop<>;

// The grid's worked frames: moves between cells of different sizes, a maximized window placed,
// Escape leaving the window where it is; the keyboard back with the window each time.
TEST_P(MosaroOnWayland, PlacesWindowsOnTheWorkedFrames)
{
    const auto rows = d->placements();
    ASSERT_GE(rows.size(), 2u);
    for (const Placement& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_NO_FATAL_FAILURE(d->start(row.setup));
        if (IsSkipped())
            return;
        for (const Step& step : row.steps) {
            SCOPED_TRACE(step.keys);
            ASSERT_TRUE(d->trigger()) << "no panel";
            d->checkPanel(row.setup);
            const QString keys = QString::fromLatin1(step.keys);
            for (const QString& key : keys.split(QLatin1Char(' '), Qt::SkipEmptyParts))
                ASSERT_TRUE(d->press(key));
            ASSERT_TRUE(keys == QLatin1String("Escape") || d->press(QStringLiteral("Return")));
            EXPECT_TRUE(d->panelGone());
            EXPECT_TRUE(d->frameIs(step.frame)) << describe(d->frame().value_or(Rect{})).toStdString();
            EXPECT_TRUE(d->placed());
            EXPECT_FALSE(d->maximized());
            EXPECT_TRUE(eventually([&] { return d->targetFocused(); }, 3000)) << "the keyboard is not back";
        }
    }
}

// The desktop binds Super+Shift+Left/Right to moving a window to the next output: while the panel
// holds the keyboard they reach it, the grid jumps to the other output (and back, and there
// again), and the window lands in that output's centre cell. A compositor that goes away then
// ends Mosaro as a lost X display does: one line, exit status 1.
TEST_P(MosaroOnWayland, TheJumpKeysReachThePanelAndAVanishedCompositorEndsMosaro)
{
    ASSERT_NO_FATAL_FAILURE(d->start({.outputs = 2}));
    if (IsSkipped())
        return;
    const auto before = d->frame();
    ASSERT_TRUE(d->trigger());
    ASSERT_EQ(d->panelOutput(), 0);
    for (int jump = 0; jump < 3; ++jump) {
        SCOPED_TRACE(jump);
        const int to = 1 - jump % 2;
        ASSERT_TRUE(d->press((to == 1) == d->otherIsRight ? QStringLiteral("Super+Shift+Right")
                                                          : QStringLiteral("Super+Shift+Left")));
        // The desktop moving the panel itself would look the same from outside.
        EXPECT_TRUE(d->app->waitForLog(QStringLiteral("cross-display jump"), jump + 1)) << "the desktop took the key";
        EXPECT_TRUE(eventually([&] { return d->panelOutput() == to; })) << "the panel did not move with the keyboard";
    }
    EXPECT_EQ(d->frame(), before) << "the desktop moved the window";
    ASSERT_TRUE(d->press(QStringLiteral("Return")));
    EXPECT_TRUE(d->panelGone());
    EXPECT_TRUE(d->frameIs(d->jumped())) << describe(d->frame().value_or(Rect{})).toStdString();

    d->session().stopCompositor();
    EXPECT_EQ(d->app->waitForExit(), 1);
    EXPECT_EQ(d->app->count(d->goneLine()), 1);
}

// The desktop's events dismiss the grid: another window taking the keyboard, a switch of workspace
// or desktop, an output added. The window stays where it was.
TEST_P(MosaroOnWayland, TheDesktopsEventsDismissTheGrid)
{
    ASSERT_NO_FATAL_FAILURE(d->start({}));
    if (IsSkipped())
        return;
    const auto rows = d->dismissals();
    const auto before = d->frame();
    ASSERT_FALSE(rows.empty());
    int dismissed = 0;
    for (const Dismissal& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(!row.prepare || row.prepare());
        ASSERT_TRUE(d->trigger());
        ASSERT_TRUE(row.dismiss());
        EXPECT_TRUE(d->panelGone());
        EXPECT_TRUE(d->app->waitForLog(QStringLiteral("overlay dismiss"), ++dismissed));
        EXPECT_EQ(d->frame(), before);
    }
}

// A trigger recorded in the settings window (reached by keys alone) opens the grid; the old one no
// longer does.
TEST_P(MosaroOnWayland, ARecordedTriggerReplacesTheOldOne)
{
    ASSERT_NO_FATAL_FAILURE(d->start({}));
    if (IsSkipped())
        return;
    ASSERT_EQ(d->app->run({}), 0); // a second start opens the settings window of the running one
    ASSERT_TRUE(eventually([&] { return d->focused(QStringLiteral("Mosaro Settings - General")); }, 10000));
    // The window may get the focus a moment before Qt takes keys: the tab switch is repeated.
    ASSERT_TRUE(eventually(
        [&] {
            return d->press(QStringLiteral("Control+Tab")) &&
                   eventually([&] { return d->shown(QStringLiteral("Mosaro Settings - Shortcuts")); }, 1000);
        },
        5000));
    // Three steps of the tab order lead to the trigger's recorder, which records once it is ready.
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(d->press(QStringLiteral("Tab")));
    ASSERT_TRUE(eventually([&] {
        return d->press(QStringLiteral("space")) && d->press(QStringLiteral("Control+Alt+y")) &&
               d->app->waitForDefaults(QStringLiteral(R"(carbonKeyCode\":16)"), 1500);
    }));

    ASSERT_TRUE(d->backToTarget());
    EXPECT_TRUE(d->trigger(QStringLiteral("Control+Alt+y")));
    ASSERT_TRUE(d->press(QStringLiteral("Escape")));
    ASSERT_TRUE(d->panelGone());
    ASSERT_TRUE(d->press(QStringLiteral("Super+Return")));
    EXPECT_FALSE(eventually([&] { return d->shown(panelTitle); }, 700)) << "the old trigger still opens the grid";
}

INSTANTIATE_TEST_SUITE_P(Wayland, MosaroOnWayland,
                         ::testing::Values("Sway17", "Sway110", "KWin527", "KWin63", "Gnome43", "Gnome48"), rowName);

// The desktop already uses the trigger: Mosaro leaves it alone and says so, in its log and in
// --check, and the desktop's binding still works.
using MosaroBesideATakenTrigger = OnDesktop<>;
TEST_P(MosaroBesideATakenTrigger, RefusesTheTriggerAndSaysSo)
{
    ASSERT_NO_FATAL_FAILURE(d->start({.triggerTaken = true}));
    if (IsSkipped())
        return;
    EXPECT_TRUE(d->app->waitForLog(d->refusalLine()));
    QString check;
    EXPECT_EQ(d->app->run({QStringLiteral("--check")}, &check), 0) << check.toStdString();
    EXPECT_TRUE(check.contains(
        QStringLiteral("warning: trigger: Super+Return is bound by the compositor's configuration to “")))
        << check.toStdString();
    ASSERT_TRUE(d->press(QStringLiteral("Super+Return")));
    EXPECT_FALSE(eventually([&] { return d->shown(panelTitle); }, 700)) << "Mosaro took the desktop's shortcut";
}

INSTANTIATE_TEST_SUITE_P(Wayland, MosaroBesideATakenTrigger,
                         ::testing::Values("Sway17", "Sway110", "KWin527", "KWin63"), rowName);

// ---------------------------------------------------------------------------------------------
// sway's own cases.

using MosaroOnSway = OnDesktop<SwayDesktop>;

// Under Debian's default configuration, which binds Super+Return to a terminal ($mod, $term,
// included files, modes), --check names the binding; a compositor whose channel Mosaro does not
// know is said, never a silent failure; after Mosaro the user's binding still works.
TEST_P(MosaroOnSway, UnderDebiansDefaultsChecksTheSessionAndLeavesTheUsersBinding)
{
    ASSERT_NO_FATAL_FAILURE(d->start({.triggerTaken = true}));
    if (IsSkipped())
        return;
    QString check;
    EXPECT_EQ(d->app->run({QStringLiteral("--check")}, &check), 0) << check.toStdString();
    for (const char* line :
         {"(Wayland session)", "ok: compositor: sway 1.", "ok: keys: the panel takes every key",
          "warning: trigger: Super+Return is bound by the compositor's configuration to “exec foot”"})
        EXPECT_TRUE(check.contains(QString::fromUtf8(line))) << line << "\n" << check.toStdString();
    QString unknown;
    EXPECT_EQ(d->app->run({QStringLiteral("--check")}, &unknown, 10000, {QStringLiteral("SWAYSOCK")}), 1);
    EXPECT_TRUE(unknown.contains(QStringLiteral("error: compositor: not one Mosaro can drive")))
        << unknown.toStdString();
    // (Off the session bus, or it would hand over to the running Mosaro.)
    EXPECT_EQ(
        d->app->run({}, &unknown, 10000, {QStringLiteral("SWAYSOCK"), QStringLiteral("DBUS_SESSION_BUS_ADDRESS")}), 1);
    EXPECT_TRUE(unknown.contains(QStringLiteral("mosaro: no channel to this Wayland compositor")))
        << unknown.toStdString();

    d->app->stop();
    ASSERT_TRUE(d->press(QStringLiteral("Super+Return")));
    EXPECT_TRUE(d->sway->waitForWindow(QStringLiteral("foot"), 10000)) << "the user's binding is gone";
}

// What a person sees: the panel translucent over the display's visible frame only (the bar below
// it untouched), the highlight drawn. MOSARO_SCREENSHOT_DIR keeps the picture (the README's).
TEST_P(MosaroOnSway, ThePanelIsDrawnOverTheVisibleFrame)
{
    ASSERT_NO_FATAL_FAILURE(d->start({.bar = -25, .qtWindow = true}));
    if (IsSkipped())
        return;
    const QImage before = d->sway->screenshot(QStringLiteral("before"));
    ASSERT_TRUE(d->trigger());
    QImage shot;
    // Drawn when sway has shown the panel's frame: the highlight (the bottom-middle cell) differs.
    ASSERT_TRUE(eventually([&] {
        shot = d->sway->screenshot(QStringLiteral("panel"));
        return !shot.isNull() && shot.pixel(720, 650) != before.pixel(720, 650);
    }));
    EXPECT_NE(shot.pixel(240, 200), before.pixel(240, 200)); // dimmed
    for (int x : {5, 720, 1430})
        EXPECT_EQ(shot.pixel(x, 890), before.pixel(x, 890)) << "the bar is covered at x " << x;
    if (const QString dir = qEnvironmentVariable("MOSARO_SCREENSHOT_DIR"); !dir.isEmpty())
        shot.save(dir + QStringLiteral("/overlay-sway-%1.png").arg(d->name));
}

// The diagnostics report's six summary lines, its operating-system line naming the session and
// the compositor, the help window's sentence naming the configuration's binding of the trigger,
// and the recorder's alert naming it: from the sway platform the program builds, on Debian's
// default configuration.
TEST_P(MosaroOnSway, TheReportAndTheHelpNameTheSession)
{
    ASSERT_NO_FATAL_FAILURE(d->start({.triggerTaken = true}));
    if (IsSkipped())
        return;
    auto platform = makeSwayPlatform(d->sway->swaySocket());
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
                                   d->sway->configPath() + QStringLiteral(".none"), log, clock, pasteboard, urlOpener});
    const QStringList lines = diagnostics.diagnosticsSummary().split(u'\n');
    ASSERT_EQ(lines.size(), 6) << diagnostics.diagnosticsSummary().toStdString();
    EXPECT_TRUE(lines[1].startsWith(QStringLiteral("macOS:    Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64; "
                                                   "Wayland, sway ") +
                                    (d->root ? "1.10" : "1.7")))
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

INSTANTIATE_TEST_SUITE_P(Wayland, MosaroOnSway, ::testing::Values("Sway17", "Sway110"), rowName);

// KWin's own case: the session script lives as long as Mosaro: loaded at start, unloaded at exit
// with its shortcut entry; a Mosaro that died leaves it loaded, and the next start unloads it first.
using MosaroOnKWin = OnDesktop<KWinDesktop>;
TEST_P(MosaroOnKWin, TheScriptLivesAsLongAsMosaro)
{
    ASSERT_NO_FATAL_FAILURE(d->start({}));
    if (IsSkipped())
        return;
    const auto loaded = [&] {
        return d->kwin->scripting(QStringLiteral("isScriptLoaded"), {QStringLiteral("mosaro-session")}).toBool();
    };
    EXPECT_TRUE(loaded());
    QString check;
    EXPECT_EQ(d->app->run({QStringLiteral("--check")}, &check), 0) << check.toStdString();
    EXPECT_TRUE(check.contains(QStringLiteral("ok: compositor: KWin %1").arg(d->root ? "6." : "5.27")))
        << check.toStdString();

    ::kill(d->app->pid(), SIGKILL);
    d->app->waitForExit();
    EXPECT_TRUE(loaded()) << "nothing was left to unload";
    ASSERT_NO_FATAL_FAILURE(d->startMosaro(true));
    EXPECT_EQ(d->app->count(QStringLiteral("unloading the KWin script an earlier Mosaro left")), 1);
    ASSERT_TRUE(d->trigger());
    ASSERT_TRUE(d->press(QStringLiteral("Escape")));
    EXPECT_TRUE(d->panelGone());

    d->app->stop();
    EXPECT_FALSE(loaded());
    const QStringList names =
        d->kwin
            ->call(QStringLiteral("org.kde.kglobalaccel"), QStringLiteral("/component/kwin"),
                   QStringLiteral("org.kde.kglobalaccel.Component"), QStringLiteral("shortcutNames"))
            .toStringList();
    EXPECT_FALSE(names.join(QLatin1Char(',')).contains(QLatin1String("Mosaro"))) << names.join(',').toStdString();
}

INSTANTIATE_TEST_SUITE_P(Wayland, MosaroOnKWin, ::testing::Values("KWin527", "KWin63"), rowName);

// GNOME's own case: each state of Mosaro's extension, what --check says (the state, the help's
// advice, the exit status) and what permission the running Mosaro derives. Asking for access (the
// trigger while access is missing) installs the variant that fits the Shell; switching the
// extension on is seen by the status poll.
using MosaroOnGnome = OnDesktop<GnomeDesktop>;
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
        ASSERT_NO_FATAL_FAILURE(d->start({}, options, false));
        if (IsSkipped())
            return;
        auto& session = d->gnome;
        auto& app = d->app;
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

INSTANTIATE_TEST_SUITE_P(Wayland, MosaroOnGnome, ::testing::Values("Gnome43", "Gnome48"), rowName);

} // namespace
