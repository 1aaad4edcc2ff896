#include "Platform/Linux/DBusSingleInstance.h"

#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QEventLoop>
#include <QTimer>

namespace mosaro {

namespace {

constexpr int kCallTimeoutMs = 5000;

// Objects of this process that hold the name.
int s_primariesInProcess = 0;

} // namespace

DBusSingleInstance::DBusSingleInstance() : DBusSingleInstance(QDBusConnection::sessionBus())
{}

DBusSingleInstance::DBusSingleInstance(const QDBusConnection& connection) : m_connection(connection)
{}

DBusSingleInstance::~DBusSingleInstance()
{
    if (m_ownsName) {
        --s_primariesInProcess;
        if (m_connection.isConnected())
            m_connection.unregisterService(QString::fromLatin1(serviceName));
    }
    if (m_registered)
        m_connection.unregisterObject(QString::fromLatin1(objectPath));
}

QString DBusSingleInstance::methodName(RemoteCommand command)
{
    switch (command) {
    case RemoteCommand::trigger:
        return QStringLiteral("Trigger");
    case RemoteCommand::showSettings:
        return QStringLiteral("ShowSettings");
    case RemoteCommand::showAbout:
        return QStringLiteral("ShowAbout");
    case RemoteCommand::quit:
        break;
    }
    return QStringLiteral("Quit");
}

QString DBusSingleInstance::unavailableReason() const
{
    const QDBusError error = m_connection.lastError();
    if (error.isValid() && !error.message().isEmpty())
        return error.message();
    return QStringLiteral("not connected");
}

SingleInstance::Claim DBusSingleInstance::claim(std::function<void(RemoteCommand)> handler)
{
    if (!m_connection.isConnected() || !m_connection.interface())
        return Claim::unavailable;
    // The object is there before the name is, so that a call arriving right after the name was
    // taken finds it.
    m_registered =
        m_connection.registerObject(QString::fromLatin1(objectPath), this, QDBusConnection::ExportScriptableSlots);
    if (!m_registered)
        return Claim::unavailable;
    const auto reply = m_connection.interface()->registerService(QString::fromLatin1(serviceName),
                                                                 QDBusConnectionInterface::DontQueueService,
                                                                 QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        m_connection.unregisterObject(QString::fromLatin1(objectPath));
        m_registered = false;
        return Claim::unavailable;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        m_connection.unregisterObject(QString::fromLatin1(objectPath));
        m_registered = false;
        return Claim::alreadyRunning;
    }
    m_ownsName = true;
    ++s_primariesInProcess;
    m_handler = std::move(handler);
    return Claim::primary;
}

SingleInstance::SendResult DBusSingleInstance::send(RemoteCommand command)
{
    if (!m_connection.isConnected())
        return {Delivery::unavailable, {}};
    QDBusMessage call =
        QDBusMessage::createMethodCall(QString::fromLatin1(serviceName), QString::fromLatin1(objectPath),
                                       QString::fromLatin1(interfaceName), methodName(command));
    // Nothing should start Mosaro as a side effect of asking whether it runs.
    call.setAutoStartService(false);
    QDBusMessage reply;
    if (s_primariesInProcess == 0) {
        reply = m_connection.call(call, QDBus::Block, kCallTimeoutMs);
    } else {
        // The running Mosaro is served by this very thread (tests do that): its event loop has to
        // keep turning while we wait. A plain blocking call is kept for every other case, since
        // turning the loop in a short-lived process leaves bus signals queued for its exit.
        QDBusPendingCallWatcher watcher(m_connection.asyncCall(call, kCallTimeoutMs));
        if (!watcher.isFinished()) {
            QEventLoop loop;
            QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
            loop.exec(QEventLoop::ExcludeUserInputEvents);
        }
        reply = watcher.reply();
    }
    if (reply.type() == QDBusMessage::ReplyMessage)
        return {Delivery::delivered, {}};
    const QString error = reply.errorName();
    if (error == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown") ||
        error == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner"))
        return {Delivery::noInstance, {}};
    return {Delivery::failed, reply.errorMessage().isEmpty() ? error : reply.errorMessage()};
}

void DBusSingleInstance::received(RemoteCommand command)
{
    // The caller gets its answer first; the command runs from the event loop afterwards.
    QTimer::singleShot(0, this, [this, command] {
        if (m_handler)
            m_handler(command);
    });
}

void DBusSingleInstance::Trigger()
{
    received(RemoteCommand::trigger);
}

void DBusSingleInstance::ShowSettings()
{
    received(RemoteCommand::showSettings);
}

void DBusSingleInstance::ShowAbout()
{
    received(RemoteCommand::showAbout);
}

void DBusSingleInstance::Quit()
{
    received(RemoteCommand::quit);
}

bool DBusSingleInstance::TriggerStatus(QString& shortcut)
{
    const TriggerState state = triggerState ? triggerState() : TriggerState{};
    shortcut = state.shortcut;
    return state.grabbed;
}

} // namespace mosaro
