#include "Settings/AboutSettings.h"

#include "Platform/HostTexts.h"

namespace mosaro {

namespace {
QString orDash(const std::optional<QString>& value)
{
    return value ? *value : QString(QChar(0x2014));
}
} // namespace

QString versionText(const BundleFacts& bundle)
{
    return orDash(bundle.shortVersionString) + QStringLiteral(" (") + orDash(bundle.bundleVersion) +
           QStringLiteral(")");
}

QString bundleIdentifierText(const BundleFacts& bundle)
{
    return orDash(bundle.bundleIdentifier);
}

QString permissionExplanation(const PermissionState& state)
{
    switch (state.kind) {
    case PermissionState::Kind::notDetermined:
        return hostText(HostText::permissionNotDeterminedExplanation);
    case PermissionState::Kind::granted:
        return QStringLiteral("Mosaro can move and resize windows. You're all set.");
    case PermissionState::Kind::denied:
        return hostText(HostText::permissionDeniedExplanation);
    }
    return {};
}

PermissionPoller::PermissionPoller(PermissionGate& gate, Scheduler& scheduler, QObject* parent)
    : QObject(parent), m_gate(gate), m_scheduler(scheduler)
{}

PermissionPoller::~PermissionPoller()
{
    disappear();
}

void PermissionPoller::appear()
{
    refresh();
    disappear();
    m_timer = m_scheduler.scheduleRepeating(interval, [this] { refresh(); });
}

void PermissionPoller::disappear()
{
    if (m_timer)
        m_scheduler.cancel(*m_timer);
    m_timer.reset();
}

void PermissionPoller::refresh()
{
    const PermissionState state = m_gate.check(false);
    if (state == m_state)
        return;
    m_state = state;
    Q_EMIT stateChanged();
}

} // namespace mosaro
