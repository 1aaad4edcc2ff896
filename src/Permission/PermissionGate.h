#pragma once

#include "Permission/PermissionState.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/DefaultsStore.h"
#include "Platform/System.h"

#include <QString>

namespace mosaro {

// Derives the accessibility permission state from the platform's trust answer and the
// remembered "we have prompted before" flag.
class PermissionGate {
public:
    static const QString promptFlagKey;
    static const QString accessibilitySettingsUrl;

    PermissionGate(AccessibilityTrust& trust, DefaultsStore& defaults, UrlOpener& urlOpener);

    // With prompt true and access missing, the platform asks the user and the flag is set.
    PermissionState check(bool prompt);
    // Shows the platform's prompt and remembers that it was shown.
    void requestAccess();
    void openAccessibilitySettings();

    // The last logged state is shared by every gate in the process; tests start afresh with this.
    static void resetRecordedStateForTesting();

private:
    static void record(const PermissionState& state);

    AccessibilityTrust& m_trust;
    DefaultsStore& m_defaults;
    UrlOpener& m_urlOpener;
};

} // namespace mosaro
