#include "support/wayland/MosaroProcess.h"

#include "support/wayland/SessionProcesses.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mosaro::test {

MosaroProcess::MosaroProcess(SwaySession& session)
    : m_folder(QDir::cleanPath(session.runtimeDirectory() + QStringLiteral("/../mosaro"))),
      m_configHome(m_folder + QStringLiteral("/config"))
{
    QDir().mkpath(m_configHome);
    m_environment = {QStringLiteral("HOME=") + m_folder,
                     QStringLiteral("XDG_CONFIG_HOME=") + m_configHome,
                     QStringLiteral("XDG_DATA_HOME=") + m_folder + QStringLiteral("/data"),
                     QStringLiteral("XDG_RUNTIME_DIR=") + session.runtimeDirectory(),
                     QStringLiteral("WAYLAND_DISPLAY=") + session.waylandDisplay(),
                     QStringLiteral("SWAYSOCK=") + session.swaySocket(),
                     QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") + session.busAddress()};
}

MosaroProcess::MosaroProcess(GnomeSession& session)
    : m_folder(QDir::cleanPath(session.runtimeDirectory() + QStringLiteral("/../mosaro"))),
      m_configHome(session.home() + QStringLiteral("/.config"))
{
    QDir().mkpath(m_folder);
    m_environment = {QStringLiteral("HOME=") + session.home(),
                     QStringLiteral("XDG_CONFIG_HOME=") + m_configHome,
                     QStringLiteral("XDG_DATA_HOME=") + session.home() + QStringLiteral("/.local/share"),
                     QStringLiteral("XDG_RUNTIME_DIR=") + session.runtimeDirectory(),
                     QStringLiteral("WAYLAND_DISPLAY=") + session.waylandDisplay(),
                     QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") + session.busAddress()};
}

MosaroProcess::~MosaroProcess()
{
    stop();
}

QStringList MosaroProcess::environment() const
{
    return QStringList{QStringLiteral("PATH=/usr/local/bin:/usr/bin:/bin"), QStringLiteral("XDG_SESSION_TYPE=wayland"),
                       QStringLiteral("LANG=C.UTF-8")} +
           m_environment;
}

bool MosaroProcess::start()
{
    const QByteArray logPath = QFile::encodeName(m_folder + QStringLiteral("/mosaro.log"));
    std::vector<QByteArray> storage{QByteArrayLiteral(MOSARO_BINARY), QByteArrayLiteral("--verbose")};
    const QStringList env = environment();
    for (const QString& variable : env)
        storage.push_back(variable.toLocal8Bit());
    std::vector<char*> args{storage[0].data(), storage[1].data(), nullptr};
    std::vector<char*> envp;
    for (std::size_t i = 2; i < storage.size(); ++i)
        envp.push_back(storage[i].data());
    envp.push_back(nullptr);
    m_pid = ::fork();
    if (m_pid == 0) {
        const int fd = ::open(logPath.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        if (fd >= 0) {
            ::dup2(fd, 1);
            ::dup2(fd, 2);
        }
        ::execve(args[0], args.data(), envp.data());
        ::_exit(127);
    }
    return waitForLog(QStringLiteral("trigger hotkey should be live"), 1, 20000);
}

int MosaroProcess::run(const QStringList& arguments, QString* output, int timeoutMs)
{
    QProcess process;
    QProcessEnvironment env;
    for (const QString& variable : environment())
        env.insert(variable.section(QLatin1Char('='), 0, 0), variable.section(QLatin1Char('='), 1));
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(MOSARO_BINARY), arguments);
    const bool done = process.waitForFinished(timeoutMs);
    if (output)
        *output = QString::fromUtf8(process.readAll());
    if (!done) {
        process.kill();
        process.waitForFinished(1000);
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

std::optional<int> MosaroProcess::waitForExit(int timeoutMs)
{
    int status = 0;
    if (m_pid <= 0 || !waitUntil([&] { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; }, timeoutMs))
        return std::nullopt;
    m_pid = -1;
    return WIFEXITED(status) ? std::optional<int>(WEXITSTATUS(status)) : std::nullopt;
}

void MosaroProcess::stop()
{
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGTERM);
    if (!waitForExit(5000) && m_pid > 0) {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

QString MosaroProcess::log() const
{
    QFile file(m_folder + QStringLiteral("/mosaro.log"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool MosaroProcess::waitForLog(const QString& needle, int times, int timeoutMs) const
{
    return waitUntil([&] { return count(needle) >= times; }, timeoutMs);
}

bool MosaroProcess::waitForDefaults(const QString& needle, int timeoutMs) const
{
    return waitUntil(
        [&] {
            QFile file(m_configHome + QStringLiteral("/Mosaro/defaults.json"));
            return file.open(QIODevice::ReadOnly) && QString::fromUtf8(file.readAll()).contains(needle);
        },
        timeoutMs);
}

} // namespace mosaro::test
