// The application a person lives with, end to end: the real program on a private X server with
// openbox, a tray (trayer) and a session bus of the test's own.

#include "Diagnostics/DiagnosticsReport.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Platform/Linux/JournalLog.h"
#include "support/KeyCodes.h"
#include "support/PrivateSessionBus.h"
#include "support/x11/MosaroAppFixture.h"

#include <gtest/gtest.h>

#include <cstdio>

using namespace mosaro;
using namespace mosaro::test;

namespace M = mosaro::LogMessages;

namespace {

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
            auto owner = c.ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, clipboard);
            return owner && owner->owner != XCB_WINDOW_NONE;
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
            auto reply = c.ask<xcb_get_property_reply>(xcb_get_property, 0, window, property, XCB_ATOM_ANY, 0, 1 << 20);
            if (!reply || reply->type == XCB_NONE)
                return false;
            text = QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())),
                              xcb_get_property_value_length(reply.get()));
            return true;
        },
        timeoutMs);
    xcb_destroy_window(x, window);
    xcb_flush(x);
    return text;
}

class MosaroShellTest : public MosaroAppFixture {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(bus.ok()) << bus.error().toStdString();
        ASSERT_NO_FATAL_FAILURE(startSession({1280, 800, QStringLiteral("openbox")}));
        app->useSessionBus(bus.address());
    }

    PrivateSessionBus bus;
};

// The tray icon appears and its menu holds the entries in order; Copy Diagnostics puts the report
// on the clipboard, with this run's log read back from the journal where one takes Mosaro's
// entries, else from the entries kept in memory.
TEST_F(MosaroShellTest, TheTrayMenuHoldsTheEntriesAndCopiesTheDiagnostics)
{
    ASSERT_TRUE(session->startTray());
    ASSERT_NO_FATAL_FAILURE(startApp());
    EXPECT_EQ(app->openTrayMenu().join(" | ").toStdString(), kMenu.join(" | ").toStdString());
    const auto icon = app->trayIcon();
    ASSERT_TRUE(icon);
    EXPECT_LE(icon->height, 24);
    EXPECT_TRUE(app->linesSince(0, QStringLiteral("no system tray")).isEmpty());

    const bool journal = ProcessLogReader::readsJournal();
    std::printf("the report's log comes from %s\n", journal ? "the journal" : "the entries kept in memory");
    RecordProperty("log_source", journal ? "journal" : "memory");
    // Up from the top wraps to Quit; two more reach Copy Diagnostics.
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(app->key(keys::up));
    ASSERT_TRUE(app->key(keys::returnKey));
    const auto report = clipboardText(*session);
    ASSERT_TRUE(report.has_value());
    const QString text = QString::fromUtf8(*report);
    EXPECT_TRUE(text.startsWith(QString::fromUtf8(DiagnosticsText::header))) << text.toStdString();
    EXPECT_TRUE(text.contains(QString::fromUtf8(M::didFinishLaunching))) << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("3×2, margin 0px, per-display OFF"))) << text.toStdString();
}

// Quit from the menu ends the process through the termination path.
TEST_F(MosaroShellTest, QuitFromTheMenuEndsMosaro)
{
    ASSERT_TRUE(session->startTray());
    ASSERT_NO_FATAL_FAILURE(startApp());
    ASSERT_EQ(app->openTrayMenu().join(" | ").toStdString(), kMenu.join(" | ").toStdString());
    // The last entry is Quit: Up from the top of the open menu wraps to it.
    ASSERT_TRUE(app->key(keys::up));
    ASSERT_TRUE(app->key(keys::returnKey));
    EXPECT_EQ(app->waitForExit(), 0);
    EXPECT_FALSE(app->linesSince(0, QString::fromUtf8(M::willTerminate)).isEmpty());
}

// --trigger acts as the shortcut: the grid opens on the focused window and Return places it.
TEST_F(MosaroShellTest, TriggerCommandOpensTheGridOnTheFocusedWindowAndReturnPlacesIt)
{
    ASSERT_NO_FATAL_FAILURE(startApp());
    const auto target = activeClient({"--title", "Target", "--geometry", "400x300+120+90"});
    QString errors;
    EXPECT_EQ(app->runAgain({QStringLiteral("--trigger")}, &errors), 0) << errors.toStdString();
    const ScreenRef screen = app->screenAt(0);
    ASSERT_TRUE(app->waitForOverlay(app->xVisible(screen)));
    ASSERT_TRUE(app->waitForLog(0, logPrefix(M::panelPresented)));
    ASSERT_TRUE(app->key(keys::returnKey));
    const Rect expected = app->expectedFrame(screen, {3, 2}, 0, HighlightedRegion{{1, 1}, {1, 1}});
    EXPECT_TRUE(session->waitUntil([&] { return session->outerFrame(target.window) == expected; }))
        << str(session->outerFrame(target.window)) << " instead of " << str(expected);
}

// Remote commands need a running Mosaro, and a bus to reach it by; otherwise one line and
// status 1.
TEST_F(MosaroShellTest, RemoteCommandsFailWithOneLineWhenNoMosaroCanHearThem)
{
    QString errors;
    for (const char* command : {"--trigger", "--quit"}) {
        EXPECT_EQ(app->runAgain({QString::fromLatin1(command)}, &errors), 1);
        EXPECT_EQ(errors.toStdString(), "mosaro: Mosaro is not running in this session\n");
    }

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
    activeClient({"--title", "Target", "--geometry", "400x300+120+90"});
    ASSERT_TRUE(app->openAndAddColumn()); // the trigger is live all the same
}

} // namespace
