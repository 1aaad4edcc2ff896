#pragma once

#include "Platform/SingleInstance.h"

#include <vector>

namespace mosaro::test {

// A session as the test arranges it: whether a Mosaro already runs, whether there is a bus.
class FakeSingleInstance : public SingleInstance {
public:
    Claim claim(std::function<void(RemoteCommand)> commandHandler) override
    {
        ++claims;
        if (claimAnswer == Claim::primary)
            handler = std::move(commandHandler);
        return claimAnswer;
    }
    SendResult send(RemoteCommand command) override
    {
        sent.push_back(command);
        return sendAnswer;
    }
    QString unavailableReason() const override { return reason; }

    Claim claimAnswer = Claim::primary;
    SendResult sendAnswer{Delivery::delivered, {}};
    QString reason = QStringLiteral("Unable to autolaunch a dbus-daemon without a $DISPLAY for X11");
    int claims = 0;
    std::vector<RemoteCommand> sent;
    std::function<void(RemoteCommand)> handler;
};

} // namespace mosaro::test
