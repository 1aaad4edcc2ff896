#include "support/wayland/KWinSession.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>

namespace mosaro::test {

namespace {

bool copyFor(const QString& from, const QString& to, bool asNobody)
{
    return (QFile::exists(to) || QFile::copy(from, to)) && ownFile(to, asNobody, 0755);
}

} // namespace

KWinSession::KWinSession(const Options& options) : CompositorSession(QStringLiteral("kwin"), options.root)
{
    // KWin reads its configuration, the .desktop files that grant fake input and Mosaro's script
    // from the runtime folder, which the Debian 13 root sees at the same path.
    for (const QString& dir : {m_runtime + QStringLiteral("/config/menus"),
                               m_runtime + QStringLiteral("/share/applications"), m_runtime + QStringLiteral("/bin")})
        QDir().mkpath(dir);
    m_client = m_runtime + QStringLiteral("/bin/mosaro_kwin_client");
    const auto write = [&](const QString& path, const QByteArray& text) {
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    };
    bool prepared = ok() && copyFor(QStringLiteral(MOSARO_KWIN_CLIENT_PATH), m_client, false) &&
                    write(m_runtime + QStringLiteral("/share/applications/mosaro-test-client.desktop"),
                          QStringLiteral("[Desktop Entry]\nType=Application\nName=Mosaro test client\nExec=%1\n"
                                         "NoDisplay=true\nX-KDE-Wayland-Interfaces=org_kde_kwin_fake_input\n")
                              .arg(m_client)
                              .toUtf8()) &&
                    write(m_runtime + QStringLiteral("/config/menus/applications.menu"),
                          "<Menu><Name>Applications</Name><DefaultAppDirs/><Include><All/></Include></Menu>\n") &&
                    write(m_runtime + QStringLiteral("/config/kglobalshortcutsrc"), options.shortcuts.toUtf8()) &&
                    QFile::copy(QStringLiteral(MOSARO_KWIN_BAR_SCRIPT), m_base.path() + QStringLiteral("/bar.py"));
    // Everything below the runtime folder belongs to the session's user.
    if (prepared && m_asNobody)
        prepared = QProcess::execute(QStringLiteral("chown"),
                                     {QStringLiteral("-R"), unprivilegedOwner, m_runtime, m_home}) == 0;
    if (!prepared) {
        m_error = QStringLiteral("cannot prepare the session under %1").arg(m_base.path());
        return;
    }
    startBus();
    m_kwin = spawn({QStringLiteral("kwin_wayland"), QStringLiteral("--virtual"), QStringLiteral("--width"),
                    QStringLiteral("1440"), QStringLiteral("--height"), QStringLiteral("900"),
                    QStringLiteral("--output-count"), QString::number(options.outputs), QStringLiteral("--socket"),
                    QStringLiteral("wayland-kwin"), QStringLiteral("--no-lockscreen")},
                   {QStringLiteral("KWIN_COMPOSE=Q")});
    const auto answers = [&] {
        return QFile::exists(m_runtime + QStringLiteral("/bus")) &&
               scripting(QStringLiteral("isScriptLoaded"), {QString()}).isValid();
    };
    if (!eventually(answers, 30000)) {
        m_error = QStringLiteral("KWin did not start: %1").arg(log(QStringLiteral("kwin_wayland")).right(1500));
        return;
    }
    // One injector for the whole session: the seat loses its pointer when one disconnects.
    m_keys = std::make_unique<QProcess>();
    QStringList command = userCommand() << QStringLiteral("/usr/bin/env") << QStringLiteral("-i");
    command << QStringLiteral("XDG_RUNTIME_DIR=") + m_runtime << QStringLiteral("WAYLAND_DISPLAY=wayland-kwin")
            << m_client;
    m_keys->start(command.takeFirst(), command);
    if (!m_keys->waitForStarted(5000) || !press(QStringLiteral("Shift")))
        m_error = QStringLiteral("the fake-input client was refused: %1").arg(QString::fromUtf8(m_keys->readAll()));
}

KWinSession::~KWinSession()
{
    if (m_keys) {
        m_keys->closeWriteChannel();
        if (!m_keys->waitForFinished(2000))
            m_keys->kill();
        m_keys->waitForFinished(1000);
    }
    stop(m_kwin); // KWin first, its bus last
}

QStringList KWinSession::userCommand() const
{
    return asUser(m_asNobody);
}

QString KWinSession::executable(const QString& path)
{
    const QString copy = copyHere(path);
    return copy.isEmpty() ? path : copy;
}

pid_t KWinSession::spawn(const QStringList& argv, const QStringList& extra)
{
    QStringList environment = sessionEnvironment();
    environment << QStringLiteral("XDG_CONFIG_HOME=") + m_runtime + QStringLiteral("/config")
                << QStringLiteral("XDG_DATA_HOME=") + m_runtime + QStringLiteral("/share")
                << QStringLiteral("WAYLAND_DISPLAY=wayland-kwin") << QStringLiteral("QT_QPA_PLATFORM=wayland");
    environment << extra;
    // The one place that knows where KWin lives: a copy without the file capability, from this
    // system or, with its own session bus, from the Debian 13 root. Its clients run here.
    QStringList command;
    QString program = argv.value(0);
    if (program == QLatin1String("kwin_wayland") && m_root) {
        command = rootRun(m_runtime, environment, {QStringLiteral("--session-bus")})
                  << QStringLiteral("/usr/local/bin/kwin_wayland");
    } else {
        if (program == QLatin1String("kwin_wayland")) {
            program = m_runtime + QStringLiteral("/bin/kwin_wayland");
            copyFor(QStringLiteral("/usr/bin/kwin_wayland"), program, false); // cp drops the capability
        }
        command << userCommand() << program;
    }
    return launchChild(command + argv.mid(1), environment, argv.value(0));
}

bool KWinSession::startWindow(const QString& title, const QStringList& how)
{
    spawn(QStringList{executable(QStringLiteral(MOSARO_WAYLAND_CLIENT_PATH)), title} + how);
    return eventually([&] { return !window(title).isEmpty(); }, 10000);
}

bool KWinSession::startBar(int height, bool top)
{
    const int before = report().value(QLatin1String("windows")).toArray().size();
    spawn({QStringLiteral("/usr/bin/python3"), m_base.path() + QStringLiteral("/bar.py"), QString::number(height),
           top ? QStringLiteral("top") : QStringLiteral("bottom")},
          {QStringLiteral("GDK_BACKEND=wayland")});
    return eventually([&] { return report().value(QLatin1String("windows")).toArray().size() > before; }, 10000);
}

bool KWinSession::press(const QString& keys)
{
    if (!m_keys || m_keys->state() != QProcess::Running)
        return false;
    m_keys->write(keys.toUtf8() + '\n');
    QByteArray answer;
    while (!answer.contains('\n') && m_keys->waitForReadyRead(3000))
        answer += m_keys->readAllStandardOutput();
    return answer.startsWith("ok");
}

QJsonObject KWinSession::report()
{
    // The read-only script prints its report into KWin's log, under a name and a mark of its own.
    const QString name = QStringLiteral("mosaro-test-frames-%1").arg(++m_reports);
    const QString mark = QStringLiteral("mosaro-frames %1 ").arg(m_reports);
    QFile script(m_runtime + QStringLiteral("/bin/") + name + QStringLiteral(".js"));
    QFile frames(QStringLiteral(MOSARO_KWIN_FRAMES_SCRIPT));
    if (!frames.open(QIODevice::ReadOnly) || !script.open(QIODevice::WriteOnly) ||
        script.write(QStringLiteral("var mark = \"%1\";\n").arg(mark).toUtf8() + frames.readAll()) < 0)
        return {};
    script.close();
    QFile log(m_logs + QStringLiteral("/kwin_wayland.log"));
    const qint64 from = log.size();
    // start() runs what is loaded and has not run: no script object path to know (5.27 and 6 differ).
    scripting(QStringLiteral("loadScript"), {script.fileName(), name});
    scripting(QStringLiteral("start"));
    QByteArray line;
    const auto printed = [&] {
        if (!log.isOpen() && !log.open(QIODevice::ReadOnly))
            return false;
        log.seek(from);
        const QByteArray text = log.readAll();
        const qsizetype at = text.indexOf(mark.toUtf8());
        if (at >= 0)
            line = text.mid(at + mark.size()).split('\n').first();
        return at >= 0 && text.indexOf('\n', at) >= 0;
    };
    eventually(printed, 2000);
    scripting(QStringLiteral("unloadScript"), {name});
    script.remove();
    return QJsonDocument::fromJson(line).object();
}

QJsonObject KWinSession::window(const QString& caption)
{
    for (const auto& w : report().value(QLatin1String("windows")).toArray())
        if (w.toObject().value(QLatin1String("caption")).toString() == caption)
            return w.toObject();
    return {};
}

Rect rectOf(const QJsonValue& frame)
{
    const QJsonObject f = frame.toObject();
    return {f.value(QLatin1String("x")).toDouble(), f.value(QLatin1String("y")).toDouble(),
            f.value(QLatin1String("width")).toDouble(), f.value(QLatin1String("height")).toDouble()};
}

std::optional<Rect> KWinSession::frameOf(const QString& caption)
{
    const QJsonValue frame = window(caption).value(QLatin1String("frame"));
    return frame.isObject() ? std::optional<Rect>(rectOf(frame)) : std::nullopt;
}

QVariant KWinSession::call(const QString& service, const QString& path, const QString& interface, const QString& method,
                           const QVariantList& arguments)
{
    QVariant result;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(busAddress(), m_runtime);
        auto message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = bus.call(message, QDBus::Block, 3000);
        if (reply.type() == QDBusMessage::ReplyMessage)
            result = reply.arguments().value(0, QVariant(true));
    }
    QDBusConnection::disconnectFromBus(m_runtime);
    return result;
}

QVariant KWinSession::scripting(const QString& method, const QVariantList& arguments)
{
    return call(QStringLiteral("org.kde.KWin"), QStringLiteral("/Scripting"), QStringLiteral("org.kde.kwin.Scripting"),
                method, arguments);
}

} // namespace mosaro::test
