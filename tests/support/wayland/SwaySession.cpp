#include "support/wayland/SwaySession.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace mosaro::test {

SwaySession::SwaySession(const Options& options) : CompositorSession(QStringLiteral("sway"), options.root)
{
    if (!ok())
        return;
    QString config = QStringLiteral("xwayland disable\nswaynag_command -\nswaybg_command -\n");
    if (options.debianDefaults)
        config += QStringLiteral("include %1\n").arg(defaultConfig());
    config +=
        QStringLiteral("output HEADLESS-1 resolution 1440x900 position 0 0\n") + options.config + QLatin1Char('\n');
    QFile file(configPath());
    if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) < 0 || !file.flush() ||
        !ownFile(configPath(), false, 0644)) {
        m_error = QStringLiteral("cannot write %1").arg(configPath());
        return;
    }
    file.close();
    const QString bus = m_runtime + QStringLiteral("/bus");
    startBus();
    m_sway = spawn({QStringLiteral("sway"), QStringLiteral("-c"), configPath()});
    if (!eventually([&] { return QFile::exists(bus); }, 20000)) {
        m_error = QStringLiteral("the session bus did not start");
        return;
    }
    if (!eventually([&] { return !ask(QStringLiteral("get_version")).isEmpty(); }, 20000)) {
        m_error =
            QStringLiteral("sway did not answer on %1: %2").arg(swaySocket(), log(QStringLiteral("sway")).right(2000));
        return;
    }
    // One keyboard stays on the seat for the whole session: a wtype that brings its own keyboard
    // and takes it away again leaves clients seeing only the release of its first key.
    m_keyboard = spawn({QStringLiteral("wtype"), QStringLiteral("-s"), QStringLiteral("86400000")});
}

SwaySession::~SwaySession()
{
    if (m_sway > 0)
        resumeCompositor();
}

QString SwaySession::defaultConfig()
{
    if (!m_root)
        return QStringLiteral("/etc/sway/config");
    // The root's own default, copied where Mosaro on this system reads the same file as sway.
    QProcess script;
    script.start(QStringLiteral(MOSARO_DEBIAN_ROOT_SCRIPT), {QStringLiteral("path")});
    script.waitForFinished(10000);
    const QString root = QString::fromLocal8Bit(script.readAllStandardOutput()).trimmed();
    QString copy = m_runtime + QStringLiteral("/debian-default.config");
    QFile::copy(root + QStringLiteral("/etc/sway/config"), copy);
    ownFile(copy, false, 0644);
    return copy;
}

pid_t SwaySession::spawn(const QStringList& argv, const QStringList& extra)
{
    QStringList environment = sessionEnvironment();
    // The user may have nologin as shell: terminals opened by a binding stay open.
    environment << QStringLiteral("SHELL=/bin/sh") << QStringLiteral("SWAYSOCK=") + swaySocket()
                << QStringLiteral("WLR_BACKENDS=headless") << QStringLiteral("WLR_LIBINPUT_NO_DEVICES=1")
                << QStringLiteral("WLR_RENDERER=pixman");
    // sway makes its own socket; its clients are told where it is.
    if (argv.value(0) != QLatin1String("sway"))
        environment << QStringLiteral("WAYLAND_DISPLAY=") + waylandDisplay();
    environment << extra;
    // The one place that knows where the compositor's programs live: this system, run as the
    // unprivileged user when we are root, or the Debian 13 root for sway and its terminal (the
    // tools that stand for a person's hands and eyes, wtype and grim, stay on this system).
    QStringList command;
    const QString program = argv.value(0);
    if (m_root && (program == QLatin1String("sway") || program == QLatin1String("foot")))
        command =
            rootRun(m_runtime, environment,
                    program == QLatin1String("sway") ? QStringList{QStringLiteral("--session-bus")}
                                                     : QStringList{QStringLiteral("--join"), QString::number(m_sway)});
    else
        command = asUser(m_asNobody);
    return launchChild(command + argv, environment, argv.value(0));
}

QJsonObject SwaySession::find(const QString& field, const QJsonValue& value)
{
    QJsonObject found;
    std::function<void(const QJsonObject&)> search = [&](const QJsonObject& node) {
        if (node.value(field) == value)
            found = node;
        for (const char* children : {"nodes", "floating_nodes"})
            for (const auto& child : node.value(QLatin1String(children)).toArray())
                search(child.toObject());
    };
    search(QJsonDocument::fromJson(ask(QStringLiteral("get_tree"))).object());
    return found;
}

std::optional<SwaySession::Window> SwaySession::waitForWindow(const QString& appId, int timeoutMs)
{
    QJsonObject node;
    if (!eventually([&] { return !(node = find(QStringLiteral("app_id"), appId)).isEmpty(); }, timeoutMs))
        return std::nullopt;
    return Window{node.value(QLatin1String("id")).toInteger(), pid_t(node.value(QLatin1String("pid")).toInt())};
}

std::optional<SwaySession::Window> SwaySession::startFoot(const QString& appId, int timeoutMs)
{
    // foot 1.13 does not know resize-by-cells and says so, then starts all the same.
    spawn({QStringLiteral("foot"), QStringLiteral("-o"), QStringLiteral("resize-by-cells=no"), QStringLiteral("-a"),
           appId, QStringLiteral("sleep"), QStringLiteral("86400")});
    return waitForWindow(appId, timeoutMs);
}

std::optional<SwaySession::Window> SwaySession::startQtWindow(const QString& appId, int timeoutMs)
{
    const QString client = copyHere(QStringLiteral(MOSARO_WAYLAND_CLIENT_PATH));
    if (client.isEmpty())
        return std::nullopt;
    spawn({client, appId}, {QStringLiteral("QT_QPA_PLATFORM=wayland")});
    return waitForWindow(appId, timeoutMs);
}

pid_t SwaySession::type(const QString& keys)
{
    QStringList parts = keys.split(QLatin1Char('+'));
    const QString key = parts.takeLast();
    QStringList argv{QStringLiteral("wtype")};
    for (const QString& modifier : parts)
        argv << QStringLiteral("-M") << modifier;
    argv << QStringLiteral("-k") << key;
    for (auto it = parts.rbegin(); it != parts.rend(); ++it)
        argv << QStringLiteral("-m") << *it;
    return spawn(argv);
}

bool SwaySession::press(const QString& keys)
{
    const int status = finish(type(keys));
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

QByteArray SwaySession::ask(const QStringList& arguments)
{
    QProcess swaymsg;
    swaymsg.start(QStringLiteral("swaymsg"),
                  QStringList{QStringLiteral("-s"), swaySocket(), QStringLiteral("-r")} + arguments);
    if (!swaymsg.waitForFinished(3000) || swaymsg.exitCode() != 0) {
        swaymsg.kill();
        swaymsg.waitForFinished(1000);
        return {};
    }
    return swaymsg.readAllStandardOutput();
}

bool SwaySession::command(const QString& commands)
{
    const QJsonArray results = QJsonDocument::fromJson(ask({QStringLiteral("--"), commands})).array();
    return !results.isEmpty() && std::all_of(results.begin(), results.end(), [](const QJsonValue& r) {
        return r.toObject().value(QLatin1String("success")).toBool();
    });
}

QString SwaySession::waylandDisplay() const
{
    for (const QFileInfo& entry : QDir(m_runtime).entryInfoList({QStringLiteral("wayland-*")}, QDir::System))
        if (!entry.fileName().endsWith(QLatin1String(".lock")))
            return entry.filePath();
    return m_runtime + QStringLiteral("/wayland-1");
}

QJsonObject SwaySession::container(std::int64_t id)
{
    return find(QStringLiteral("id"), qint64(id));
}

std::optional<Rect> SwaySession::frameOf(std::int64_t id)
{
    const QJsonObject node = container(id);
    if (node.isEmpty())
        return std::nullopt;
    const QJsonObject r = node.value(QLatin1String("rect")).toObject();
    const double title = node.value(QLatin1String("deco_rect")).toObject().value(QLatin1String("height")).toDouble();
    return Rect{r.value(QLatin1String("x")).toDouble(), r.value(QLatin1String("y")).toDouble() - title,
                r.value(QLatin1String("width")).toDouble(), r.value(QLatin1String("height")).toDouble() + title};
}

QImage SwaySession::screenshot(const QString& name)
{
    const QString path = m_home + QLatin1Char('/') + name + QStringLiteral(".png");
    finish(spawn({QStringLiteral("grim"), path}));
    return QImage(path);
}

bool SwaySession::addOutput()
{
    return command(QStringLiteral("create_output"));
}

void SwaySession::pauseCompositor()
{
    signal("sway", SIGSTOP);
}

void SwaySession::resumeCompositor()
{
    signal("sway", SIGCONT);
}

void SwaySession::stopCompositor()
{
    // In the root, m_sway is the script that runs sway.
    signal("sway", SIGTERM);
    stop(m_sway);
    m_sway = -1;
}

} // namespace mosaro::test
