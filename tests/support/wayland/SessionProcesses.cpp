#include "support/wayland/SessionProcesses.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QThread>
#include <QTimer>

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
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

bool ownFile(const QString& path, bool asNobody, mode_t mode)
{
    const QByteArray p = QFile::encodeName(path);
    return ::chmod(p.constData(), mode) == 0 &&
           (!asNobody || ::chown(p.constData(), unprivilegedUid, unprivilegedUid) == 0);
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

QStringList asUser(bool asNobody)
{
    if (!asNobody)
        return {};
    return {QStringLiteral("/usr/bin/setpriv"), QStringLiteral("--reuid=%1").arg(unprivilegedUid),
            QStringLiteral("--regid=%1").arg(unprivilegedUid), QStringLiteral("--clear-groups"), QStringLiteral("--")};
}

QStringList rootRun(const QString& runtime, QStringList& environment, const QStringList& options)
{
    QStringList command{QStringLiteral(MOSARO_DEBIAN_ROOT_SCRIPT), QStringLiteral("run"), QStringLiteral("--runtime"),
                        runtime};
    command << options;
    for (const QString& variable : environment)
        if (!variable.startsWith(QLatin1String("PATH=")) && !variable.startsWith(QLatin1String("HOME=")) &&
            !variable.startsWith(QLatin1String("XDG_RUNTIME_DIR=")))
            command << QStringLiteral("--env") << variable;
    environment[0] = QStringLiteral("PATH=/usr/sbin:/usr/bin:/sbin:/bin"); // the sessions put PATH first
    // The script finds the root where the tests were told it is.
    if (const QString dir = qEnvironmentVariable("MOSARO_WAYLAND_ROOT_DIR"); !dir.isEmpty())
        environment << QStringLiteral("MOSARO_WAYLAND_ROOT_DIR=") + dir;
    return command << QStringLiteral("--");
}

pid_t launch(const QStringList& command, const QStringList& environment, const QString& log)
{
    std::vector<QByteArray> storage;
    for (const QString& s : command)
        storage.push_back(s.toLocal8Bit());
    for (const QString& s : environment)
        storage.push_back(s.toLocal8Bit());
    std::vector<char*> args;
    std::vector<char*> env;
    for (qsizetype i = 0; i < qsizetype(storage.size()); ++i)
        (i < command.size() ? args : env).push_back(storage[std::size_t(i)].data());
    args.push_back(nullptr);
    env.push_back(nullptr);
    const QByteArray logPath = QFile::encodeName(log);
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int fd = ::open(logPath.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
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

std::vector<pid_t> processesOf(const QString& runtime)
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

void stopSession(const QString& runtime, std::vector<pid_t> children, bool asNobody)
{
    std::vector<pid_t> pids = processesOf(runtime);
    pids.insert(pids.end(), children.begin(), children.end());
    for (pid_t pid : pids)
        ::kill(pid, SIGTERM);
    eventually([&] { return processesOf(runtime).empty(); }, 3000);
    for (pid_t pid : processesOf(runtime))
        ::kill(pid, SIGKILL);
    eventually([&] { return processesOf(runtime).empty(); }, 2000);
    // Our children and the orphans that came back to us.
    for (pid_t pid : allPids()) {
        char state = 0;
        const bool mine =
            std::find(pids.begin(), pids.end(), pid) != pids.end() || (asNobody && ownerOf(pid) == unprivilegedUid);
        if (mine && parentOf(pid, &state) == ::getpid())
            ::waitpid(pid, nullptr, state == 'Z' ? 0 : WNOHANG);
    }
}

CompositorSession::CompositorSession(const QString& name, bool root)
    : m_base(QDir::tempPath() + QStringLiteral("/mosaro-%1-XXXXXX").arg(name)), m_asNobody(::geteuid() == 0),
      m_root(root)
{
    // Orphans of what the compositor starts (a bar, the commands of its bindings) come back to us,
    // so that they can be found, stopped and reaped.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    m_base.setAutoRemove(qEnvironmentVariableIsEmpty("MOSARO_KEEP_SESSION"));
    m_runtime = m_base.path() + QStringLiteral("/run");
    m_home = m_base.path() + QStringLiteral("/home");
    m_logs = m_base.path() + QStringLiteral("/logs");
    for (const QString& dir : {m_runtime, m_home, m_logs})
        QDir().mkpath(dir);
    if (!m_base.isValid() || !ownFile(m_base.path(), false, 0711) || !ownFile(m_runtime, m_asNobody, 0700) ||
        !ownFile(m_home, m_asNobody, 0700))
        m_error = QStringLiteral("cannot prepare the session's directories under %1").arg(m_base.path());
}

CompositorSession::~CompositorSession()
{
    // What the compositor started carries its environment, the runtime folder included.
    stopSession(m_runtime, m_children, m_asNobody);
}

QString CompositorSession::logPath(const QString& program) const
{
    return m_logs + QLatin1Char('/') + QFileInfo(program).fileName() + QStringLiteral(".log");
}

QStringList CompositorSession::sessionEnvironment() const
{
    return {QStringLiteral("PATH=/usr/local/bin:/usr/bin:/bin"), QStringLiteral("HOME=") + m_home,
            QStringLiteral("LANG=C.UTF-8"), QStringLiteral("XDG_RUNTIME_DIR=") + m_runtime,
            QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") + busAddress()};
}

pid_t CompositorSession::launchChild(const QStringList& command, const QStringList& environment, const QString& program)
{
    const pid_t pid = launch(command, environment, logPath(program));
    if (pid > 0)
        m_children.push_back(pid);
    return pid;
}

int CompositorSession::finish(pid_t pid)
{
    int status = -1;
    eventually([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, 5000);
    std::erase(m_children, pid);
    return status;
}

pid_t CompositorSession::startBus()
{
    if (m_root)
        return -1;
    return spawn({QStringLiteral("dbus-daemon"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                  QStringLiteral("--config-file=") + QStringLiteral(MOSARO_SESSION_BUS_CONFIG),
                  QStringLiteral("--address=") + busAddress()});
}

QString CompositorSession::log(const QString& program) const
{
    QFile file(logPath(program));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void CompositorSession::stop(pid_t pid)
{
    if (pid <= 0)
        return;
    ::kill(pid, SIGTERM);
    if (!eventually([&] { return ::waitpid(pid, nullptr, WNOHANG) != 0; }, 3000)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, nullptr, 0);
    }
    std::erase(m_children, pid);
}

bool CompositorSession::signal(const QByteArray& name, int signal) const
{
    for (pid_t pid : processesOf(m_runtime)) {
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        if (comm.open(QIODevice::ReadOnly) && comm.readAll().trimmed() == name)
            return ::kill(pid, signal) == 0;
    }
    return false;
}

QString CompositorSession::copyHere(const QString& path)
{
    QDir().mkpath(m_base.path() + QStringLiteral("/bin"));
    const QString copy = m_base.path() + QStringLiteral("/bin/") + QFileInfo(path).fileName();
    return (QFile::exists(copy) || QFile::copy(path, copy)) && ownFile(copy, false, 0755) ? copy : QString();
}

} // namespace mosaro::test
