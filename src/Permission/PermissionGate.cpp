#include "Permission/PermissionGate.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

#include <QUrl>
#include <optional>

namespace mosaro {

const QString PermissionGate::promptFlagKey = QStringLiteral("tech.brenmark.mosaro.hasPromptedAccessibility");
const QString PermissionGate::accessibilitySettingsUrl =
    QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility");

namespace {
// Main thread only, like every caller of the gate.
std::optional<PermissionState>& recordedState()
{
    static std::optional<PermissionState> state;
    return state;
}
} // namespace

PermissionGate::PermissionGate(AccessibilityTrust& trust, DefaultsStore& defaults, UrlOpener& urlOpener)
    : m_trust(trust), m_defaults(defaults), m_urlOpener(urlOpener)
{}

PermissionState PermissionGate::check(bool prompt)
{
    PermissionState state;
    if (m_trust.isProcessTrustedWithOptions(prompt)) {
        state = PermissionState::granted();
    } else if (prompt) {
        m_defaults.setBool(promptFlagKey, true);
        state = PermissionState::denied(true);
    } else {
        state = m_defaults.boolean(promptFlagKey) ? PermissionState::denied(true) : PermissionState::notDetermined();
    }
    record(state);
    return state;
}

void PermissionGate::requestAccess()
{
    (void)m_trust.isProcessTrustedWithOptions(true);
    m_defaults.setBool(promptFlagKey, true);
}

void PermissionGate::openAccessibilitySettings()
{
    const QUrl url(accessibilitySettingsUrl, QUrl::StrictMode);
    if (!url.isValid())
        return;
    m_urlOpener.openUrl(accessibilitySettingsUrl);
}

void PermissionGate::resetRecordedStateForTesting()
{
    recordedState().reset();
}

void PermissionGate::record(const PermissionState& state)
{
    auto& recorded = recordedState();
    // Only changes are logged, so the periodic poll stays quiet.
    if (recorded && *recorded == state)
        return;
    Log::permission().info(LogMessages::permissionState, toString(state));
    recorded = state;
}

} // namespace mosaro
