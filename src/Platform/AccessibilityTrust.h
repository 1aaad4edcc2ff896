#pragma once

namespace mosaro {

// The platform's answer to "may this process control other applications' windows?".
class AccessibilityTrust {
public:
    virtual ~AccessibilityTrust() = default;
    // With prompt true and the process untrusted, the platform asks the user to grant access.
    virtual bool isProcessTrustedWithOptions(bool prompt) = 0;
};

} // namespace mosaro
