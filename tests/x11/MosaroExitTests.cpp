// The ways out of the running application, and what it leaves behind: the quit command, signals,
// a vanished X server, and a preferences file that did not load.

#include "support/KeyCodes.h"
#include "support/x11/MosaroAppFixture.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Platform/KeyEvent.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <signal.h>

using namespace mosaro;
using namespace mosaro::test;

namespace M = mosaro::LogMessages;

namespace {

QByteArray bytesOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

class MosaroExitTest : public MosaroAppFixture {
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(startSession({1024, 768, QStringLiteral("openbox")}));
        app->useSessionBus(session->sessionBus());
        const auto c = session->startClient({"--title", "Target", "--geometry", "400x300+100+100"});
        ASSERT_TRUE(c);
        target = c->window;
    }
    void start(const QStringList& args = {})
    {
        ASSERT_NO_FATAL_FAILURE(startApp(args));
        ASSERT_TRUE(session->activateWindow(target));
    }

    // 3 x 2 becomes 4 x 2 on screen, nothing saved yet.
    void openAndResize() { ASSERT_TRUE(app->openAndAddColumn()); }

    xcb_window_t target = XCB_WINDOW_NONE;
};

} // namespace

// The quit command and SIGTERM, SIGINT and SIGHUP each end the application through its
// termination path while the overlay is open after a resize: the overlay goes and the new size
// is saved, exit code 0.
TEST_F(MosaroExitTest, TheQuitCommandAndEverySignalThatEndsTheSessionSaveTheResizedGrid)
{
    for (const int sig : {0, SIGTERM, SIGINT, SIGHUP}) {
        SCOPED_TRACE(sig ? strsignal(sig) : "--quit");
        QFile::remove(app->preferencesPath());
        // The first run shows private data in its log, the others keep it out.
        ASSERT_NO_FATAL_FAILURE(start(sig == 0 ? QStringList{QStringLiteral("--log-private")} : QStringList{}));
        const int mark = app->logMark();
        ASSERT_NO_FATAL_FAILURE(openAndResize());
        EXPECT_FALSE(app->linesSince(mark, QStringLiteral("overlay show: window=%1 ")
                                               .arg(sig == 0 ? QStringLiteral("Target") : QStringLiteral("<private>")))
                         .isEmpty());

        QString errors;
        if (sig == 0)
            EXPECT_EQ(app->runAgain({QStringLiteral("--quit")}, &errors), 0) << errors.toStdString();
        else
            ASSERT_TRUE(app->signal(sig));
        ASSERT_EQ(app->waitForExit(), 0);
        EXPECT_FALSE(app->linesSince(mark, QString::fromUtf8(M::willTerminate)).isEmpty());
        EXPECT_FALSE(app->linesSince(mark, QStringLiteral("persisted global resize: 4×2")).isEmpty());
        const auto prefs = storedPreferences();
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
                                                     "preferences.json.bak-")));
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
    ASSERT_EQ(app->waitForExit(), 1);
    EXPECT_FALSE(app->linesSince(mark, QStringLiteral("[lifecycle] X display '")).isEmpty());
    const auto after = storedPreferences();
    ASSERT_TRUE(after);
    EXPECT_TRUE(after->proSettings.globalGrid == (GridDimensions{4, 2}) ||
                after->proSettings.globalGrid == (GridDimensions{5, 2}));
    EXPECT_EQ(bytesOf(folder.filePath(copies[0])), newer);
    EXPECT_EQ(folder.entryList({QStringLiteral("preferences.json*")}, QDir::Files).size(), 2);
}
