#pragma once

#include "Platform/SingleInstance.h"

#include <QDBusConnection>
#include <QObject>

namespace mosaro {

// The session's one Mosaro on the D-Bus session bus: the name tech.brenmark.mosaro, held without
// queueing, and the object /tech/brenmark/mosaro with the interface tech.brenmark.mosaro
// (Trigger, ShowSettings, ShowAbout, Quit; no arguments, no results), and TriggerStatus, which
// answers whether the trigger's grab is held and the trigger in the desktop's notation.
class DBusSingleInstance final : public QObject, public SingleInstance {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "tech.brenmark.mosaro")

public:
    static constexpr const char* serviceName = "tech.brenmark.mosaro";
    static constexpr const char* objectPath = "/tech/brenmark/mosaro";
    static constexpr const char* interfaceName = "tech.brenmark.mosaro";

    // The session bus of the environment.
    DBusSingleInstance();
    // A given bus, for tests on a private one.
    explicit DBusSingleInstance(const QDBusConnection& connection);
    ~DBusSingleInstance() override;

    Claim claim(std::function<void(RemoteCommand)> handler) override;
    SendResult send(RemoteCommand command) override;
    QString unavailableReason() const override;

    // What TriggerStatus answers; unset, it answers (false, "").
    struct TriggerState {
        bool grabbed = false;
        QString shortcut;
    };
    std::function<TriggerState()> triggerState;

    // The method a command calls.
    static QString methodName(RemoteCommand command);

public Q_SLOTS:
    Q_SCRIPTABLE void Trigger();      // NOLINT(readability-identifier-naming): D-Bus method names
    Q_SCRIPTABLE void ShowSettings(); // NOLINT(readability-identifier-naming)
    Q_SCRIPTABLE void ShowAbout();    // NOLINT(readability-identifier-naming)
    Q_SCRIPTABLE void Quit();         // NOLINT(readability-identifier-naming)
    // NOLINTNEXTLINE(readability-identifier-naming)
    Q_SCRIPTABLE bool TriggerStatus(QString& shortcut);

private:
    void received(RemoteCommand command);

    QDBusConnection m_connection;
    std::function<void(RemoteCommand)> m_handler;
    bool m_registered = false;
    bool m_ownsName = false;
};

} // namespace mosaro
