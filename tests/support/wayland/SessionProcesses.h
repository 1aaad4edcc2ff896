#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <sys/types.h>

#include <functional>
#include <vector>

namespace mosaro::test {

// What the Wayland sessions of the tests share: files handed to the unprivileged user that runs a
// compositor when the tests run as root, programs started with an environment of their own, and
// the processes of a session found by its runtime folder and stopped by pid.
// The user is $MOSARO_TEST_UID, as the root's scripts read it, else nobody; never root.
inline const uid_t unprivilegedUid = [] {
    bool ok = false;
    const int uid = qEnvironmentVariableIntValue("MOSARO_TEST_UID", &ok);
    return ok && uid > 0 ? uid_t(uid) : uid_t(65534);
}();
// Its user and group as chown takes them.
inline const QString unprivilegedOwner = QStringLiteral("%1:%1").arg(unprivilegedUid);

// A compositor's private session under /tmp, as the programs started on it see it (Mosaro among
// them): its runtime folder and home (the session user's), its programs' logs, its bus beside the
// runtime folder; everything it started is stopped by pid at the end. MOSARO_KEEP_SESSION=1 keeps
// the folders (configuration, logs, screenshots).
class CompositorSession {
public:
    virtual ~CompositorSession();
    virtual QString waylandDisplay() const = 0;
    // Mosaro's environment beyond the runtime folder, the display and the bus.
    virtual QStringList mosaroEnvironment() const { return {}; }
    // The words that run a program as the session's user; none: as the tests themselves.
    virtual QStringList userCommand() const { return {}; }
    // Mosaro's home when it shares the session's; empty: a folder of its own.
    virtual QString mosaroHome() const { return {}; }
    // A path of the program that the session's user can run.
    virtual QString executable(const QString& path) { return path; }
    bool ok() const { return m_error.isEmpty(); }
    QString error() const { return m_error; }
    QString runtimeDirectory() const { return m_runtime; }
    QString busAddress() const { return QStringLiteral("unix:path=") + m_runtime + QStringLiteral("/bus"); }
    // Starts a program of the compositor's system as the session's user, with the session's
    // environment plus `extra`; its output goes to a log file named after it. Returns its pid.
    virtual pid_t spawn(const QStringList& argv, const QStringList& extra = {}) = 0;
    // What a program started on the session has printed so far.
    QString log(const QString& program) const;
    // SIGTERM, then SIGKILL after three seconds.
    void stop(pid_t pid);
    // The signal to the session's process of that name (its /proc comm); false when there is none.
    bool signal(const QByteArray& name, int signal) const;
    // SIGTERM to the compositor itself, as when it crashes or the user logs out.
    virtual void stopCompositor() = 0;

protected:
    // `name` goes into the folder's name; `root`: the compositor comes from the Debian 13 root.
    CompositorSession(const QString& name, bool root);
    // A copy of a program beside the session, which the session's user can run (the build folder
    // may be closed to it).
    QString copyHere(const QString& path);
    QString logPath(const QString& program) const;
    // What every program of the session is started with; PATH first.
    QStringList sessionEnvironment() const;
    // Launches the command with that environment, logged under `program`'s name, as a child of the
    // session (stopped with it).
    pid_t launchChild(const QStringList& command, const QStringList& environment, const QString& program);
    // Waits up to five seconds for a short-lived child to end: its wait status (-1 when it did not).
    int finish(pid_t pid);
    // The session bus, unless the Debian 13 root's run starts its own beside the compositor (both
    // admit the tests' root user too).
    pid_t startBus();

    QString m_error;
    QTemporaryDir m_base;
    QString m_runtime;
    QString m_home;
    QString m_logs;
    bool m_asNobody = false;
    bool m_root = false;
    std::vector<pid_t> m_children;
};

bool ownFile(const QString& path, bool asNobody, mode_t mode);
// The words that run a program as the unprivileged user; none when `asNobody` is false.
QStringList asUser(bool asNobody);
// The words that run a program of the Debian 13 root (tests/wayland/root/) in the session's runtime
// folder, with `environment` but what the root's script sets itself, after `options` ("--session-bus",
// "--join PID"). The script runs as root: `environment`'s PATH becomes the system's administration one.
QStringList rootRun(const QString& runtime, QStringList& environment, const QStringList& options);
// Until the condition holds or the time is up, turning the event loop (when there is one) every
// `stepMs` in between, so that what a test watches arrives meanwhile.
bool eventually(const std::function<bool()>& condition, int timeoutMs = 5000, int stepMs = 10);
// Forks and runs the command with exactly this environment, its output appended to `log`.
pid_t launch(const QStringList& command, const QStringList& environment, const QString& log);
// Every process (but this one) that carries XDG_RUNTIME_DIR=runtime in its environment.
std::vector<pid_t> processesOf(const QString& runtime);
// Stops the session's processes and `children`: SIGTERM, then SIGKILL, then reaps what is ours
// (under root only the unprivileged user's, so that no other part of the test loses its own).
void stopSession(const QString& runtime, std::vector<pid_t> children, bool asNobody);

} // namespace mosaro::test
