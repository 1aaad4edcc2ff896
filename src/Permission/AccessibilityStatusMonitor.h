#pragma once

#include "Permission/PermissionGate.h"
#include "Platform/System.h"

#include <QObject>
#include <optional>

namespace mosaro {

// Keeps "is accessibility access granted?" fresh by polling the gate every two seconds.
class AccessibilityStatusMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isGranted READ isGranted NOTIFY isGrantedChanged)

public:
    static constexpr double pollInterval = 2.0;

    static AccessibilityStatusMonitor& shared();

    // The shared instance's collaborators, handed over once at launch.
    void configure(PermissionGate* gate, Scheduler* scheduler);

    bool isGranted() const { return m_isGranted; }

    // Polls now and then every two seconds; later calls do nothing.
    void start();
    // Polls once; observers hear only about changes.
    void refresh();

    // Cancels the poll, forgets the collaborators and observers, and starts over as not granted.
    void resetForTesting();

Q_SIGNALS:
    void isGrantedChanged(bool isGranted);

private:
    AccessibilityStatusMonitor() = default;

    PermissionGate* m_gate = nullptr;
    Scheduler* m_scheduler = nullptr;
    std::optional<Scheduler::Token> m_timer;
    bool m_isGranted = false;
};

} // namespace mosaro
