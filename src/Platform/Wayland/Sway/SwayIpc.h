#pragma once

#include "Platform/Expected.h"
#include "Platform/Wayland/Sway/SwayProtocol.h"

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class QSocketNotifier;

namespace mosaro::Sway {

// Why a request got no answer.
struct IpcError {
    enum class Kind {
        unreachable, // no socket, or nobody accepts on it
        timedOut,    // sway did not answer within the bound
        closed,      // sway closed the connection
        corrupt,     // the answer was not a frame of the protocol
    };
    Kind kind = Kind::unreachable;
    QString detail;
};

// One socket to sway. Blocking calls wait at most until their deadline; a connection that timed
// out or read garbage is closed, since a late or broken answer would be taken for the next one.
class IpcSocket {
public:
    using Clock = std::chrono::steady_clock;
    IpcSocket() = default;
    ~IpcSocket();
    IpcSocket(const IpcSocket&) = delete;
    IpcSocket& operator=(const IpcSocket&) = delete;

    Status<IpcError> open(const QString& path, Clock::time_point deadline);
    void close();
    bool isOpen() const { return m_fd >= 0; }
    int fd() const { return m_fd; }

    Status<IpcError> send(std::uint32_t type, const QByteArray& payload, Clock::time_point deadline);
    // The next frame, waiting until the deadline.
    Expected<Frame, IpcError> receive(Clock::time_point deadline);
    // Whatever frames have arrived, without waiting; an error once the stream ended or broke.
    Expected<std::vector<Frame>, IpcError> receiveAvailable();

private:
    Expected<bool, IpcError> readSome(int timeoutMs);

    int m_fd = -1;
    FrameReader m_reader;
};

// Mosaro's channel to sway: requests answered synchronously on the main thread, each bounded by
// the messaging timeout, and events on a second connection watched by the Qt event loop. When
// sway goes away the channel says so once (one log line, `onGone`) and stays quiet afterwards.
class Ipc {
public:
    static constexpr std::chrono::milliseconds messagingTimeout{1000};

    explicit Ipc(QString socketPath);
    ~Ipc();
    Ipc(const Ipc&) = delete;
    Ipc& operator=(const Ipc&) = delete;

    const QString& socketPath() const { return m_path; }

    // One request and its reply. A broken or timed-out connection is dropped and opened again by
    // the next request.
    Expected<QByteArray, IpcError> request(std::uint32_t type, const QByteArray& payload = {});
    // run_command: each command's result; an error when sway did not answer with results.
    Expected<std::vector<CommandResult>, IpcError> run(const QString& commands);

    // Subscribes to each event type on its own (sway 1.7 rejects a list holding one it does not
    // know, "output" among them) and watches the connection from the event loop. Returns the
    // types sway accepted.
    std::vector<std::uint32_t> subscribe(const std::vector<std::uint32_t>& eventTypes);
    using EventHandler = std::function<void(std::uint32_t type, const QByteArray& payload)>;
    // Handlers are called in the order they were added; each gets every event.
    int addEventHandler(EventHandler handler);
    void removeEventHandler(int id) { m_handlers.erase(id); }

    // Called once when the event connection ends and sway cannot be reached again.
    std::function<void()> onGone;
    // Something else saw sway go first (its Wayland connection): the same line and onGone, once.
    void declareGone() { eventsLost(IpcError{IpcError::Kind::closed, m_path}, /*reconnect*/ false); }
    bool isGone() const { return m_gone; }

private:
    void readEvents();
    bool openEvents(const std::vector<std::uint32_t>& types, std::vector<std::uint32_t>* accepted);
    void eventsLost(const IpcError& error, bool reconnect = true);
    void reportFailure(std::uint32_t type, const IpcError& error);

    QString m_path;
    IpcSocket m_commands;
    IpcSocket m_events;
    std::vector<std::uint32_t> m_subscribed;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::map<int, EventHandler> m_handlers;
    int m_nextHandler = 1;
    bool m_gone = false;
    bool m_failing = false; // one line per run of failed requests
    // After a request timed out, the others of the same turn of the event loop fail at once, so
    // that one action waits for a stopped compositor once, not once per request.
    std::unique_ptr<QObject> m_turnWatch;
    std::uint64_t m_turn = 0;
    std::optional<std::uint64_t> m_stalledTurn;
};

QString describe(const IpcError& error);

} // namespace mosaro::Sway
