#include "support/wayland/SessionProcesses.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QThread>
#include <QTimer>

#include <csignal>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mosaro::test {

namespace {

std::optional<pid_t> parentOf(pid_t pid, char* state)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 2)
        return std::nullopt;
    *state = fields[0].isEmpty() ? '?' : fields[0][0];
    return pid_t(fields[1].toInt());
}

uid_t ownerOf(pid_t pid)
{
    struct stat st {};
    return ::stat(QFile::encodeName(QStringLiteral("/proc/%1").arg(pid)).constData(), &st) == 0 ? st.st_uid : uid_t(-1);
}

std::vector<pid_t> allPids()
{
    std::vector<pid_t> pids;
    for (const QString& name : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool ok = false;
        const int pid = name.toInt(&ok);
        if (ok)
            pids.push_back(pid);
    }
    return pids;
}

} // namespace

bool ownPath(const QString& path, bool asNobody, mode_t mode)
{
    const QByteArray p = QFile::encodeName(path);
    return ::chmod(p.constData(), mode) == 0 &&
           (!asNobody || ::chown(p.constData(), unprivilegedUid, unprivilegedUid) == 0);
}

pid_t forkExec(const QStringList& command, const QStringList& environment, const QString& logPath)
{
    std::vector<QByteArray> storage;
    for (const QString& s : command + environment)
        storage.push_back(s.toLocal8Bit());
    std::vector<char*> args;
    std::vector<char*> env;
    for (qsizetype i = 0; i < qsizetype(storage.size()); ++i)
        (i < command.size() ? args : env).push_back(storage[std::size_t(i)].data());
    args.push_back(nullptr);
    env.push_back(nullptr);
    const QByteArray log = QFile::encodeName(logPath);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int fd = ::open(log.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        const int null = ::open("/dev/null", O_RDONLY);
        if (fd >= 0) {
            ::dup2(fd, 1);
            ::dup2(fd, 2);
        }
        if (null >= 0)
            ::dup2(null, 0);
        ::execvpe(args[0], args.data(), env.data());
        ::_exit(127);
    }
    return pid;
}

std::vector<pid_t> pidsWithRuntime(const QString& runtime)
{
    const QByteArray marker = "XDG_RUNTIME_DIR=" + QFile::encodeName(runtime);
    std::vector<pid_t> found;
    for (pid_t pid : allPids()) {
        QFile environ(QStringLiteral("/proc/%1/environ").arg(pid));
        if (pid != ::getpid() && environ.open(QIODevice::ReadOnly) && environ.readAll().split('\0').contains(marker))
            found.push_back(pid);
    }
    return found;
}

void endSession(const QString& runtime, std::vector<pid_t> pids, bool asNobody)
{
    const std::vector<pid_t> session = pidsWithRuntime(runtime);
    pids.insert(pids.end(), session.begin(), session.end());
    for (pid_t pid : pids)
        ::kill(pid, SIGTERM);
    eventually([&] { return pidsWithRuntime(runtime).empty(); }, 3000);
    for (pid_t pid : pidsWithRuntime(runtime))
        ::kill(pid, SIGKILL);
    eventually([&] { return pidsWithRuntime(runtime).empty(); }, 2000);
    // Reap our children and the orphans that came back to us; under root only the session's
    // user's, so that no other part of the test loses its own.
    for (pid_t pid : allPids()) {
        char state = 0;
        const bool mine =
            std::find(pids.begin(), pids.end(), pid) != pids.end() || (asNobody && ownerOf(pid) == unprivilegedUid);
        if (mine && parentOf(pid, &state) == ::getpid())
            ::waitpid(pid, nullptr, state == 'Z' ? 0 : WNOHANG);
    }
}

bool eventually(const std::function<bool()>& condition, int timeoutMs, int stepMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        if (QCoreApplication::instance()) {
            QEventLoop loop;
            QTimer::singleShot(stepMs, &loop, &QEventLoop::quit);
            loop.exec();
        } else {
            QThread::msleep(stepMs);
        }
    }
    return true;
}

void stopProcess(pid_t pid, std::vector<pid_t>& children)
{
    if (pid <= 0)
        return;
    ::kill(pid, SIGTERM);
    if (!eventually([&] { return ::waitpid(pid, nullptr, WNOHANG) != 0; }, 3000)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    std::erase(children, pid);
}

QStringList asUnprivileged()
{
    return {QStringLiteral("/usr/bin/setpriv"), QStringLiteral("--reuid=65534"), QStringLiteral("--regid=65534"),
            QStringLiteral("--clear-groups"), QStringLiteral("--")};
}

} // namespace mosaro::test
