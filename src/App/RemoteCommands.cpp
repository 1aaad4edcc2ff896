#include "App/RemoteCommands.h"

#include "Diagnostics/Log/Log.h"

namespace mosaro {

namespace {

constexpr const char* noSessionBusMessage =
    "no session bus (%{public}s): running alone, single instance and remote commands are unavailable";
constexpr const char* handingOverMessage = "Mosaro already runs in this session; asking it to show its settings";

LaunchOutcome failure(const QString& text)
{
    return {false, 1, QStringLiteral("mosaro: ") + text};
}

LaunchOutcome deliver(SingleInstance& instance, RemoteCommand command)
{
    const auto result = instance.send(command);
    switch (result.delivery) {
    case SingleInstance::Delivery::delivered:
        return {false, 0, {}};
    case SingleInstance::Delivery::noInstance:
        return failure(QStringLiteral("Mosaro is not running in this session"));
    case SingleInstance::Delivery::unavailable:
        return failure(
            QStringLiteral("no session bus (%1): remote commands are unavailable").arg(instance.unavailableReason()));
    case SingleInstance::Delivery::failed:
        break;
    }
    return failure(QStringLiteral("the running Mosaro did not answer: %1").arg(result.detail));
}

} // namespace

LaunchOutcome claimSession(SingleInstance& instance, std::function<void(RemoteCommand)> handler)
{
    switch (instance.claim(std::move(handler))) {
    case SingleInstance::Claim::primary:
        return {true, 0, {}};
    case SingleInstance::Claim::unavailable:
        Log::lifecycle().info(noSessionBusMessage, instance.unavailableReason());
        return {true, 0, {}};
    case SingleInstance::Claim::alreadyRunning:
        break;
    }
    Log::lifecycle().info(handingOverMessage);
    return deliver(instance, RemoteCommand::showSettings);
}

LaunchOutcome sendRemoteCommand(SingleInstance& instance, RemoteCommand command)
{
    return deliver(instance, command);
}

} // namespace mosaro
