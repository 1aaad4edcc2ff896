#pragma once

#include <QObject>

namespace mosaro {

// The update machinery under the controller: started once, able to run one check at a time,
// with an automatic-check setting it keeps itself.
class UpdateService : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Starts the service: from now on it checks on its own schedule when automatic checks are on.
    virtual void start() = 0;
    // False while a check runs.
    virtual bool canCheckForUpdates() const = 0;
    // A check the user asked for; it ends in one answer shown to the user.
    virtual void checkForUpdates() = 0;
    virtual bool automaticallyChecksForUpdates() const = 0;
    virtual void setAutomaticallyChecksForUpdates(bool enabled) = 0;

Q_SIGNALS:
    void canCheckForUpdatesChanged(bool canCheck);
};

} // namespace mosaro
