// `mosaro --check` and the binary without a display, run as a person runs them: the shipped
// program on a private X server (or none), its standard output and exit code read back.

#include "Platform/HotKeyService.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11HotKeyService.h"
#include "support/KeyCodes.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <optional>
#include <utility>

using namespace mosaro;
using namespace mosaro::test;

namespace {

constexpr std::uint32_t kCommandKey = 256; // Command (Super), as a Carbon modifier

const QString kMosaro = QStringLiteral(MOSARO_APP_PATH);

// Another X client holding the combination, as a desktop's own shortcut daemon does.
struct OtherClientGrab {
    explicit OtherClientGrab(const QString& display) : connection(display), hotKeys(connection) {}
    bool grab()
    {
        return hotKeys.registerEventHotKey(keys::returnKey, kCommandKey, EventHotKeyID{1, 1}, ref) ==
               HotKeyStatus::noErr;
    }

    X11Connection connection;
    X11HotKeyService hotKeys;
    EventHotKeyRef ref = 0;
};

struct CheckRun {
    int exitCode = -1;
    QString output;
    bool hasLine(const QString& start) const
    {
        for (const QString& line : output.split(QLatin1Char('\n')))
            if (line.startsWith(start))
                return true;
        return false;
    }
};

CheckRun runCheck(X11Session& session)
{
    CheckRun run;
    run.exitCode = session.run(kMosaro, {QStringLiteral("--check")}, 20000, &run.output);
    return run;
}

} // namespace

// Without a reachable display every invocation that needs one says so in one line, exits 1 (no
// abort, no core dump) and leaves no file behind; --check says it as its error line.
TEST(BinaryWithoutDisplay, OneLineExitOneNothingWritten)
{
    int unused = 250;
    while (QFile::exists(QStringLiteral("/tmp/.X11-unix/X%1").arg(unused)))
        ++unused;
    const QString absent = QStringLiteral(":%1").arg(unused);
    for (const QString& display : {QString(), absent}) {
        for (const QStringList& args :
             {QStringList{}, QStringList{QStringLiteral("--verbose")}, QStringList{QStringLiteral("--check")}}) {
            SCOPED_TRACE((display.isEmpty() ? QStringLiteral("no DISPLAY") : display).toStdString() + " " +
                         args.join(QLatin1Char(' ')).toStdString());
            QTemporaryDir home;
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            env.remove(QStringLiteral("DISPLAY"));
            if (!display.isEmpty())
                env.insert(QStringLiteral("DISPLAY"), display);
            for (const char* var : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
                env.insert(QString::fromLatin1(var), home.path());
            env.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
            QProcess process;
            process.setProcessEnvironment(env);
            process.setWorkingDirectory(home.path());
            process.start(kMosaro, args);
            ASSERT_TRUE(process.waitForFinished(20000));
            EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
            EXPECT_EQ(process.exitCode(), 1);
            const QString expected =
                QStringLiteral("cannot open display") + (display.isEmpty() ? QString() : QLatin1Char(' ') + display);
            if (args.contains(QStringLiteral("--check"))) {
                const QString out = QString::fromUtf8(process.readAllStandardOutput());
                EXPECT_TRUE(out.startsWith(
                    QStringLiteral("error: ") +
                    (display.isEmpty() ? QStringLiteral("cannot open display: DISPLAY is not set") : expected)))
                    << out.toStdString();
            } else {
                // One line; a named display also gets the reason.
                EXPECT_EQ(QString::fromUtf8(process.readAllStandardError()),
                          QStringLiteral("mosaro: ") + expected +
                              (display.isEmpty() ? QString()
                                                 : QStringLiteral(" (XCB_CONN_ERROR: socket, pipe or stream error)")) +
                              QLatin1Char('\n'));
            }
            QDirIterator written(home.path(), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                                 QDirIterator::Subdirectories);
            EXPECT_FALSE(written.hasNext()) << "wrote " << written.next().toStdString();
        }
    }
}

// Under openbox with the combination free: only ok lines about what matters, exit 0, and the
// window the check tried the manager on is gone again.
TEST(DesktopCheck, OpenboxWithTheTriggerFree)
{
    X11Session session({1280, 800, QStringLiteral("openbox")});
    ASSERT_TRUE(session.ok()) << session.error().toStdString();
    const CheckRun run = runCheck(session);
    SCOPED_TRACE(run.output.toStdString());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_FALSE(run.output.contains(QStringLiteral("error:")));
    EXPECT_TRUE(run.hasLine(QStringLiteral("ok: display :")));
    EXPECT_TRUE(run.hasLine(QStringLiteral("ok: window manager: Openbox (EWMH)")));
    EXPECT_TRUE(run.hasLine(QStringLiteral("ok: moves: the window manager honours _NET_MOVERESIZE_WINDOW")));
    EXPECT_TRUE(run.hasLine(QStringLiteral("ok: frame extents: published")));
    EXPECT_TRUE(run.hasLine(QStringLiteral("ok: trigger: ")));
    EXPECT_TRUE(run.hasLine(QStringLiteral("ok: preferences: none yet at ")));
    EXPECT_EQ(session.findClient(QStringLiteral("mosaro-check")), xcb_window_t(XCB_WINDOW_NONE));
    const QString config = session.tempPath() + QStringLiteral("/config/Mosaro");
    const QString data = session.tempPath() + QStringLiteral("/data/Mosaro");
    EXPECT_FALSE(QFile::exists(config)) << "the check wrote its defaults";
    EXPECT_FALSE(QFile::exists(data)) << "the check wrote preferences";

    // A stored trigger that no longer decodes and preferences from a newer Mosaro: both warned
    // about, both left exactly as they were.
    ASSERT_TRUE(QDir().mkpath(config) && QDir().mkpath(data));
    const std::pair<QString, QByteArray> files[] = {
        {config + QStringLiteral("/defaults.json"), R"({"KeyboardShortcuts_trigger": "{\"carbonKeyCode\":\"x\"}"})"},
        {data + QStringLiteral("/preferences.json"), R"({"schemaVersion": 99})"}};
    for (const auto& [path, bytes] : files) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    }
    const CheckRun stale = runCheck(session);
    SCOPED_TRACE(stale.output.toStdString());
    EXPECT_EQ(stale.exitCode, 0);
    EXPECT_TRUE(stale.hasLine(QStringLiteral("warning: trigger: the stored shortcut ({\"carbonKeyCode\":\"x\"}) "
                                             "no longer decodes")));
    EXPECT_TRUE(stale.hasLine(QStringLiteral("warning: preferences: ") + data +
                              QStringLiteral("/preferences.json was written by a newer Mosaro")));
    for (const auto& [path, bytes] : files) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), bytes) << path.toStdString();
    }
    EXPECT_EQ(QDir(config).entryList(QDir::Files).size(), 1);
    EXPECT_EQ(QDir(data).entryList(QDir::Files).size(), 1);
}

// The trigger as the check finds it: taken by another X client (a warning naming `mosaro
// --trigger`), or, while a Mosaro runs and holds it, asked of that Mosaro over the session bus
// instead of tried: its own, or not taken because another client was first. Without a window
// manager the check fails with an error.
TEST(DesktopCheck, TheTriggerAsHeldByAnotherClientOrTheRunningMosaroAndNoWindowManager)
{
    const struct {
        const char* name;
        bool taken, running;
        const char* line;
    } rows[] = {
        {"taken", true, false, "warning: trigger: Super+Return is taken by another program"},
        {"running", false, true, "ok: trigger: Super+Return belongs to the running Mosaro"},
        {"taken, then running", true, true, "warning: trigger: the running Mosaro could not take Super+Return"},
    };
    int checked = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        X11Session session({1280, 800, QStringLiteral("openbox")});
        ASSERT_TRUE(session.ok()) << session.error().toStdString();
        std::optional<OtherClientGrab> holder;
        if (row.taken) {
            ASSERT_TRUE(holder.emplace(session.displayName()).grab());
        }
        MosaroAppDriver app(session, kMosaro);
        if (row.running) {
            app.useSessionBus(session.sessionBus());
            ASSERT_TRUE(app.start()) << app.lastError().toStdString();
        }
        const CheckRun run = runCheck(session);
        SCOPED_TRACE(run.output.toStdString());
        EXPECT_EQ(run.exitCode, 0);
        EXPECT_TRUE(run.hasLine(QString::fromUtf8(row.line)));
        EXPECT_EQ(run.output.contains(QStringLiteral("`mosaro --trigger`")), row.taken);
        EXPECT_EQ(run.hasLine(QStringLiteral("ok: session bus: reachable")), row.running);
        if (!row.running) {
            holder.reset();
            session.stopWindowManager();
            const CheckRun bare = runCheck(session);
            SCOPED_TRACE(bare.output.toStdString());
            EXPECT_EQ(bare.exitCode, 1);
            EXPECT_TRUE(bare.hasLine(QStringLiteral("error: no window manager is running")));
        }
        ++checked;
    }
    EXPECT_EQ(checked, 3);
}
