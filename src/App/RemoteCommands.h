#pragma once

#include "Platform/SingleInstance.h"

#include <QString>

#include <functional>

namespace mosaro {

// How a process of `mosaro` goes on after meeting the session's other Mosaro.
struct LaunchOutcome {
    bool keepRunning = false; // this process is the one that runs
    int exitCode = 0;         // when it does not
    QString errorText;        // one line for standard error, when it fails
};

// A plain start: become the session's Mosaro, or ask the running one to show its settings and
// leave. Without a session bus the process runs alone and logs that it does.
LaunchOutcome claimSession(SingleInstance& instance, std::function<void(RemoteCommand)> handler);

// --trigger and --quit: hand the command to the running Mosaro; fails when none runs.
LaunchOutcome sendRemoteCommand(SingleInstance& instance, RemoteCommand command);

} // namespace mosaro
