#include "Platform/X11/X11Connection.h"

#include "Diagnostics/Log/Log.h"

#include <QAbstractEventDispatcher>
#include <QSocketNotifier>

#include <poll.h>

#include <cerrno>
#include <utility>

#include <chrono>
#include <cstring>

namespace mosaro {

namespace {
constexpr const char* openFailedMessage = "cannot open X display '%{public}s' (xcb error %d: %{public}s)";
constexpr const char* connectionLostMessage =
    "X connection to '%{public}s' lost (xcb error %d: %{public}s); X calls now fail";

// X error codes that mean the target window is gone.
constexpr std::uint8_t badWindow = 3;
constexpr std::uint8_t badMatch = 8;
constexpr std::uint8_t badDrawable = 9;
} // namespace

X11Connection::X11Connection(const QString& displayName)
    : m_displayName(displayName.isEmpty() ? qEnvironmentVariable("DISPLAY") : displayName)
{
    const QByteArray name = m_displayName.toLocal8Bit();
    m_connection = xcb_connect(name.isEmpty() ? nullptr : name.constData(), &m_screenNumber);
    if (const int err = xcb_connection_has_error(m_connection)) {
        Log::lifecycle().error(openFailedMessage, m_displayName, err, describeConnectionError(err));
        m_lossReported = true; // one line is enough for a display that never opened
        return;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; it.rem && i < m_screenNumber; ++i)
        xcb_screen_next(&it);
    m_screen = it.rem ? it.data : nullptr;
}

X11Connection::~X11Connection()
{
    m_notifier.reset();
    if (m_connection)
        xcb_disconnect(m_connection);
}

bool X11Connection::isConnected() const
{
    if (!m_connection || !m_screen)
        return false;
    if (xcb_connection_has_error(m_connection)) {
        reportLoss();
        return false;
    }
    return true;
}

void X11Connection::reportLoss() const
{
    if (m_lossReported)
        return;
    m_lossReported = true;
    const int err = xcb_connection_has_error(m_connection);
    Log::lifecycle().error(connectionLostMessage, m_displayName, err, describeConnectionError(err));
}

bool X11Connection::serverHasGone(int waitMs) const
{
    if (!m_connection || xcb_connection_has_error(m_connection))
        return true;
    // The server's end closed: the kernel says so even while unread events wait before the end.
    pollfd fd{xcb_get_file_descriptor(m_connection), POLLRDHUP, 0};
    return ::poll(&fd, 1, waitMs) > 0 && (fd.revents & (POLLHUP | POLLRDHUP | POLLERR | POLLNVAL)) != 0;
}

QString X11Connection::describeConnectionError(int code)
{
    switch (code) {
    case 0:
        return QStringLiteral("no error");
    case XCB_CONN_ERROR:
        return QStringLiteral("XCB_CONN_ERROR: socket, pipe or stream error");
    case XCB_CONN_CLOSED_EXT_NOTSUPPORTED:
        return QStringLiteral("XCB_CONN_CLOSED_EXT_NOTSUPPORTED: an extension is not supported");
    case XCB_CONN_CLOSED_MEM_INSUFFICIENT:
        return QStringLiteral("XCB_CONN_CLOSED_MEM_INSUFFICIENT: out of memory");
    case XCB_CONN_CLOSED_REQ_LEN_EXCEED:
        return QStringLiteral("XCB_CONN_CLOSED_REQ_LEN_EXCEED: a request exceeded the server's maximum length");
    case XCB_CONN_CLOSED_PARSE_ERR:
        return QStringLiteral("XCB_CONN_CLOSED_PARSE_ERR: the display name could not be parsed");
    case XCB_CONN_CLOSED_INVALID_SCREEN:
        return QStringLiteral("XCB_CONN_CLOSED_INVALID_SCREEN: the display has no such screen");
    case XCB_CONN_CLOSED_FDPASSING_FAILED:
        return QStringLiteral("XCB_CONN_CLOSED_FDPASSING_FAILED: passing a file descriptor failed");
    default:
        return QStringLiteral("unknown xcb connection error");
    }
}

xcb_atom_t X11Connection::atom(std::string_view name)
{
    if (auto it = m_atoms.find(name); it != m_atoms.end())
        return it->second;
    if (!isConnected() || name.empty() || name.size() > 0xffff)
        return XCB_ATOM_NONE;
    auto r = ask<xcb_intern_atom_reply>(xcb_intern_atom, std::uint8_t(0), std::uint16_t(name.size()), name.data());
    if (!r)
        return XCB_ATOM_NONE;
    const xcb_atom_t value = r->atom;
    m_atoms.emplace(std::string(name), value);
    return value;
}

void X11Connection::internAtoms(std::initializer_list<std::string_view> names)
{
    if (!isConnected())
        return;
    std::vector<std::pair<std::string_view, X11Pending<xcb_intern_atom_reply>>> asked;
    for (const std::string_view name : names) {
        if (name.empty() || name.size() > 0xffff || m_atoms.find(name) != m_atoms.end())
            continue;
        asked.emplace_back(name, ask<xcb_intern_atom_reply>(xcb_intern_atom, std::uint8_t(0),
                                                            std::uint16_t(name.size()), name.data()));
    }
    for (auto& [name, pending] : asked) {
        if (pending)
            m_atoms.emplace(std::string(name), pending->atom);
    }
}

QString X11Connection::atomName(xcb_atom_t atom)
{
    if (atom == XCB_ATOM_NONE || !isConnected())
        return {};
    auto r = ask<xcb_get_atom_name_reply>(xcb_get_atom_name, atom);
    if (!r)
        return {};
    return QString::fromUtf8(xcb_get_atom_name_name(r.get()), xcb_get_atom_name_name_length(r.get()));
}

X11PendingProperty X11Connection::askProperty(xcb_window_t window, xcb_atom_t prop, std::uint32_t maxBytes,
                                              xcb_atom_t type)
{
    if (prop == XCB_ATOM_NONE)
        return X11PendingProperty(*this);
    return ask<xcb_get_property_reply>(xcb_get_property, std::uint8_t(0), window, prop, type, std::uint32_t(0),
                                       (maxBytes + 3) / 4);
}

X11Result<std::optional<X11Property>> X11Connection::property(X11PendingProperty& pending)
{
    using Result = X11Result<std::optional<X11Property>>;
    if (!pending.wasSent())
        return isConnected() ? Result(std::nullopt) : unexpected(X11Error{X11Error::Kind::connectionLost});
    if (!pending)
        return unexpected(pending.error());
    const xcb_get_property_reply_t* p = pending.get();
    if (p->type == XCB_ATOM_NONE || p->format == 0)
        return Result(std::nullopt);
    // Any mismatch between the declared and the delivered size, or a value larger than we
    // accept, is treated as no value at all.
    const bool formatOk = p->format == 8 || p->format == 16 || p->format == 32;
    const int length = xcb_get_property_value_length(p);
    if (!formatOk || p->bytes_after != 0 || length < 0 ||
        std::uint64_t(p->value_len) * (p->format / 8) != std::uint64_t(length))
        return Result(std::nullopt);
    X11Property out;
    out.type = p->type;
    out.format = p->format;
    const auto* data = static_cast<const std::uint8_t*>(xcb_get_property_value(p));
    out.bytes.assign(data, data + length);
    return Result(std::move(out));
}

X11Result<std::optional<X11Property>> X11Connection::property(xcb_window_t window, xcb_atom_t prop, xcb_atom_t type,
                                                              std::uint32_t maxBytes)
{
    using Result = X11Result<std::optional<X11Property>>;
    if (!isConnected())
        return unexpected(X11Error{X11Error::Kind::connectionLost});
    if (prop == XCB_ATOM_NONE)
        return Result(std::nullopt);
    auto pending = askProperty(window, prop, maxBytes, type);
    return property(pending);
}

std::optional<X11Property> X11Connection::propertyValue(X11PendingProperty& pending)
{
    auto r = property(pending);
    return r ? *r : std::nullopt;
}

std::optional<X11Property> X11Connection::propertyValue(xcb_window_t window, xcb_atom_t prop, std::uint32_t maxBytes)
{
    auto r = property(window, prop, XCB_ATOM_ANY, maxBytes);
    return r ? *r : std::nullopt;
}

std::optional<std::vector<std::uint32_t>> X11Connection::cardinals(xcb_window_t window, xcb_atom_t prop,
                                                                   std::size_t minItems)
{
    return X11Properties::list32(propertyValue(window, prop), XCB_ATOM_CARDINAL, minItems);
}

std::optional<std::vector<xcb_window_t>> X11Connection::windows(xcb_window_t window, xcb_atom_t prop,
                                                                std::size_t minItems)
{
    return X11Properties::list32(propertyValue(window, prop), XCB_ATOM_WINDOW, minItems);
}

std::optional<std::vector<xcb_atom_t>> X11Connection::atoms(xcb_window_t window, xcb_atom_t prop)
{
    return X11Properties::list32(propertyValue(window, prop), XCB_ATOM_ATOM, 0);
}

std::optional<QString> X11Connection::text(xcb_window_t window, xcb_atom_t prop)
{
    return X11Properties::text(propertyValue(window, prop, 64 * 1024), atom("UTF8_STRING"), atom("COMPOUND_TEXT"));
}

X11Error X11Connection::translate(const xcb_generic_error_t* error)
{
    if (!error)
        return {X11Error::Kind::requestFailed};
    const std::uint8_t code = error->error_code;
    if (code == badWindow || code == badDrawable || code == badMatch)
        return {X11Error::Kind::invalidWindow, code};
    return {X11Error::Kind::requestFailed, code};
}

bool X11Connection::windowExists(xcb_window_t window)
{
    if (window == XCB_WINDOW_NONE)
        return false;
    return bool(ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, window));
}

namespace {
constexpr std::uint32_t rootMessageMask = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
}

xcb_client_message_event_t X11Connection::clientMessage(xcb_window_t window, xcb_atom_t type,
                                                        const std::uint32_t (&data)[5])
{
    xcb_client_message_event_t ev;
    std::memset(&ev, 0, sizeof ev);
    ev.response_type = XCB_CLIENT_MESSAGE;
    ev.format = 32;
    ev.window = window;
    ev.type = type;
    std::memcpy(ev.data.data32, data, sizeof data);
    return ev;
}

X11Status X11Connection::sendRootMessage(xcb_window_t window, xcb_atom_t type, std::uint32_t d0, std::uint32_t d1,
                                         std::uint32_t d2, std::uint32_t d3, std::uint32_t d4)
{
    const auto ev = clientMessage(window, type, {d0, d1, d2, d3, d4});
    return ask<xcb_request_check>(xcb_send_event_checked, std::uint8_t(0), root(), rootMessageMask,
                                  reinterpret_cast<const char*>(&ev))
        .result();
}

X11Status X11Connection::postRootMessage(xcb_window_t window, xcb_atom_t type, std::uint32_t d0, std::uint32_t d1,
                                         std::uint32_t d2, std::uint32_t d3, std::uint32_t d4)
{
    if (!isConnected())
        return unexpected(X11Error{X11Error::Kind::connectionLost});
    const auto ev = clientMessage(window, type, {d0, d1, d2, d3, d4});
    xcb_send_event(m_connection, 0, root(), rootMessageMask, reinterpret_cast<const char*>(&ev));
    if (!flush())
        return unexpected(X11Error{X11Error::Kind::connectionLost});
    return Ok{};
}

X11Connection::ListenerId X11Connection::addEventListener(EventListener listener)
{
    const ListenerId id = m_nextListener++;
    m_listeners.emplace(id, std::move(listener));
    return id;
}

void X11Connection::removeEventListener(ListenerId id)
{
    m_listeners.erase(id);
}

void X11Connection::dispatch(xcb_generic_event_t* event)
{
    // Listeners may add or remove listeners while they run.
    std::vector<ListenerId> ids;
    ids.reserve(m_listeners.size());
    for (const auto& [id, _] : m_listeners)
        ids.push_back(id);
    for (ListenerId id : ids) {
        auto it = m_listeners.find(id);
        if (it == m_listeners.end())
            continue;
        EventListener listener = it->second; // survives its own removal
        if (listener(event))
            break;
    }
}

int X11Connection::processPendingEvents()
{
    if (!isConnected())
        return 0;
    int count = 0;
    while (XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
        dispatch(event.get());
        ++count;
    }
    isConnected(); // logs a loss noticed while reading
    return count;
}

bool X11Connection::waitForEvent(const std::function<bool(xcb_generic_event_t*)>& predicate, int timeoutMs)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(std::max(0, timeoutMs));
    while (isConnected()) {
        xcb_flush(m_connection);
        while (XcbPtr<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
            const bool matched = predicate && predicate(event.get());
            dispatch(event.get());
            if (matched)
                return true;
        }
        if (!isConnected())
            return false;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd fd{xcb_get_file_descriptor(m_connection), POLLIN, 0};
        ::poll(&fd, 1, int(left));
    }
    return false;
}

void X11Connection::attachToEventLoop()
{
    if (m_notifier || !isConnected())
        return;
    m_notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] {
        processPendingEvents();
        if (!isConnected()) {
            m_notifier->setEnabled(false);
            if (auto handler = std::exchange(m_lostHandler, nullptr))
                handler();
        }
    });
    // Events that xcb queued while waiting for a reply never wake the socket notifier; drain
    // them before the loop sleeps.
    if (auto* dispatcher = QAbstractEventDispatcher::instance())
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_notifier.get(),
                         [this] { processPendingEvents(); });
    processPendingEvents();
}

bool X11Connection::flush()
{
    if (!isConnected())
        return false;
    return xcb_flush(m_connection) > 0;
}

} // namespace mosaro
