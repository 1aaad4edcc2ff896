#include "Permission/AccessibilityStatusMonitor.h"

#include <QPointer>
#include <QtGlobal>

namespace mosaro {

AccessibilityStatusMonitor& AccessibilityStatusMonitor::shared()
{
    static AccessibilityStatusMonitor* instance = new AccessibilityStatusMonitor; // lives for the process
    return *instance;
}

void AccessibilityStatusMonitor::configure(PermissionGate* gate, Scheduler* scheduler)
{
    m_gate = gate;
    m_scheduler = scheduler;
}

void AccessibilityStatusMonitor::start()
{
    if (m_timer)
        return;
    if (!m_scheduler) {
        qWarning("AccessibilityStatusMonitor::start before configure(); not polling");
        return;
    }
    refresh();
    QPointer<AccessibilityStatusMonitor> self(this);
    m_timer = m_scheduler->scheduleRepeating(pollInterval, [self] {
        if (self)
            self->refresh();
    });
}

void AccessibilityStatusMonitor::refresh()
{
    if (!m_gate) {
        qWarning("AccessibilityStatusMonitor::refresh before configure(); keeping isGranted=%d", m_isGranted);
        return;
    }
    const bool granted = m_gate->check(false).isGranted();
    if (granted == m_isGranted)
        return;
    m_isGranted = granted;
    Q_EMIT isGrantedChanged(granted);
}

void AccessibilityStatusMonitor::resetForTesting()
{
    if (m_timer && m_scheduler)
        m_scheduler->cancel(*m_timer);
    m_timer.reset();
    m_gate = nullptr;
    m_scheduler = nullptr;
    m_isGranted = false;
    disconnect(this, &AccessibilityStatusMonitor::isGrantedChanged, nullptr, nullptr);
}

} // namespace mosaro
