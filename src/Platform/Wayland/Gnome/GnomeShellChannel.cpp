#include "Platform/Wayland/Gnome/GnomeShellChannel.h"

#include "Diagnostics/Log/Log.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

#include <cmath>

namespace mosaro::Gnome {

namespace {

constexpr const char* objectPath = "/tech/brenmark/mosaro/Shell";
constexpr const char* interfaceName = "tech.brenmark.mosaro.Shell";
constexpr const char* shellService = "org.gnome.Shell";
constexpr const char* shellPath = "/org/gnome/Shell";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* asyncFailedMessage = "the GNOME Shell extension refused %{public}s: %{public}s";
constexpr const char* registeredMessage = "registered with Mosaro's GNOME Shell extension %{public}s";
constexpr const char* registerFailedMessage = "Mosaro's GNOME Shell extension did not register us: %{public}s";
constexpr const char* extensionGoneMessage = "Mosaro's GNOME Shell extension left the session bus";

// A field of a record as the type the interface gives it; nothing when absent or of another type.
template <class T>
std::optional<T> field(const QVariantMap& record, const char* name)
{
    const auto it = record.constFind(QLatin1String(name));
    if (it == record.cend() || !it->canConvert<T>())
        return std::nullopt;
    const auto type = QMetaType::fromType<T>();
    if (it->metaType() != type)
        return std::nullopt;
    return it->value<T>();
}

std::optional<Rect> rectOf(const QVariantMap& record, const char* x, const char* y, const char* w, const char* h)
{
    const auto vx = field<int>(record, x);
    const auto vy = field<int>(record, y);
    const auto vw = field<int>(record, w);
    const auto vh = field<int>(record, h);
    if (!vx || !vy || !vw || !vh || *vw < 0 || *vh < 0)
        return std::nullopt;
    return Rect{double(*vx), double(*vy), double(*vw), double(*vh)};
}

CallError errorOf(const QDBusMessage& reply)
{
    if (reply.type() == QDBusMessage::ErrorMessage)
        return {reply.errorName().section(QLatin1Char('.'), -1), reply.errorMessage()};
    return {QStringLiteral("Failed"), QStringLiteral("unexpected reply %1").arg(reply.signature())};
}

QVariantMap mapOf(const QVariant& value)
{
    if (value.metaType() == QMetaType::fromType<QVariantMap>())
        return value.toMap();
    if (value.metaType() == QMetaType::fromType<QDBusArgument>()) {
        const auto argument = value.value<QDBusArgument>();
        if (argument.currentSignature() == QLatin1String("a{sv}"))
            return qdbus_cast<QVariantMap>(argument);
    }
    return {};
}

QDBusMessage shellProperty(const QDBusConnection& bus, const char* interface, const char* name)
{
    QDBusMessage get = QDBusMessage::createMethodCall(QLatin1String(shellService), QLatin1String(shellPath),
                                                      QLatin1String(propertiesInterface), QStringLiteral("Get"));
    get.setArguments({QLatin1String(interface), QLatin1String(name)});
    get.setAutoStartService(false);
    return bus.call(get, QDBus::Block, ShellChannel::timeoutMs);
}

QVariant propertyValue(const QDBusMessage& reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1)
        return {};
    return reply.arguments().first().value<QDBusVariant>().variant();
}

} // namespace

std::optional<WindowRecord> windowRecord(const QVariantMap& record)
{
    WindowRecord w;
    const auto id = field<qulonglong>(record, "id");
    const auto frame = rectOf(record, "x", "y", "width", "height");
    const auto monitor = field<int>(record, "monitor");
    const auto pid = field<uint>(record, "pid");
    if (!id || !frame || !monitor || !pid)
        return std::nullopt;
    w.id = *id;
    w.frame = *frame;
    w.monitor = *monitor;
    w.pid = *pid;
    w.title = field<QString>(record, "title");
    w.fullscreen = field<bool>(record, "fullscreen").value_or(false);
    w.minimized = field<bool>(record, "minimized").value_or(false);
    w.resizable = field<bool>(record, "resizable").value_or(false);
    w.maximized = field<bool>(record, "maximized").value_or(false);
    return w;
}

std::optional<MonitorRecord> monitorRecord(const QVariantMap& record)
{
    MonitorRecord m;
    const auto index = field<int>(record, "index");
    const auto frame = rectOf(record, "x", "y", "width", "height");
    const auto work = rectOf(record, "workX", "workY", "workWidth", "workHeight");
    if (!index || !frame || !work || frame->width <= 0 || frame->height <= 0)
        return std::nullopt;
    m.index = *index;
    m.frame = *frame;
    // A work area outside its monitor is no answer: the whole monitor stands in.
    const bool inside = work->width > 0 && work->height > 0 && work->x >= frame->x && work->y >= frame->y &&
                        work->maxX() <= frame->maxX() && work->maxY() <= frame->maxY();
    m.workArea = inside ? *work : *frame;
    m.connector = field<QString>(record, "connector").value_or(QString());
    m.product = field<QString>(record, "product").value_or(QString());
    m.primary = field<bool>(record, "primary").value_or(false);
    return m;
}

ShellChannel::ShellChannel(QDBusConnection bus, QString version, QObject* parent)
    : QObject(parent), m_bus(std::move(bus)), m_version(std::move(version))
{
    const QString name = QLatin1String(service);
    const QString path = QLatin1String(objectPath);
    const QString interface = QLatin1String(interfaceName);
    m_bus.connect(name, path, interface, QStringLiteral("Triggered"), this, SLOT(onTriggered(QVariantMap)));
    m_bus.connect(name, path, interface, QStringLiteral("Dismissed"), this, SLOT(onDismissed(QString)));
    m_bus.connect(name, path, interface, QStringLiteral("MonitorsChanged"), this, SLOT(onMonitorsChanged()));
    m_watcher = new QDBusServiceWatcher(name, m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    // The extension re-enabled or the Shell restarted: a new instance that knows nothing of us.
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                setRegistered(false);
                if (owner.isEmpty())
                    Log::windowmanager().info(extensionGoneMessage);
                else
                    registerClient();
            });
}

ShellChannel::~ShellChannel() = default;

QDBusMessage ShellChannel::call(const QString& method, const QVariantList& args) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(objectPath),
                                                          QLatin1String(interfaceName), method);
    message.setArguments(args);
    message.setAutoStartService(false);
    return m_bus.call(message, QDBus::Block, timeoutMs);
}

void ShellChannel::callAsync(const QString& method, const QVariantList& args)
{
    QDBusMessage message = QDBusMessage::createMethodCall(QLatin1String(service), QLatin1String(objectPath),
                                                          QLatin1String(interfaceName), method);
    message.setArguments(args);
    message.setAutoStartService(false);
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(message, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [method](QDBusPendingCallWatcher* done) {
        if (done->isError())
            Log::windowmanager().info(asyncFailedMessage, method, done->error().message());
        done->deleteLater();
    });
}

std::optional<QString> extensionVersion(const QDBusConnection& bus)
{
    QDBusMessage get = QDBusMessage::createMethodCall(QLatin1String(ShellChannel::service), QLatin1String(objectPath),
                                                      QLatin1String(propertiesInterface), QStringLiteral("Get"));
    get.setArguments({QLatin1String(interfaceName), QStringLiteral("Version")});
    get.setAutoStartService(false);
    const QVariant value = propertyValue(bus.call(get, QDBus::Block, ShellChannel::timeoutMs));
    if (value.metaType() != QMetaType::fromType<QString>())
        return std::nullopt;
    return value.toString();
}

bool ShellChannel::registerClient()
{
    const QDBusMessage reply = call(QStringLiteral("Register"));
    const bool ok = reply.type() == QDBusMessage::ReplyMessage && reply.signature() == QLatin1String("s");
    if (ok)
        Log::windowmanager().info(registeredMessage, reply.arguments().first().toString());
    else
        Log::windowmanager().info(registerFailedMessage, errorOf(reply).message);
    setRegistered(ok);
    return ok;
}

void ShellChannel::setRegistered(bool registered)
{
    if (registered == m_registered)
        return;
    m_registered = registered;
    Q_EMIT registrationChanged(registered);
}

Expected<std::optional<WindowRecord>, CallError> ShellChannel::focusedWindow()
{
    const QDBusMessage reply = call(QStringLiteral("GetFocusedWindow"));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("a{sv}"))
        return unexpected(errorOf(reply));
    const QVariantMap record = mapOf(reply.arguments().first());
    if (record.isEmpty())
        return std::optional<WindowRecord>();
    const auto window = windowRecord(record);
    if (!window)
        return unexpected(CallError{QStringLiteral("Failed"), QStringLiteral("a window record without its fields")});
    return std::optional<WindowRecord>(*window);
}

Expected<ShellChannel::Placed, CallError> ShellChannel::moveResize(std::uint64_t id, const Rect& frame)
{
    const QDBusMessage reply =
        call(QStringLiteral("MoveResize"),
             {QVariant::fromValue(qulonglong(id)), int(std::lround(frame.x)), int(std::lround(frame.y)),
              int(std::lround(frame.width)), int(std::lround(frame.height))});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("biiii"))
        return unexpected(errorOf(reply));
    const QVariantList a = reply.arguments();
    return Placed{a[0].toBool(),
                  Rect{double(a[1].toInt()), double(a[2].toInt()), double(a[3].toInt()), double(a[4].toInt())}};
}

std::optional<std::vector<MonitorRecord>> ShellChannel::monitors()
{
    const QDBusMessage reply = call(QStringLiteral("GetMonitors"));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("aa{sv}"))
        return std::nullopt;
    const auto argument = reply.arguments().first().value<QDBusArgument>();
    std::vector<MonitorRecord> list;
    argument.beginArray();
    while (!argument.atEnd()) {
        QVariantMap record;
        argument >> record;
        if (const auto monitor = monitorRecord(record))
            list.push_back(*monitor);
    }
    argument.endArray();
    return list;
}

Expected<bool, CallError> ShellChannel::setTrigger(const QString& accelerator)
{
    const QDBusMessage reply = call(QStringLiteral("SetTrigger"), {accelerator});
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("b"))
        return unexpected(errorOf(reply));
    return reply.arguments().first().toBool();
}

std::optional<std::vector<ShellBinding>> ShellChannel::shellBindings()
{
    const QDBusMessage reply = call(QStringLiteral("GetShellBindings"));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("a(sss)"))
        return std::nullopt;
    const auto argument = reply.arguments().first().value<QDBusArgument>();
    std::vector<ShellBinding> list;
    argument.beginArray();
    while (!argument.atEnd()) {
        ShellBinding binding;
        argument.beginStructure();
        argument >> binding.key >> binding.summary >> binding.accelerator;
        argument.endStructure();
        list.push_back(std::move(binding));
    }
    argument.endArray();
    return list;
}

void ShellChannel::showPanel(const QString& title, const Rect& frame)
{
    callAsync(QStringLiteral("ShowPanel"), {title, int(std::lround(frame.x)), int(std::lround(frame.y)),
                                            int(std::lround(frame.width)), int(std::lround(frame.height))});
}

void ShellChannel::hidePanel(bool refocusTarget)
{
    callAsync(QStringLiteral("HidePanel"), {refocusTarget});
}

void ShellChannel::activate(const QString& title)
{
    callAsync(QStringLiteral("Activate"), {title});
}

void ShellChannel::setShortcutsInhibited(bool inhibited)
{
    callAsync(QStringLiteral("SetShortcutsInhibited"), {inhibited});
}

void ShellChannel::beep()
{
    callAsync(QStringLiteral("Beep"), {});
}

void ShellChannel::onTriggered(const QVariantMap& window)
{
    // The record travels with the press, so the trigger needs no second round trip.
    m_triggered = window.isEmpty() ? std::nullopt : windowRecord(window);
    Q_EMIT triggered();
    m_triggered.reset();
}

void ShellChannel::onDismissed(const QString& reason)
{
    Q_EMIT dismissed(reason);
}

void ShellChannel::onMonitorsChanged()
{
    Q_EMIT monitorsChanged();
}

ShellFacts readShellFacts(const QDBusConnection& bus, const QString& uuid)
{
    ShellFacts facts;
    const QVariant version = propertyValue(shellProperty(bus, "org.gnome.Shell", "ShellVersion"));
    facts.shellAnswers = version.metaType() == QMetaType::fromType<QString>();
    facts.shellVersion = version.toString();
    if (!facts.shellAnswers)
        return facts;
    const QVariant enabled = propertyValue(shellProperty(bus, "org.gnome.Shell.Extensions", "UserExtensionsEnabled"));
    facts.userExtensionsEnabled = enabled.metaType() != QMetaType::fromType<bool>() || enabled.toBool();
    QDBusMessage info = QDBusMessage::createMethodCall(QLatin1String(shellService), QLatin1String(shellPath),
                                                       QStringLiteral("org.gnome.Shell.Extensions"),
                                                       QStringLiteral("GetExtensionInfo"));
    info.setArguments({uuid});
    info.setAutoStartService(false);
    const QDBusMessage reply = bus.call(info, QDBus::Block, ShellChannel::timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage && reply.signature() == QLatin1String("a{sv}")) {
        const QVariantMap record = mapOf(reply.arguments().first());
        // 43 and 48 give the state as a double.
        const QVariant state = record.value(QStringLiteral("state"));
        if (state.canConvert<double>() && std::isfinite(state.toDouble()))
            facts.extensionState = int(state.toDouble());
    }
    return facts;
}

bool enableExtension(const QDBusConnection& bus, const QString& uuid)
{
    QDBusMessage enable =
        QDBusMessage::createMethodCall(QLatin1String(shellService), QLatin1String(shellPath),
                                       QStringLiteral("org.gnome.Shell.Extensions"), QStringLiteral("EnableExtension"));
    enable.setArguments({uuid});
    enable.setAutoStartService(false);
    const QDBusMessage reply = bus.call(enable, QDBus::Block, ShellChannel::timeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage && reply.signature() == QLatin1String("b") &&
           reply.arguments().first().toBool();
}

bool shellRuns(const QDBusConnection& bus)
{
    return bus.isConnected() && bus.interface() &&
           bus.interface()->isServiceRegistered(QLatin1String(shellService)).value();
}

} // namespace mosaro::Gnome
