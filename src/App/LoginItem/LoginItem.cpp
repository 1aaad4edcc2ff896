#include "App/LoginItem/LoginItem.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

namespace mosaro {

Status<QString> setLaunchAtLogin(LoginItemService& service, bool enabled)
{
    auto result = enabled ? service.registerApp() : service.unregisterApp();
    if (!result)
        return result;
    Log::lifecycle().info(enabled ? LogMessages::registeredLoginItem : LogMessages::unregisteredLoginItem);
    return result;
}

bool isLaunchAtLoginEnabled(const LoginItemService& service)
{
    return service.status() == LoginItemService::RegistrationStatus::enabled;
}

} // namespace mosaro
