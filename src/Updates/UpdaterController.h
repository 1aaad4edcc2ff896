#pragma once

#include "Updates/UpdateService.h"

#include <QObject>

namespace mosaro {

// The application's one contact with the update machinery, shared by the tray menu and the
// settings window.
class UpdaterController : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)

public:
    // Starts the service and takes over its current can-check value at once.
    explicit UpdaterController(UpdateService& service);

    bool canCheckForUpdates() const { return m_canCheckForUpdates; }
    void checkForUpdates();

    // Read from the service; the service keeps the setting, the controller keeps no copy.
    bool automaticallyChecksForUpdates() const;
    // Announces the coming change to observers, then writes it to the service.
    void setAutomaticallyChecksForUpdates(bool enabled);

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
    void objectWillChange();

private:
    void assignCanCheck(bool canCheck);

    UpdateService& m_service;
    bool m_canCheckForUpdates = false;
};

} // namespace mosaro
