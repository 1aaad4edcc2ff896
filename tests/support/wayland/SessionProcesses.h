#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <functional>
#include <vector>

// What every headless compositor session of the tests does with processes: folders the
// unprivileged user owns, programs started with an exact environment and a log file, and the
// session's processes found again by its runtime folder (what its bus started is a child of init).
namespace mosaro::test {

inline constexpr uid_t unprivilegedUid = 65534; // nobody

bool ownPath(const QString& path, bool asNobody, mode_t mode);
// Forks and execs the command with exactly this environment, its output appended to the log.
pid_t forkExec(const QStringList& command, const QStringList& environment, const QString& logPath);
// Every process but ours whose environment holds XDG_RUNTIME_DIR=<runtime>.
std::vector<pid_t> pidsWithRuntime(const QString& runtime);
// SIGTERM, then SIGKILL, to the session's processes and the given ones; reaps ours (and, when the
// session ran as the unprivileged user, its orphans that came back to us).
void endSession(const QString& runtime, std::vector<pid_t> pids, bool asNobody);
// Until the condition holds or the time is up, turning the event loop (when there is one) every
// `stepMs` in between, so that what a test watches arrives meanwhile.
bool eventually(const std::function<bool()>& condition, int timeoutMs = 5000, int stepMs = 10);
// SIGTERM, then SIGKILL after 3 s, to one program started for the session; it leaves `children`.
void stopProcess(pid_t pid, std::vector<pid_t>& children);
// What runs a program as the unprivileged user (setpriv).
QStringList asUnprivileged();

} // namespace mosaro::test
