#include "support/wayland/MosaroProcess.h"

#include "support/wayland/SessionProcesses.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace mosaro::test {

MosaroProcess::MosaroProcess(SwaySession& session, QString binary)
    : MosaroProcess(session.runtimeDirectory(), {},
                    {QStringLiteral("WAYLAND_DISPLAY=") + session.waylandDisplay(),
                     QStringLiteral("SWAYSOCK=") + session.swaySocket(),
                     QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") + session.busAddress()},
                    std::move(binary))
{}

MosaroProcess::MosaroProcess(GnomeSession& session)
    : MosaroProcess(session.runtimeDirectory(), session.home(),
                    {QStringLiteral("WAYLAND_DISPLAY=") + session.waylandDisplay(),
                     QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") + session.busAddress()},
                    {})
{}

MosaroProcess::MosaroProcess(const QString& runtime, QString home, const QStringList& session, QString binary)
    : m_binary(binary.isEmpty() ? QStringLiteral(MOSARO_BINARY) : std::move(binary)),
      m_folder(QDir::cleanPath(runtime + QStringLiteral("/../mosaro")))
{
    if (home.isEmpty())
        home = m_folder;
    m_configHome = home + QStringLiteral("/.config");
    QDir().mkpath(m_folder);
    QDir().mkpath(m_configHome);
    m_environment = QStringList{QStringLiteral("HOME=") + home, QStringLiteral("XDG_CONFIG_HOME=") + m_configHome,
                                QStringLiteral("XDG_DATA_HOME=") + home + QStringLiteral("/.local/share"),
                                QStringLiteral("XDG_RUNTIME_DIR=") + runtime} +
                    session;
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
    m_pid = forkExec({m_binary, QStringLiteral("--verbose")}, environment(), m_folder + QStringLiteral("/mosaro.log"));
    return waitForLog(QStringLiteral("trigger hotkey should be live"), 1, 20000);
}

int MosaroProcess::run(const QStringList& arguments, QString* output, int timeoutMs, const QStringList& unset)
{
    QProcess process;
    QProcessEnvironment env;
    for (const QString& variable : environment())
        if (!unset.contains(variable.section(QLatin1Char('='), 0, 0)))
            env.insert(variable.section(QLatin1Char('='), 0, 0), variable.section(QLatin1Char('='), 1));
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(m_binary, arguments);
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
    if (m_pid <= 0 || !eventually([&] { return ::waitpid(m_pid, &status, WNOHANG) == m_pid; }, timeoutMs))
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
    return eventually([&] { return count(needle) >= times; }, timeoutMs);
}

bool MosaroProcess::waitForDefaults(const QString& needle, int timeoutMs) const
{
    return eventually(
        [&] {
            QFile file(m_configHome + QStringLiteral("/Mosaro/defaults.json"));
            return file.open(QIODevice::ReadOnly) && QString::fromUtf8(file.readAll()).contains(needle);
        },
        timeoutMs);
}

} // namespace mosaro::test
