#include "support/wayland/GnomeSession.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <xkbcommon/xkbcommon.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace mosaro::test {

namespace {

constexpr const char* mosaroUuid = "mosaro@brenmark.tech";
constexpr const char* probeUuid = "mosaro-probe@brenmark.tech";
constexpr int readyMs = 60000;

bool write(const QString& path, const QString& text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) >= 0;
}

// The tree's build of an extension (Mosaro's or the probe) in the variant for this Shell's version.
bool copyExtension(const QString& built, int major, const char* uuid, const QString& to)
{
    const QString from =
        built + (major < 45 ? QStringLiteral("/script/") : QStringLiteral("/module/")) + QLatin1String(uuid);
    QDir().mkpath(to);
    for (const QString& name : QDir(from).entryList(QDir::Files))
        if (!QFile::copy(from + QLatin1Char('/') + name, to + QLatin1Char('/') + name))
            return false;
    return true;
}

} // namespace

GnomeSession::GnomeSession(const Options& options) : CompositorSession(QStringLiteral("gnome"), options.root)
{
    if (ok() && !start(options) && m_error.isEmpty())
        m_error = QStringLiteral("the Shell did not start");
}

GnomeSession::~GnomeSession()
{
    m_bus.reset();
    QDBusConnection::disconnectFromBus(QStringLiteral("gnome-session-") + m_base.path());
}

bool GnomeSession::installMosaro(const QString& version)
{
    if (!copyExtension(QStringLiteral(MOSARO_GNOME_EXTENSIONS), shellMajor(), mosaroUuid, extensionFolder()))
        return false;
    QFile metadata(extensionFolder() + QStringLiteral("/metadata.json"));
    if (version.isEmpty() || !metadata.open(QIODevice::ReadOnly))
        return version.isEmpty();
    const QString text = QString::fromUtf8(metadata.readAll())
                             .replace(QStringLiteral("\"version-name\": \"%1\"").arg(QLatin1String(MOSARO_VERSION)),
                                      QStringLiteral("\"version-name\": \"%1\"").arg(version));
    metadata.close();
    return write(metadata.fileName(), text);
}

bool GnomeSession::start(const Options& options)
{
    // The Shell's version decides which variant it loads.
    QProcess version;
    if (m_root)
        version.start(
            QStringLiteral(MOSARO_DEBIAN_ROOT_SCRIPT),
            {QStringLiteral("run"), QStringLiteral("--"), QStringLiteral("gnome-shell"), QStringLiteral("--version")});
    else
        version.start(QStringLiteral("gnome-shell"), {QStringLiteral("--version")});
    version.waitForFinished(30000);
    m_version = QString::fromUtf8(version.readAllStandardOutput()).section(QLatin1Char(' '), 2).trimmed();
    if (shellMajor() < 40) {
        m_error = QStringLiteral("no GNOME Shell: %1").arg(QString::fromUtf8(version.readAllStandardError()));
        return false;
    }
    QStringList enabled{QLatin1String(probeUuid)};
    bool copied =
        copyExtension(QStringLiteral(MOSARO_GNOME_PROBE), shellMajor(), probeUuid,
                      m_home + QStringLiteral("/.local/share/gnome-shell/extensions/") + QLatin1String(probeUuid));
    if (options.installMosaro) {
        copied = copied && installMosaro(options.mosaroVersion);
        if (options.enableMosaro)
            enabled << QLatin1String(mosaroUuid);
    }
    // Without a display manager the Shell has no lock screen and says so in a notification.
    copied = copied && write(m_home + QStringLiteral("/.local/share/gnome-shell/lock-warning-shown"), QString());
    // A copy beside the session: the tree may be closed to the unprivileged user.
    copied = copied &&
             QFile::copy(QStringLiteral(MOSARO_GNOME_SESSION_SCRIPT), m_base.path() + QStringLiteral("/session.sh"));
    if (!copied || !m_base.isValid()) {
        m_error = QStringLiteral("cannot prepare the session under %1").arg(m_base.path());
        return false;
    }
    QProcess::execute(QStringLiteral("chown"), {QStringLiteral("-R"), unprivilegedOwner, m_base.path()});
    ownFile(m_base.path(), m_asNobody, 0711);
    ownFile(m_runtime, m_asNobody, 0700);
    QStringList quoted;
    for (const QString& uuid : enabled)
        quoted << QLatin1Char('\'') + uuid + QLatin1Char('\'');
    QStringList script{QStringLiteral("sh"), m_base.path() + QStringLiteral("/session.sh"), m_base.path(),
                       QLatin1Char('[') + quoted.join(QLatin1Char(',')) + QLatin1Char(']'),
                       options.userExtensions ? QStringLiteral("false") : QStringLiteral("true")};
    for (int i = 0; i < options.monitors; ++i)
        script << QStringLiteral("--virtual-monitor") << QStringLiteral("1440x900");
    m_session = spawn(script);

    // Ready: the Shell answers, the extensions expected to run do, and the overview stays closed.
    const QString name = QStringLiteral("gnome-session-") + m_base.path();
    const auto answers = [&] {
        // Connected again until the bus takes it: its socket may show a moment before it listens.
        if (!m_bus || !m_bus->isConnected()) {
            QDBusConnection::disconnectFromBus(name);
            m_bus = QDBusConnection::connectToBus(busAddress(), name);
        }
        return callShell(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                         {QStringLiteral("org.gnome.Shell"), QStringLiteral("ShellVersion")})
                   .type() == QDBusMessage::ReplyMessage;
    };
    if (!eventually([&] { return answers() || ::waitpid(m_session, nullptr, WNOHANG) == m_session; }, readyMs) ||
        !answers()) {
        m_error = QStringLiteral("GNOME Shell did not answer: %1").arg(log(QStringLiteral("sh")).right(3000));
        return false;
    }
    const QStringList running = options.userExtensions ? enabled : QStringList();
    for (const QString& uuid : running) {
        // 48 may report an error state for a moment while it loads the extensions.
        if (!eventually([&] { return extensionState(uuid) == 1; }, 20000)) {
            m_error = QStringLiteral("extension %1 in state %2").arg(uuid).arg(extensionState(uuid).value_or(-1));
            return false;
        }
    }
    // The Shell opens the overview when its start-up animation ends, which may come after a close
    // asked too early: wait for the start-up's end where the probe runs, then close it until it stays
    // closed.
    if (options.userExtensions)
        eventually(
            [&] {
                const QDBusMessage state = probe(QStringLiteral("GetState"));
                return state.signature() == QLatin1String("a{sv}") &&
                       !qdbus_cast<QVariantMap>(state.arguments().first().value<QDBusArgument>())
                            .value(QStringLiteral("startingUp"), true)
                            .toBool();
            },
            readyMs);
    int closed = 0;
    const bool overviewClosed = eventually(
        [&] {
            QThread::msleep(100);
            const QDBusMessage get = callShell(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"),
                                               {QStringLiteral("org.gnome.Shell"), QStringLiteral("OverviewActive")});
            if (!get.arguments().value(0).value<QDBusVariant>().variant().toBool())
                return ++closed >= 5;
            closed = 0;
            callShell(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
                      {QStringLiteral("org.gnome.Shell"), QStringLiteral("OverviewActive"),
                       QVariant::fromValue(QDBusVariant(false))});
            return false;
        },
        readyMs);
    // The keyboard: one remote-desktop session for the harness's lifetime.
    const QString mutter = QStringLiteral("org.gnome.Mutter.RemoteDesktop");
    const QDBusMessage created =
        call(mutter, QStringLiteral("/org/gnome/Mutter/RemoteDesktop"), mutter, QStringLiteral("CreateSession"));
    m_keys = created.arguments().value(0).value<QDBusObjectPath>().path();
    if (m_keys.isEmpty() || call(mutter, m_keys, mutter + QStringLiteral(".Session"), QStringLiteral("Start")).type() !=
                                QDBusMessage::ReplyMessage) {
        m_error = QStringLiteral("no remote-desktop session: %1").arg(created.errorMessage());
        return false;
    }
    if (!overviewClosed)
        m_error = QStringLiteral("the overview stays open");
    return overviewClosed;
}

pid_t GnomeSession::spawn(const QStringList& argv, const QStringList& extra)
{
    QStringList environment = sessionEnvironment() << QStringLiteral("WAYLAND_DISPLAY=wayland-0") << extra;
    // The one place that knows where the Shell's programs live: this system, as the unprivileged
    // user when we are root, or the Debian 13 root, where the session's first program starts the
    // run and every later one joins it.
    QStringList options{QStringLiteral("--bind"), m_base.path(), QStringLiteral("--env"),
                        QStringLiteral("HOME=") + m_home};
    if (m_session > 0)
        options << QStringLiteral("--join") << QString::number(m_session);
    const QStringList command = m_root ? rootRun(m_runtime, environment, options) : asUser(m_asNobody);
    return launchChild(command + argv, environment, argv.value(0));
}

void GnomeSession::stopCompositor()
{
    signal("gnome-shell", SIGTERM);
}

std::optional<std::uint64_t> GnomeSession::startFoot(const QString& title)
{
    // Sized by pixels, as the grid asks (newer foot sizes by character cells by default).
    spawn({QStringLiteral("foot"), QStringLiteral("-o"), QStringLiteral("resize-by-cells=no"), QStringLiteral("-T"),
           title, QStringLiteral("sleep"), QStringLiteral("86400")});
    std::optional<std::uint64_t> id;
    eventually(
        [&] {
            const auto found = window(title);
            if (found && found->value(QStringLiteral("shown")).toBool())
                id = found->value(QStringLiteral("id")).toULongLong();
            return id.has_value();
        },
        15000);
    // 48 does not always focus a window started without an activation token: switch to it.
    if (id && !eventually([&] { return window(title)->value(QStringLiteral("focused")).toBool(); }, 1000)) {
        press(QStringLiteral("Alt+Tab"));
        if (!eventually([&] { return window(title)->value(QStringLiteral("focused")).toBool(); }, 3000))
            id.reset();
    }
    return id;
}

bool GnomeSession::press(const QString& keys)
{
    std::vector<quint32> syms; // by their XKB names
    for (const QString& part : keys.split(QLatin1Char('+'))) {
        static const QStringList modifiers = QStringLiteral("Super Shift Control Alt").split(QLatin1Char(' '));
        const QString name = modifiers.contains(part) ? part + QStringLiteral("_L") : part; // by their left keys
        const xkb_keysym_t sym = xkb_keysym_from_name(name.toUtf8().constData(), XKB_KEYSYM_NO_FLAGS);
        if (sym == XKB_KEY_NoSymbol)
            return false;
        syms.push_back(sym);
    }
    const auto send = [&](quint32 sym, bool down) {
        return call(QStringLiteral("org.gnome.Mutter.RemoteDesktop"), m_keys,
                    QStringLiteral("org.gnome.Mutter.RemoteDesktop.Session"), QStringLiteral("NotifyKeyboardKeysym"),
                    {sym, down})
                   .type() == QDBusMessage::ReplyMessage;
    };
    bool ok = true;
    for (quint32 sym : syms)
        ok = send(sym, true) && ok;
    for (auto it = syms.rbegin(); it != syms.rend(); ++it)
        ok = send(*it, false) && ok;
    return ok;
}

QDBusMessage GnomeSession::probe(const QString& method, const QVariantList& args)
{
    const QString name = QStringLiteral("tech.brenmark.mosaro.Probe");
    return call(name, QStringLiteral("/tech/brenmark/mosaro/Probe"), name, method, args, 10000);
}

std::vector<QVariantMap> GnomeSession::records(const QString& method)
{
    std::vector<QVariantMap> list;
    const QDBusMessage reply = probe(method);
    if (reply.signature() != QLatin1String("aa{sv}"))
        return list;
    const auto argument = reply.arguments().first().value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QVariantMap record;
        argument >> record;
        list.push_back(record);
    }
    argument.endArray();
    return list;
}

std::optional<QVariantMap> GnomeSession::window(const QString& title)
{
    for (const QVariantMap& record : windows())
        if (record.value(QStringLiteral("title")).toString() == title)
            return record;
    return std::nullopt;
}

std::optional<Rect> GnomeSession::frameOf(const QString& title)
{
    const auto record = window(title);
    if (!record)
        return std::nullopt;
    const auto v = [&](const char* key) { return record->value(QLatin1String(key)).toDouble(); };
    return Rect{v("x"), v("y"), v("width"), v("height")};
}

bool GnomeSession::screenshot(const QString& path)
{
    // The Shell's user writes it beside the session, then it is copied out.
    const QString inside = m_base.path() + QStringLiteral("/shot.png");
    const QDBusMessage reply = probe(QStringLiteral("Screenshot"), {inside});
    QFile::remove(path);
    return reply.arguments().value(0).toBool() && QFile::copy(inside, path);
}

QDBusMessage GnomeSession::call(const QString& service, const QString& path, const QString& interface,
                                const QString& method, const QVariantList& args, int timeoutMs)
{
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(args);
    return m_bus ? m_bus->call(message, QDBus::Block, timeoutMs) : QDBusMessage();
}

QDBusMessage GnomeSession::callShell(const QString& interface, const QString& method, const QVariantList& args)
{
    return call(QStringLiteral("org.gnome.Shell"), QStringLiteral("/org/gnome/Shell"), interface, method, args);
}

std::optional<int> GnomeSession::extensionState(const QString& uuid)
{
    const QDBusMessage reply =
        callShell(QStringLiteral("org.gnome.Shell.Extensions"), QStringLiteral("GetExtensionInfo"), {uuid});
    if (reply.signature() != QLatin1String("a{sv}"))
        return std::nullopt;
    const auto info = qdbus_cast<QVariantMap>(reply.arguments().first().value<QDBusArgument>());
    if (!info.contains(QStringLiteral("state")))
        return std::nullopt;
    return int(info.value(QStringLiteral("state")).toDouble());
}

bool GnomeSession::gsettings(const QStringList& arguments, QString* output)
{
    // The settings store is the session's: its dconf-service writes, its home holds the database.
    QProcess process;
    QProcessEnvironment env;
    env.insert(QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin"));
    env.insert(QStringLiteral("HOME"), m_home);
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress());
    process.setProcessEnvironment(env);
    process.start(QStringLiteral("gsettings"), arguments);
    const bool done = process.waitForFinished(5000) && process.exitCode() == 0;
    if (output)
        *output = QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    return done;
}

} // namespace mosaro::test
