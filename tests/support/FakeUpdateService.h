#pragma once

#include "Updates/UpdateService.h"

namespace mosaro::test {

// An update service whose check runs until the test finishes it.
class FakeUpdateService : public UpdateService {
public:
    void start() override { ++starts; }
    bool canCheckForUpdates() const override { return !checking; }
    void checkForUpdates() override
    {
        ++checks;
        setChecking(true);
    }
    bool automaticallyChecksForUpdates() const override { return automatic; }
    void setAutomaticallyChecksForUpdates(bool enabled) override { automatic = enabled; }

    void setChecking(bool running)
    {
        if (running == checking)
            return;
        checking = running;
        Q_EMIT canCheckForUpdatesChanged(!checking);
    }

    int starts = 0;
    int checks = 0;
    bool checking = false;
    bool automatic = false;
};

} // namespace mosaro::test
