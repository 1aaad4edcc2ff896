#pragma once

#include <QProcess>
#include <QString>

namespace mosaro::test {

// A D-Bus session bus of the test's own (dbus-daemon), so that nothing reaches the user's
// session and parallel tests do not meet. Stopped when destroyed, and with the test if it dies.
class PrivateSessionBus {
public:
    PrivateSessionBus();
    ~PrivateSessionBus();
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    bool ok() const { return !m_address.isEmpty(); }
    QString error() const { return m_error; }
    // The bus address, as DBUS_SESSION_BUS_ADDRESS takes it.
    QString address() const { return m_address; }

private:
    QProcess m_daemon;
    QString m_address;
    QString m_error;
};

} // namespace mosaro::test
