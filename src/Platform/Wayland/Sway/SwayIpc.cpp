#include "Platform/Wayland/Sway/SwayIpc.h"

#include "Diagnostics/Log/Log.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace mosaro::Sway {

namespace {

constexpr const char* requestFailedMessage = "sway IPC: request %u failed: %{public}s";
constexpr const char* goneMessage = "sway IPC: the compositor at %{public}s has gone away";
constexpr const char* reopenedMessage = "sway IPC: event connection to %{public}s lost and reopened";
constexpr std::size_t readChunk = std::size_t(64) * 1024;

int msLeft(IpcSocket::Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - IpcSocket::Clock::now()).count();
    return left < 0 ? 0 : int(left);
}

IpcError error(IpcError::Kind kind, QString detail = {})
{
    return IpcError{kind, std::move(detail)};
}

QString errnoText()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

QString describe(const IpcError& e)
{
    switch (e.kind) {
    case IpcError::Kind::unreachable:
        return QStringLiteral("unreachable (%1)").arg(e.detail);
    case IpcError::Kind::timedOut:
        return QStringLiteral("no answer within %1 ms").arg(Ipc::messagingTimeout.count());
    case IpcError::Kind::closed:
        return QStringLiteral("connection closed");
    case IpcError::Kind::corrupt:
        return QStringLiteral("broken answer (%1)").arg(e.detail);
    }
    return {};
}

IpcSocket::~IpcSocket()
{
    close();
}

void IpcSocket::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
    m_reader.reset();
}

Status<IpcError> IpcSocket::open(const QString& path, Clock::time_point deadline)
{
    close();
    const QByteArray native = path.toLocal8Bit();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (native.isEmpty() || std::size_t(native.size()) >= sizeof address.sun_path)
        return unexpected(error(IpcError::Kind::unreachable, QStringLiteral("no usable socket path")));
    std::memcpy(address.sun_path, native.constData(), std::size_t(native.size()));
    m_fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_fd < 0)
        return unexpected(error(IpcError::Kind::unreachable, errnoText()));
    if (::connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return Ok{};
    if (errno != EAGAIN && errno != EINPROGRESS) {
        auto e = error(IpcError::Kind::unreachable, errnoText());
        close();
        return unexpected(std::move(e));
    }
    // A full backlog (a compositor that stopped accepting) waits until the deadline at most.
    pollfd p{m_fd, POLLOUT, 0};
    int soError = 0;
    socklen_t length = sizeof soError;
    if (::poll(&p, 1, msLeft(deadline)) <= 0 || ::getsockopt(m_fd, SOL_SOCKET, SO_ERROR, &soError, &length) != 0 ||
        soError != 0) {
        close();
        return unexpected(error(IpcError::Kind::timedOut));
    }
    return Ok{};
}

Status<IpcError> IpcSocket::send(std::uint32_t type, const QByteArray& payload, Clock::time_point deadline)
{
    if (m_fd < 0)
        return unexpected(error(IpcError::Kind::closed));
    const QByteArray bytes = encodeMessage(type, payload);
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(m_fd, bytes.constData() + sent, std::size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n > 0) {
            sent += n;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EAGAIN) {
            pollfd p{m_fd, POLLOUT, 0};
            if (::poll(&p, 1, msLeft(deadline)) > 0)
                continue;
            return unexpected(error(IpcError::Kind::timedOut));
        }
        return unexpected(error(IpcError::Kind::closed, errnoText()));
    }
    return Ok{};
}

Expected<bool, IpcError> IpcSocket::readSome(int timeoutMs)
{
    pollfd p{m_fd, POLLIN, 0};
    const int ready = ::poll(&p, 1, timeoutMs);
    if (ready < 0 && errno != EINTR)
        return unexpected(error(IpcError::Kind::closed, errnoText()));
    if (ready <= 0)
        return false;
    char buffer[readChunk];
    const ssize_t n = ::recv(m_fd, buffer, sizeof buffer, 0);
    if (n == 0)
        return unexpected(error(IpcError::Kind::closed));
    if (n < 0)
        return errno == EAGAIN || errno == EINTR ? Expected<bool, IpcError>(false)
                                                 : unexpected(error(IpcError::Kind::closed, errnoText()));
    m_reader.feed(buffer, std::size_t(n));
    return true;
}

Expected<Frame, IpcError> IpcSocket::receive(Clock::time_point deadline)
{
    if (m_fd < 0)
        return unexpected(error(IpcError::Kind::closed));
    for (;;) {
        Frame frame;
        switch (m_reader.next(frame)) {
        case FrameReader::Status::frame:
            return frame;
        case FrameReader::Status::corrupt:
            return unexpected(error(IpcError::Kind::corrupt, m_reader.error()));
        case FrameReader::Status::needMore:
            break;
        }
        const int left = msLeft(deadline);
        auto got = readSome(left);
        if (!got)
            return unexpected(got.error());
        if (!*got && left == 0)
            return unexpected(error(IpcError::Kind::timedOut));
    }
}

Expected<std::vector<Frame>, IpcError> IpcSocket::receiveAvailable()
{
    if (m_fd < 0)
        return unexpected(error(IpcError::Kind::closed));
    for (;;) {
        auto got = readSome(0);
        if (!got)
            return unexpected(got.error());
        if (!*got)
            break;
    }
    std::vector<Frame> frames;
    Frame frame;
    FrameReader::Status status;
    while ((status = m_reader.next(frame)) == FrameReader::Status::frame)
        frames.push_back(std::move(frame));
    if (status == FrameReader::Status::corrupt)
        return unexpected(error(IpcError::Kind::corrupt, m_reader.error()));
    return frames;
}

Ipc::Ipc(QString socketPath) : m_path(std::move(socketPath))
{
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        m_turnWatch = std::make_unique<QObject>();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_turnWatch.get(), [this] { ++m_turn; });
    }
}

Ipc::~Ipc() = default;

void Ipc::reportFailure(std::uint32_t type, const IpcError& e)
{
    if (m_failing || m_gone)
        return;
    m_failing = true;
    Log::windowmanager().error(requestFailedMessage, unsigned(type), describe(e));
}

Expected<QByteArray, IpcError> Ipc::request(std::uint32_t type, const QByteArray& payload)
{
    const auto deadline = IpcSocket::Clock::now() + messagingTimeout;
    if (m_turnWatch && m_stalledTurn == m_turn)
        return unexpected(error(IpcError::Kind::timedOut));
    auto fail = [&](const IpcError& e) -> Expected<QByteArray, IpcError> {
        m_commands.close();
        if (e.kind == IpcError::Kind::timedOut)
            m_stalledTurn = m_turn;
        reportFailure(type, e);
        return unexpected(e);
    };
    if (!m_commands.isOpen()) {
        if (auto opened = m_commands.open(m_path, deadline); !opened)
            return fail(opened.error());
    }
    if (auto sent = m_commands.send(type, payload, deadline); !sent)
        return fail(sent.error());
    auto frame = m_commands.receive(deadline);
    if (!frame)
        return fail(frame.error());
    if (frame->type != type)
        return fail(error(IpcError::Kind::corrupt, QStringLiteral("an answer of type %1").arg(frame->type)));
    m_failing = false;
    return std::move(frame->payload);
}

Expected<std::vector<CommandResult>, IpcError> Ipc::run(const QString& commands)
{
    auto reply = request(MessageType::runCommand, commands.toUtf8());
    if (!reply)
        return unexpected(reply.error());
    auto results = commandResults(*reply);
    if (!results)
        return unexpected(error(IpcError::Kind::corrupt, QStringLiteral("not a list of command results")));
    return std::move(*results);
}

bool Ipc::openEvents(const std::vector<std::uint32_t>& types, std::vector<std::uint32_t>* accepted)
{
    m_notifier.reset();
    const auto deadline = IpcSocket::Clock::now() + messagingTimeout;
    if (!m_events.open(m_path, deadline))
        return false;
    for (std::uint32_t type : types) {
        const QString name = type == EventType::workspace ? QStringLiteral("workspace")
                             : type == EventType::output  ? QStringLiteral("output")
                             : type == EventType::window  ? QStringLiteral("window")
                             : type == EventType::binding ? QStringLiteral("binding")
                                                          : QStringLiteral("shutdown");
        if (!m_events.send(MessageType::subscribe, QByteArray("[\"") + name.toLatin1() + "\"]", deadline)) {
            m_events.close();
            return false;
        }
        for (;;) {
            auto frame = m_events.receive(deadline);
            if (!frame) {
                m_events.close();
                return false;
            }
            if (frame->type & 0x80000000u)
                continue; // an event of a type subscribed a moment ago: nobody waits for it yet
            if (subscribed(frame->payload) && accepted)
                accepted->push_back(type);
            break;
        }
    }
    m_notifier = std::make_unique<QSocketNotifier>(m_events.fd(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { readEvents(); });
    // Bytes read together with the last subscription's answer raise no notification of their own.
    QMetaObject::invokeMethod(
        m_notifier.get(), [this] { readEvents(); }, Qt::QueuedConnection);
    return true;
}

std::vector<std::uint32_t> Ipc::subscribe(const std::vector<std::uint32_t>& eventTypes)
{
    std::vector<std::uint32_t> accepted;
    if (!openEvents(eventTypes, &accepted))
        reportFailure(MessageType::subscribe, error(IpcError::Kind::unreachable, m_path));
    m_subscribed = accepted;
    return accepted;
}

int Ipc::addEventHandler(EventHandler handler)
{
    const int id = m_nextHandler++;
    m_handlers.emplace(id, std::move(handler));
    return id;
}

void Ipc::readEvents()
{
    auto frames = m_events.receiveAvailable();
    // Deliver what arrived before the stream ended: the shutdown event comes just before the end.
    if (frames) {
        bool shutdown = false;
        for (const Frame& frame : *frames) {
            shutdown = shutdown || frame.type == EventType::shutdown;
            // A handler may remove itself or another one while it runs.
            std::vector<int> ids;
            for (const auto& entry : m_handlers)
                ids.push_back(entry.first);
            for (int id : ids) {
                const auto it = m_handlers.find(id);
                if (it != m_handlers.end())
                    EventHandler(it->second)(frame.type, frame.payload);
            }
        }
        // sway is exiting: its Wayland connection ends in a moment too, and what depends on the
        // channel must not wait for the socket to close.
        if (shutdown)
            eventsLost(error(IpcError::Kind::closed, m_path), /*reconnect*/ false);
        return;
    }
    eventsLost(frames.error());
}

void Ipc::eventsLost(const IpcError&, bool reconnect)
{
    m_notifier.reset();
    m_events.close();
    m_commands.close();
    if (reconnect && openEvents(m_subscribed, nullptr)) {
        Log::windowmanager().info(reopenedMessage, m_path);
        return;
    }
    if (m_gone)
        return;
    m_gone = true;
    Log::lifecycle().error(goneMessage, m_path);
    if (onGone)
        onGone(); // may destroy this object: nothing follows
}

} // namespace mosaro::Sway
