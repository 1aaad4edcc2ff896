#pragma once

#include <QString>

#include <functional>

namespace mosaro {

// What one Mosaro of a session can ask the one already running.
enum class RemoteCommand {
    trigger,
    showSettings,
    showAbout,
    quit
};

// The session's one running Mosaro, reachable by name. A process either becomes it (and then
// receives the commands of later ones) or hands its request to it.
class SingleInstance {
public:
    enum class Claim {
        primary,        // this process is the session's Mosaro now
        alreadyRunning, // another one is
        unavailable,    // there is no session to be unique in; see unavailableReason()
    };
    enum class Delivery {
        delivered,
        noInstance,  // nobody holds the name
        unavailable, // no session bus; see unavailableReason()
        failed,      // the running one did not answer; the result's detail says how
    };
    struct SendResult {
        Delivery delivery = Delivery::failed;
        QString detail;
    };

    virtual ~SingleInstance() = default;
    // Tries to become the session's Mosaro; when it does, commands from now on reach the handler
    // on the main thread, after their sender has had its answer.
    virtual Claim claim(std::function<void(RemoteCommand)> handler) = 0;
    virtual SendResult send(RemoteCommand command) = 0;
    virtual QString unavailableReason() const = 0;
};

} // namespace mosaro
