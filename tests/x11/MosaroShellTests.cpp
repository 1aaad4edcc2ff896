// The application a person lives with, end to end: the real program on a private X server with
// openbox, a tray (trayer) and a session bus of the test's own.

#include "Diagnostics/DiagnosticsReport.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Platform/Linux/JournalLog.h"
#include "Preferences/PreferencesFile.h"
#include "support/KeyCodes.h"
#include "support/PrivateSessionBus.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstdio>
#include <signal.h>

using namespace mosaro;
using namespace mosaro::test;

namespace M = mosaro::LogMessages;

namespace {

constexpr std::uint64_t kAlt = ModifierFlag::option;

const QStringList kMenu{"About Mosaro",
                        "—",
                        "Window manager connected",
                        "—",
                        "Settings…",
                        "Check for Updates…",
                        "—",
                        "Copy Diagnostics",
                        "Report a Bug…",
                        "—",
                        "Quit Mosaro"};

// The text on the desktop's clipboard, asked for as any other program would (ConvertSelection to
// a window of our own), once somebody owns the clipboard.
std::optional<QByteArray> clipboardText(X11Session& session, int timeoutMs = 5000)
{
    X11Connection& c = session.connection();
    xcb_connection_t* x = c.connection();
    const xcb_atom_t clipboard = c.atom("CLIPBOARD");
    const bool owned = session.waitUntil(
        [&] {
            auto owner = c.reply<xcb_get_selection_owner_reply_t>(xcb_get_selection_owner_reply,
                                                                  xcb_get_selection_owner(x, clipboard));
            return owner && (*owner)->owner != XCB_WINDOW_NONE;
        },
        timeoutMs);
    if (!owned)
        return std::nullopt;
    const xcb_window_t window = xcb_generate_id(x);
    xcb_create_window(x, XCB_COPY_FROM_PARENT, window, c.root(), 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_atom_t property = c.atom("MOSARO_TEST_CLIPBOARD");
    xcb_convert_selection(x, window, clipboard, c.atom("UTF8_STRING"), property, XCB_CURRENT_TIME);
    xcb_flush(x);
    std::optional<QByteArray> text;
    session.waitUntil(
        [&] {
            auto reply = c.reply<xcb_get_property_reply_t>(
                xcb_get_property_reply, xcb_get_property(x, 0, window, property, XCB_ATOM_ANY, 0, 1 << 20));
            if (!reply || (*reply)->type == XCB_NONE)
                return false;
            text = QByteArray(static_cast<const char*>(xcb_get_property_value(reply->get())),
                              xcb_get_property_value_length(reply->get()));
            return true;
        },
        timeoutMs);
    xcb_destroy_window(x, window);
    xcb_flush(x);
    return text;
}

// The root position of the client area of the window with this title, once it is mapped.
std::optional<Point> clientOrigin(X11Session& session, const QString& title, int timeoutMs = 5000)
{
    X11Connection& c = session.connection();
    std::optional<Point> origin;
    session.waitUntil(
        [&] {
            const auto list = c.windows(c.root(), c.atom("_NET_CLIENT_LIST"), 0);
            for (const xcb_window_t w : list.value_or(std::vector<xcb_window_t>{})) {
                if (c.text(w, c.atom("_NET_WM_NAME")) != title)
                    continue;
                auto at = c.reply<xcb_translate_coordinates_reply_t>(
                    xcb_translate_coordinates_reply, xcb_translate_coordinates(c.connection(), w, c.root(), 0, 0));
                if (at)
                    origin = Point{double((*at)->dst_x), double((*at)->dst_y)};
                return origin.has_value();
            }
            return false;
        },
        timeoutMs);
    return origin;
}

class MosaroShellTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.ok()) << bus.error().toStdString();
        session = std::make_unique<X11Session>(X11Session::Options{1280, 800, QStringLiteral("openbox")});
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        app = std::make_unique<MosaroAppDriver>(*session, QStringLiteral(MOSARO_APP_PATH));
        app->useSessionBus(bus.address());
    }
    void TearDown() override
    {
        app.reset();
        session.reset();
    }

    void startApp() { ASSERT_TRUE(app->start()) << app->lastError().toStdString(); }

    // Opens the grid, adds a column (3 x 2 becomes 4 x 2), and leaves it open.
    void openAndResize()
    {
        const auto target = session->startClient({"--title", "Target", "--geometry", "400x300+120+90"});
        ASSERT_TRUE(target);
        ASSERT_TRUE(session->activateWindow(target->window));
        ASSERT_TRUE(app->openOverlay()) << app->logText().toStdString();
        ASSERT_TRUE(app->key(keys::right, kAlt));
        ASSERT_TRUE(app->waitForLog(0, QStringLiteral("keyDown keyCode=124 shift=false cmd=false opt=true")))
            << app->logText().toStdString();
    }

    GridDimensions savedGrid()
    {
        const auto saved = loadPreferences(app->preferencesPath());
        return saved ? saved->proSettings.globalGrid : GridDimensions{};
    }

    PrivateSessionBus bus;
    std::unique_ptr<X11Session> session;
    std::unique_ptr<MosaroAppDriver> app;
};

TEST_F(MosaroShellTest, TheTrayIconAppearsAndItsMenuOpensWithTheEntriesInOrder)
{
    ASSERT_TRUE(session->startTray());
    ASSERT_NO_FATAL_FAILURE(startApp());
    EXPECT_EQ(app->openTrayMenu().join(" | ").toStdString(), kMenu.join(" | ").toStdString())
        << app->logText().toStdString();
    const auto icon = app->trayIcon();
    ASSERT_TRUE(icon);
    EXPECT_LE(icon->height, 24);
    EXPECT_TRUE(app->linesSince(0, QStringLiteral("no system tray")).isEmpty());
}

// Quit from the menu ends the process through the termination path.
TEST_F(MosaroShellTest, QuitFromTheMenuEndsMosaro)
{
    ASSERT_TRUE(session->startTray());
    ASSERT_NO_FATAL_FAILURE(startApp());
    ASSERT_EQ(app->openTrayMenu().join(" | ").toStdString(), kMenu.join(" | ").toStdString())
        << app->logText().toStdString();
    // The last entry is Quit: Up from the top of the open menu wraps to it.
    ASSERT_TRUE(app->key(keys::up));
    ASSERT_TRUE(app->key(keys::returnKey));
    EXPECT_EQ(app->waitForExit(), 0) << app->logText().toStdString();
    EXPECT_FALSE(app->linesSince(0, QString::fromUtf8(M::willTerminate)).isEmpty());
}

// Copy Diagnostics puts the report on the clipboard, with this run's log read back from the
// journal where one takes Mosaro's entries, else from the entries kept in memory.
TEST_F(MosaroShellTest, CopyDiagnosticsPutsTheReportWithThisRunsLogOnTheClipboard)
{
    ASSERT_TRUE(session->startTray());
    ASSERT_NO_FATAL_FAILURE(startApp());
    const bool journal = ProcessLogReader::readsJournal();
    std::printf("the report's log comes from %s\n", journal ? "the journal" : "the entries kept in memory");
    RecordProperty("log_source", journal ? "journal" : "memory");
    ASSERT_EQ(app->openTrayMenu().join(" | ").toStdString(), kMenu.join(" | ").toStdString());
    // Up from the top wraps to Quit; two more reach Copy Diagnostics.
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(app->key(keys::up));
    ASSERT_TRUE(app->key(keys::returnKey));
    const auto report = clipboardText(*session);
    ASSERT_TRUE(report.has_value()) << app->logText().toStdString();
    const QString text = QString::fromUtf8(*report);
    EXPECT_TRUE(text.startsWith(QString::fromUtf8(DiagnosticsText::header))) << text.toStdString();
    EXPECT_TRUE(text.contains(QString::fromUtf8(M::didFinishLaunching))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("3×2, margin 0px, per-display OFF"))) << text.toStdString();
}

// In the running Mosaro's settings window, a trigger recorded from keys typed through XTEST opens
// the grid over another window; the old trigger no longer does.
TEST_F(MosaroShellTest, ATriggerRecordedInTheSettingsWindowOpensTheGridAndTheOldOneNoLonger)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto other = session->startClient({"--title", "Other", "--geometry", "400x300+700+400"});
    ASSERT_TRUE(other);
    QString errors;
    ASSERT_EQ(app->runAgain({}, &errors), 0) << errors.toStdString();
    const auto general = clientOrigin(*session, QStringLiteral("Mosaro Settings - General"));
    ASSERT_TRUE(general) << app->windowTitles().join(", ").toStdString();
    // Where the window draws them at scale 1: the Shortcuts tab, then the trigger's recorder in the
    // first row of that tab. A window just mapped may not take the first click yet.
    std::optional<Point> shortcuts;
    ASSERT_TRUE(session->waitUntil([&] {
        app->keyboard().clickAt(int(general->x) + 149, int(general->y) + 22, 1);
        shortcuts = clientOrigin(*session, QStringLiteral("Mosaro Settings - Shortcuts"), 300);
        return shortcuts.has_value();
    })) << app->windowTitles().join(", ").toStdString();
    ASSERT_TRUE(app->keyboard().clickAt(int(shortcuts->x) + 432, int(shortcuts->y) + 105, 1));
    session->waitUntil([] { return false; }, 300);
    ASSERT_TRUE(app->keyboard().sendKeyCombination(keys::t, ModifierFlag::control | ModifierFlag::option));
    const QString stored = app->configHome() + QStringLiteral("/Mosaro/defaults.json");
    ASSERT_TRUE(session->waitUntil([&] {
        QFile file(stored);
        return file.open(QIODevice::ReadOnly) && file.readAll().contains(R"(carbonKeyCode\":17)");
    })) << app->logText().toStdString();

    ASSERT_TRUE(session->activateWindow(other->window));
    ASSERT_TRUE(app->keyboard().sendKeyCombination(keys::t, ModifierFlag::control | ModifierFlag::option));
    EXPECT_TRUE(session->waitUntil([&] { return !app->overlayWindows().empty(); }))
        << "the recorded trigger did not open the grid\n"
        << app->logText().toStdString();
    ASSERT_TRUE(app->key(keys::escape));
    ASSERT_TRUE(app->waitForNoOverlay());
    ASSERT_TRUE(session->activateWindow(other->window));
    ASSERT_TRUE(app->keyboard().sendKeyCombination(keys::returnKey, ModifierFlag::command));
    EXPECT_FALSE(session->waitUntil([&] { return !app->overlayWindows().empty(); }, 700))
        << "the old trigger still opens the grid";
}

// --quit and SIGTERM take the same path: the open grid is dismissed and its new size saved.
TEST_F(MosaroShellTest, QuitCommandAndTerminationSignalSaveAResizedGridBeforeExit)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    ASSERT_NO_FATAL_FAILURE(openAndResize());
    QString errors;
    EXPECT_EQ(app->runAgain({QStringLiteral("--quit")}, &errors), 0) << errors.toStdString();
    EXPECT_EQ(app->waitForExit(), 0) << app->logText().toStdString();
    EXPECT_EQ(savedGrid(), (GridDimensions{4, 2}));

    ASSERT_NO_FATAL_FAILURE(startApp());
    const int mark = app->logMark();
    ASSERT_NO_FATAL_FAILURE(openAndResize());
    ::kill(app->pid(), SIGTERM);
    EXPECT_EQ(app->waitForExit(), 0) << app->logText(mark).toStdString();
    EXPECT_EQ(savedGrid(), (GridDimensions{5, 2}));
    EXPECT_FALSE(app->linesSince(mark, QString::fromUtf8(M::willTerminate)).isEmpty());
}

// A second start hands over and leaves with success; the running one shows its settings window.
TEST_F(MosaroShellTest, ASecondLaunchExitsWithSuccessAndTheRunningOneReacts)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    const int mark = app->logMark();
    QString errors;
    EXPECT_EQ(app->runAgain({}, &errors), 0) << errors.toStdString();
    EXPECT_TRUE(session->waitUntil([&] {
        return app->windowTitles().contains(QStringLiteral("Mosaro Settings - General"));
    })) << app->windowTitles().join(", ").toStdString();
    EXPECT_TRUE(app->isRunning());
    EXPECT_EQ(app->linesSince(mark, QString::fromUtf8(M::presenterStarted)).size(), 0)
        << "the second process never started a presenter of its own";
}

// --trigger acts as the shortcut: the grid opens on the focused window and Return places it.
TEST_F(MosaroShellTest, TriggerCommandOpensTheGridOnTheFocusedWindowAndReturnPlacesIt)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto target = session->startClient({"--title", "Target", "--geometry", "400x300+120+90"});
    ASSERT_TRUE(target);
    ASSERT_TRUE(session->activateWindow(target->window));
    QString errors;
    EXPECT_EQ(app->runAgain({QStringLiteral("--trigger")}, &errors), 0) << errors.toStdString();
    const ScreenRef screen = app->screenAt(0);
    ASSERT_TRUE(app->waitForOverlay(app->xVisible(screen))) << app->logText().toStdString();
    ASSERT_TRUE(app->waitForLog(0, logPrefix(M::panelPresented)));
    ASSERT_TRUE(app->key(keys::returnKey));
    const Rect expected = app->expectedFrame(screen, {3, 2}, 0, HighlightedRegion{{1, 1}, {1, 1}});
    EXPECT_TRUE(session->waitUntil([&] { return session->outerFrame(target->window) == expected; }))
        << describe(session->outerFrame(target->window)).toStdString() << " instead of "
        << describe(expected).toStdString();
}

// Remote commands need a running Mosaro, and a bus to reach it by; otherwise one line and
// status 1.
TEST_F(MosaroShellTest, RemoteCommandsFailWithOneLineWhenNoMosaroCanHearThem)
{
    QString errors;
    EXPECT_EQ(app->runAgain({QStringLiteral("--trigger")}, &errors), 1);
    EXPECT_EQ(errors.toStdString(), "mosaro: Mosaro is not running in this session\n");
    EXPECT_EQ(app->runAgain({QStringLiteral("--quit")}, &errors), 1);
    EXPECT_EQ(errors.toStdString(), "mosaro: Mosaro is not running in this session\n");

    app->useSessionBus(QStringLiteral("unix:path=/nonexistent/bus"));
    EXPECT_EQ(app->runAgain({QStringLiteral("--trigger")}, &errors), 1);
    EXPECT_TRUE(errors.startsWith(QStringLiteral("mosaro: no session bus (")) &&
                errors.endsWith(QStringLiteral("): remote commands are unavailable\n")))
        << errors.toStdString();

    // Mosaro itself runs alone then, and says so; with no tray either, it says that once too.
    ASSERT_NO_FATAL_FAILURE(startApp());
    ASSERT_TRUE(app->waitForLog(0, QStringLiteral("no system tray is available")));
    EXPECT_EQ(app->linesSince(0, QStringLiteral("single instance and remote commands are unavailable")).size(), 1);
    EXPECT_EQ(app->linesSince(0, QStringLiteral("no system tray is available")).size(), 1);
    ASSERT_NO_FATAL_FAILURE(openAndResize()); // the trigger is live all the same
}

} // namespace
