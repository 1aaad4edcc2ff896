#pragma once

#include "Platform/Expected.h"

#include <QString>

namespace mosaro {

// The platform's registration of the running application as something that starts at login.
// Registration lives with the platform, never in Mosaro's own settings.
class LoginItemService {
public:
    enum class RegistrationStatus {
        notRegistered,
        enabled,
        requiresApproval,
        notFound
    };
    virtual ~LoginItemService() = default;

    // The error is a text that explains the failure in one line.
    virtual Status<QString> registerApp() = 0;
    virtual Status<QString> unregisterApp() = 0;
    virtual RegistrationStatus status() const = 0;
};

} // namespace mosaro
