#include "support/PrivateSessionBus.h"

#include <signal.h>
#include <sys/prctl.h>

namespace mosaro::test {

PrivateSessionBus::PrivateSessionBus()
{
    m_daemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_daemon.setProcessChannelMode(QProcess::SeparateChannels);
    m_daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"),
                                                   QStringLiteral("--nopidfile"), QStringLiteral("--print-address=1")});
    if (!m_daemon.waitForStarted(5000)) {
        m_error = QStringLiteral("cannot start dbus-daemon: ") + m_daemon.errorString();
        return;
    }
    QByteArray line;
    while (!line.contains('\n') && m_daemon.waitForReadyRead(5000))
        line += m_daemon.readAllStandardOutput();
    m_address = QString::fromUtf8(line).trimmed();
    if (m_address.isEmpty())
        m_error =
            QStringLiteral("dbus-daemon printed no address: ") + QString::fromUtf8(m_daemon.readAllStandardError());
}

PrivateSessionBus::~PrivateSessionBus()
{
    if (m_daemon.state() == QProcess::NotRunning)
        return;
    m_daemon.terminate();
    if (!m_daemon.waitForFinished(2000)) {
        m_daemon.kill();
        m_daemon.waitForFinished(2000);
    }
}

} // namespace mosaro::test
