// The ways out of the running application, and what it leaves behind: signals, a vanished X
// server, a trigger another client holds, and a preferences file that did not load.

#include "support/KeyCodes.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <memory>
#include <optional>
#include <string>

using namespace mosaro;
using namespace mosaro::test;

namespace M = mosaro::LogMessages;

namespace {

constexpr std::uint32_t kCarbonCommand = 0x100;

std::string describeStatus(const std::optional<int>& status)
{
    if (!status)
        return "still running";
    if (WIFEXITED(*status))
        return "exit code " + std::to_string(WEXITSTATUS(*status));
    if (WIFSIGNALED(*status))
        return std::string("killed by signal ") + strsignal(WTERMSIG(*status)) +
               (WCOREDUMP(*status) ? " (core dumped)" : "");
    return "status " + std::to_string(*status);
}

QByteArray bytesOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

class MosaroExitTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        session = std::make_unique<X11Session>(X11Session::Options{1024, 768, QStringLiteral("openbox")});
        ASSERT_TRUE(session->ok()) << session->error().toStdString();
        app = std::make_unique<MosaroAppDriver>(*session, QStringLiteral(MOSARO_APP_PATH));
        ASSERT_TRUE(app->keyboard().isAvailable());
        const auto c = session->startClient({"--title", "Target", "--geometry", "400x300+100+100"});
        ASSERT_TRUE(c);
        target = c->window;
    }
    void TearDown() override { app.reset(); }

    void start(const QStringList& args = {})
    {
        ASSERT_TRUE(app->start(args)) << app->lastError().toStdString();
        ASSERT_TRUE(session->activateWindow(target));
    }

    // Opens the overlay and adds a column: 3 x 2 becomes 4 x 2 on screen, nothing saved yet.
    void openAndResize()
    {
        ASSERT_TRUE(app->openOverlay()) << app->logText().toStdString();
        const int mark = app->logMark();
        ASSERT_TRUE(app->key(keys::right, ModifierFlag::option));
        ASSERT_TRUE(app->waitForLog(mark, QStringLiteral("keyDown keyCode=124"))) << app->logText(mark).toStdString();
    }

    std::optional<Preferences> stored()
    {
        auto loaded = loadPreferences(app->preferencesPath());
        return loaded ? std::optional<Preferences>(*loaded) : std::nullopt;
    }

    std::unique_ptr<X11Session> session;
    std::unique_ptr<MosaroAppDriver> app;
    xcb_window_t target = XCB_WINDOW_NONE;
};

} // namespace

// SIGTERM, SIGINT and SIGHUP each end the application through its termination path while the
// overlay is open after a resize: the overlay goes and the new size is saved, exit code 0.
TEST_F(MosaroExitTest, EverySignalThatEndsTheSessionSavesTheResizedGrid)
{
    for (const int sig : {SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(strsignal(sig));
        QFile::remove(app->preferencesPath());
        // The first run shows private data in its log, the others keep it out.
        ASSERT_NO_FATAL_FAILURE(start(sig == SIGTERM ? QStringList{QStringLiteral("--log-private")} : QStringList{}));
        const int mark = app->logMark();
        ASSERT_NO_FATAL_FAILURE(openAndResize());
        EXPECT_FALSE(
            app->linesSince(mark, QStringLiteral("overlay show: window=%1 ")
                                      .arg(sig == SIGTERM ? QStringLiteral("Target") : QStringLiteral("<private>")))
                .isEmpty())
            << app->logText(mark).toStdString();

        ASSERT_TRUE(app->signal(sig));
        const auto status = app->waitForWaitStatus();
        ASSERT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0) << describeStatus(status);
        EXPECT_FALSE(app->linesSince(mark, QString::fromUtf8(M::willTerminate)).isEmpty());
        EXPECT_FALSE(app->linesSince(mark, QStringLiteral("persisted global resize: 4×2")).isEmpty())
            << app->logText(mark).toStdString();
        const auto prefs = stored();
        ASSERT_TRUE(prefs);
        EXPECT_EQ(prefs->proSettings.globalGrid, (GridDimensions{4, 2}));
    }
}

// A file written by a newer release is kept beside the one the resize writes; then the X server
// dies under the running application, which ends with one clear line and exit code 1, leaving
// both files whole.
TEST_F(MosaroExitTest, LosingTheXServerEndsCleanlyAndKeepsWhatWasSaved)
{
    const QByteArray newer = R"({"schemaVersion": 99, "fromTheFuture": true})";
    ASSERT_TRUE(QDir().mkpath(QFileInfo(app->preferencesPath()).absolutePath()));
    {
        QFile f(app->preferencesPath());
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(newer);
    }
    ASSERT_NO_FATAL_FAILURE(start());
    int mark = app->logMark();
    ASSERT_NO_FATAL_FAILURE(openAndResize());
    ASSERT_TRUE(app->key(keys::escape));
    ASSERT_TRUE(app->waitForLog(mark, QStringLiteral("persisted global resize: 4×2")));
    ASSERT_TRUE(app->waitForLog(mark, QStringLiteral("kept the preferences file that did not load as "
                                                     "preferences.json.bak-")))
        << app->logText(mark).toStdString();
    const QDir folder = QFileInfo(app->preferencesPath()).absoluteDir();
    const QStringList copies = folder.entryList({QStringLiteral("preferences.json.bak-*")}, QDir::Files);
    ASSERT_EQ(copies.size(), 1);
    EXPECT_EQ(bytesOf(folder.filePath(copies[0])), newer);
    Preferences saved;
    saved.proSettings.globalGrid = {4, 2};
    EXPECT_EQ(bytesOf(app->preferencesPath()), PreferencesJson::encode(saved));

    // The overlay open again, resized again, and the server gone.
    ASSERT_NO_FATAL_FAILURE(openAndResize());
    mark = app->logMark();
    session->killServer();
    const auto status = app->waitForWaitStatus();
    ASSERT_TRUE(status && WIFEXITED(*status) && WEXITSTATUS(*status) == 1) << describeStatus(status) << "\n"
                                                                           << app->logText(mark).toStdString();
    EXPECT_FALSE(app->linesSince(mark, QStringLiteral("[lifecycle] X display '")).isEmpty())
        << app->logText(mark).toStdString();
    const auto after = stored();
    ASSERT_TRUE(after);
    EXPECT_TRUE(after->proSettings.globalGrid == (GridDimensions{4, 2}) ||
                after->proSettings.globalGrid == (GridDimensions{5, 2}));
    EXPECT_EQ(bytesOf(folder.filePath(copies[0])), newer);
    EXPECT_EQ(folder.entryList({QStringLiteral("preferences.json*")}, QDir::Files).size(), 2);
}

// Another client holds Super+Return before Mosaro starts: the refusal is an error of the
// lifecycle category in the application's log, and the application runs on.
TEST_F(MosaroExitTest, ATriggerHeldByAnotherClientIsReportedInTheLifecycleLog)
{
    X11Connection& c = session->connection();
    const auto keycode = xcb_keycode_t(*evdevForMacKeyCode(keys::returnKey) + x11KeycodeOffset);
    ASSERT_TRUE(c.check(xcb_grab_key_checked(c.connection(), 1, c.root(), x11ModifiersFromCarbon(kCarbonCommand),
                                             keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    ASSERT_NO_FATAL_FAILURE(start());
    const QStringList refused = app->linesSince(0, QStringLiteral("[lifecycle] ") + logPrefix(M::hotkeyRefused));
    ASSERT_EQ(refused.size(), 1) << app->logText().toStdString();
    EXPECT_TRUE(refused[0].contains(QStringLiteral(": -9878 (another program holds this combination)")))
        << refused[0].toStdString();
    EXPECT_TRUE(app->isRunning());
}

// A display that cannot be reached at start is one line and exit code 1, not Qt's abort.
TEST(MosaroStart, AnUnreachableDisplayIsAClearLineAndExitCodeOne)
{
    QProcess app;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DISPLAY"), QStringLiteral(":1999"));
    app.setProcessEnvironment(env);
    app.start(QStringLiteral(MOSARO_APP_PATH), {});
    ASSERT_TRUE(app.waitForFinished(10000));
    EXPECT_EQ(app.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(app.exitCode(), 1);
    EXPECT_EQ(app.readAllStandardError().trimmed(),
              "mosaro: cannot open display :1999 (XCB_CONN_ERROR: socket, pipe or stream error)");
}
