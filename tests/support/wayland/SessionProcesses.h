#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <functional>
#include <optional>
#include <vector>

namespace mosaro::test {

// What the Wayland sessions of the tests share: files handed to the unprivileged user that runs a
// compositor when the tests run as root, programs started with an environment of their own, and
// the processes of a session found by its runtime folder and stopped by pid.
inline constexpr uid_t unprivilegedUid = 65534; // nobody

// What a compositor's session tells the programs started on it, Mosaro among them.
class CompositorSession {
public:
    virtual ~CompositorSession() = default;
    virtual QString runtimeDirectory() const = 0;
    virtual QString waylandDisplay() const = 0;
    virtual QString busAddress() const = 0;
    // Mosaro's environment beyond the runtime folder, the display and the bus.
    virtual QStringList mosaroEnvironment() const { return {}; }
    // The words that run a program as the session's user; none: as the tests themselves.
    virtual QStringList userCommand() const { return {}; }
    // A path of the program that the session's user can run.
    virtual QString executable(const QString& path) { return path; }
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
