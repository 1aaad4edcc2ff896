#pragma once

#include "Platform/Expected.h"
#include "Platform/LoginItemService.h"

#include <QString>

namespace mosaro {

// Starting Mosaro at login: registers or unregisters the application with the platform. On
// failure the platform's error comes back to the caller, which logs it; nothing is logged here.
Status<QString> setLaunchAtLogin(LoginItemService& service, bool enabled);

// True exactly when the platform reports the registration as enabled.
bool isLaunchAtLoginEnabled(const LoginItemService& service);

} // namespace mosaro
