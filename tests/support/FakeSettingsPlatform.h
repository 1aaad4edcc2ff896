#pragma once

#include "Platform/LoginItemService.h"
#include "Updates/UpdateService.h"

#include <QString>
#include <optional>

namespace mosaro::test {

// The platform's login-item registration, with a failure the test can switch on.
class FakeLoginItems : public LoginItemService {
public:
    Status<QString> registerApp() override { return change(true); }
    Status<QString> unregisterApp() override { return change(false); }
    RegistrationStatus status() const override { return registered; }

    RegistrationStatus registered = RegistrationStatus::notRegistered;
    std::optional<QString> failWith;

private:
    Status<QString> change(bool enable)
    {
        if (failWith)
            return unexpected(*failWith);
        registered = enable ? RegistrationStatus::enabled : RegistrationStatus::notRegistered;
        return Ok{};
    }
};

// An update service that answers at once and remembers what it was asked.
class FakeUpdateService : public UpdateService {
public:
    void start() override {}
    bool canCheckForUpdates() const override { return canCheck; }
    void checkForUpdates() override { ++checks; }
    bool automaticallyChecksForUpdates() const override { return automatic; }
    void setAutomaticallyChecksForUpdates(bool enabled) override { automatic = enabled; }

    // The service's own report that a check started or ended.
    void reportCanCheck(bool value)
    {
        canCheck = value;
        Q_EMIT canCheckForUpdatesChanged(value);
    }

    bool canCheck = true;
    bool automatic = true;
    int checks = 0;
};

} // namespace mosaro::test
