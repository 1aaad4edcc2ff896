#include "Updates/UpdaterController.h"

namespace mosaro {

UpdaterController::UpdaterController(UpdateService& service) : m_service(service)
{
    m_service.start();
    connect(&m_service, &UpdateService::canCheckForUpdatesChanged, this, &UpdaterController::assignCanCheck);
    assignCanCheck(m_service.canCheckForUpdates());
}

void UpdaterController::assignCanCheck(bool canCheck)
{
    if (canCheck == m_canCheckForUpdates)
        return;
    m_canCheckForUpdates = canCheck;
    Q_EMIT canCheckForUpdatesChanged(canCheck);
}

void UpdaterController::checkForUpdates()
{
    m_service.checkForUpdates();
}

bool UpdaterController::automaticallyChecksForUpdates() const
{
    return m_service.automaticallyChecksForUpdates();
}

void UpdaterController::setAutomaticallyChecksForUpdates(bool enabled)
{
    Q_EMIT objectWillChange();
    m_service.setAutomaticallyChecksForUpdates(enabled);
}

} // namespace mosaro
