#include "support/wayland/MosaroProcess.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace mosaro::test {

MosaroProcess::MosaroProcess(CompositorSession& session, const QString& binary)
    : m_session(session), m_binary(session.executable(binary.isEmpty() ? QStringLiteral(MOSARO_BINARY) : binary)),
      m_folder(QDir::cleanPath(session.runtimeDirectory() + QStringLiteral("/../mosaro"))),
      m_home(session.mosaroHome().isEmpty() ? m_folder : session.mosaroHome())
{
    for (const QString& folder : {m_folder, m_home + QStringLiteral("/.config")})
        QDir().mkpath(folder);
    // A session whose programs run as another user hands it the folders.
    if (!session.userCommand().isEmpty())
        for (const QString& folder : {m_folder, m_home + QStringLiteral("/.config")})
            ownFile(folder, true, 0700);
}

MosaroProcess::~MosaroProcess()
{
    stop();
}

QStringList MosaroProcess::environment() const
{
    return QStringList{QStringLiteral("PATH=/usr/local/bin:/usr/bin:/bin"),
                       QStringLiteral("HOME=") + m_home,
                       QStringLiteral("XDG_CONFIG_HOME=") + m_home + QStringLiteral("/.config"),
                       QStringLiteral("XDG_DATA_HOME=") + m_home + QStringLiteral("/.local/share"),
                       QStringLiteral("XDG_RUNTIME_DIR=") + m_session.runtimeDirectory(),
                       QStringLiteral("XDG_SESSION_TYPE=wayland"),
                       QStringLiteral("WAYLAND_DISPLAY=") + m_session.waylandDisplay(),
                       QStringLiteral("DBUS_SESSION_BUS_ADDRESS=") + m_session.busAddress(),
                       QStringLiteral("LANG=C.UTF-8")} +
           m_session.mosaroEnvironment();
}

bool MosaroProcess::start()
{
    const QByteArray logPath = QFile::encodeName(m_folder + QStringLiteral("/mosaro.log"));
    // A Mosaro before this one may have written the same log.
    const int earlier = count(QStringLiteral("trigger hotkey should be live"));
    m_pid = launch(m_session.userCommand() + QStringList{m_binary, QStringLiteral("--verbose")}, environment(),
                   QFile::decodeName(logPath));
    return waitForLog(QStringLiteral("trigger hotkey should be live"), earlier + 1, 20000);
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
    QStringList command = m_session.userCommand() + QStringList{m_binary} + arguments;
    process.start(command.takeFirst(), command);
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
            QFile file(m_home + QStringLiteral("/.config/Mosaro/defaults.json"));
            return file.open(QIODevice::ReadOnly) && QString::fromUtf8(file.readAll()).contains(needle);
        },
        timeoutMs);
}

} // namespace mosaro::test
