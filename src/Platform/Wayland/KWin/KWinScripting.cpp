#include "Platform/Wayland/KWin/KWinScripting.h"

#include "Diagnostics/Log/Log.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusReply>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QSaveFile>

#include <unistd.h>

// Outside any namespace, as Qt's resource initialisation wants.
static void initKWinScripts()
{
    Q_INIT_RESOURCE(kwin_scripts);
}

namespace mosaro {

namespace {

constexpr const char* kwinService = "org.kde.KWin";
constexpr const char* accelService = "org.kde.kglobalaccel";
constexpr const char* loadedMessage = "KWin script %{public}s loaded (KWin %{public}s)";
constexpr const char* notLoadedMessage = "KWin script not loaded: %{public}s";
constexpr const char* leftoverMessage = "unloading the KWin script an earlier Mosaro left: %{public}s";
constexpr const char* strangerMessage = "ignoring a call to the KWin channel from %{public}s, which is not KWin";
constexpr const char* unreadableMessage = "KWin's script answered something unreadable: %{public}s";
constexpr const char* noAnswerMessage = "KWin's script did not answer \"%{public}s\" within %d ms";
constexpr const char* reloadMessage = "KWin's script stopped calling back; loading it again";
// D-Bus drops a pending call after 25 s; the script's is answered before then.
constexpr int idleMs = 20000;
// A script that was run but has not called back by then is started the other way.
constexpr int runGraceMs = 100;

QString compact(const QJsonObject& object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString readResource(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

} // namespace

KWinScripting::KWinScripting(QDBusConnection bus, QString scripts)
    : m_bus(std::move(bus)), m_scripts(std::move(scripts))
{
    initKWinScripts();
    m_idle.setSingleShot(true);
    m_idle.setInterval(idleMs);
    QObject::connect(&m_idle, &QTimer::timeout, &m_idle, [this] {
        if (m_next && m_queue.empty())
            send(QJsonObject{{QStringLiteral("op"), QStringLiteral("idle")}});
    });
}

KWinScripting::~KWinScripting()
{
    // Only what this one loaded goes: `--check` beside a running Mosaro loads nothing.
    if (m_kwinOwner.isEmpty())
        return;
    unload();
    unregisterOurShortcuts(m_shortcuts);
    m_bus.unregisterObject(QLatin1String(objectPath));
}

QDBusMessage KWinScripting::callKWin(const QString& path, const QString& interface, const QString& method,
                                     const QVariantList& args) const
{
    auto call = QDBusMessage::createMethodCall(QLatin1String(kwinService), path, interface, method);
    call.setArguments(args);
    return m_bus.call(call, QDBus::Block, timeoutMs);
}

QDBusMessage KWinScripting::scripting(const QString& method, const QVariantList& args) const
{
    return callKWin(QStringLiteral("/Scripting"), QStringLiteral("org.kde.kwin.Scripting"), method, args);
}

QStringList KWinScripting::actionId(const KWinShortcut& shortcut) const
{
    return {QStringLiteral("kwin"), shortcut.name, QStringLiteral("KWin"), shortcut.text};
}

std::vector<int> KWinScripting::keysOf(const KWinShortcut& shortcut) const
{
    auto call = QDBusMessage::createMethodCall(QLatin1String(accelService), QStringLiteral("/kglobalaccel"),
                                               QStringLiteral("org.kde.KGlobalAccel"), QStringLiteral("shortcut"));
    call.setArguments({actionId(shortcut)});
    const QDBusReply<QList<int>> reply = m_bus.call(call, QDBus::Block, timeoutMs);
    std::vector<int> keys;
    if (reply.isValid()) {
        for (int key : reply.value())
            if (key != 0)
                keys.push_back(key);
    }
    return keys;
}

void KWinScripting::unregisterOurShortcuts(const std::vector<KWinShortcut>& known)
{
    // KDE keeps an entry, and on 6 its key, after the script that registered it is gone.
    auto names = QDBusMessage::createMethodCall(QLatin1String(accelService), QStringLiteral("/component/kwin"),
                                                QStringLiteral("org.kde.kglobalaccel.Component"),
                                                QStringLiteral("shortcutNames"));
    const QDBusReply<QStringList> reply = m_bus.call(names, QDBus::Block, timeoutMs);
    if (!reply.isValid())
        return;
    for (const QString& name : reply.value()) {
        if (!name.startsWith(QLatin1String(shortcutPrefix)))
            continue;
        KWinShortcut shortcut{name, name, {}};
        for (const auto& k : known)
            if (k.name == name)
                shortcut = k;
        auto call =
            QDBusMessage::createMethodCall(QLatin1String(accelService), QStringLiteral("/kglobalaccel"),
                                           QStringLiteral("org.kde.KGlobalAccel"), QStringLiteral("unRegister"));
        call.setArguments({actionId(shortcut)});
        m_bus.call(call, QDBus::Block, timeoutMs);
    }
}

void KWinScripting::unload()
{
    if (m_next) {
        // Ends the script's polling: an unloaded script's pending call would be logged as dropped.
        m_bus.send(m_next->createReply(compact({{QStringLiteral("op"), QStringLiteral("stop")}})));
        m_next.reset();
    }
    auto queue = std::exchange(m_queue, {});
    for (auto& pending : queue)
        if (pending.done)
            pending.done(std::nullopt);
    if (m_hello || !m_kwinOwner.isEmpty())
        scripting(QStringLiteral("unloadScript"), {QLatin1String(scriptName)});
    m_hello = false;
    m_idle.stop();
}

bool KWinScripting::writeScript(const QString& path)
{
    QJsonArray shortcuts;
    for (const auto& s : m_shortcuts)
        shortcuts.append(QJsonObject{
            {QStringLiteral("name"), s.name}, {QStringLiteral("text"), s.text}, {QStringLiteral("keys"), s.keys}});
    const QJsonObject config{{QStringLiteral("service"), m_bus.baseService()},
                             {QStringLiteral("path"), QLatin1String(objectPath)},
                             {QStringLiteral("interface"), QLatin1String(interfaceName)},
                             {QStringLiteral("pid"), int(::getpid())},
                             {QStringLiteral("panelCaption"), QStringLiteral("Mosaro overlay")},
                             {QStringLiteral("shortcuts"), shortcuts}};
    const QString common = readResource(m_scripts + QStringLiteral("common.js"));
    const QString session = readResource(m_scripts + QStringLiteral("session.js"));
    QSaveFile file(path);
    if (common.isEmpty() || session.isEmpty() || !file.open(QIODevice::WriteOnly))
        return false;
    file.write(
        (QStringLiteral("var mosaroConfig = ") + compact(config) + QStringLiteral(";\n") + common + session).toUtf8());
    return file.commit();
}

bool KWinScripting::load(const std::vector<KWinShortcut>& shortcuts)
{
    const auto fail = [this](const QString& why) {
        m_problem = why;
        Log::lifecycle().error(notLoadedMessage, why);
        return false;
    };
    m_problem.clear();
    if (!m_bus.isConnected())
        return fail(QStringLiteral("no session bus"));
    const QDBusReply<QString> owner = m_bus.interface()->serviceOwner(QLatin1String(kwinService));
    if (!owner.isValid())
        return fail(QStringLiteral("org.kde.KWin is not on the session bus"));
    const bool first = m_kwinOwner.isEmpty();
    m_kwinOwner = owner.value();
    if (first && !m_bus.registerVirtualObject(QLatin1String(objectPath), this))
        return fail(QStringLiteral("cannot export %1 on the session bus").arg(QLatin1String(objectPath)));
    if (first) {
        const QDBusReply<bool> leftover = scripting(QStringLiteral("isScriptLoaded"), {QLatin1String(scriptName)});
        if (!leftover.isValid())
            return fail(QStringLiteral("KWin's scripting interface does not answer: ") + leftover.error().message());
        if (leftover.value())
            Log::lifecycle().info(leftoverMessage, QLatin1String(scriptName));
    }
    // Changing a shortcut's key works only this way: KDE keeps the stored key of a name it knows.
    unload();
    unregisterOurShortcuts(shortcuts.empty() ? m_shortcuts : shortcuts);
    m_shortcuts = shortcuts;

    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (runtime.isEmpty())
        return fail(QStringLiteral("XDG_RUNTIME_DIR is not set, so there is no private folder for the script"));
    const QString folder = runtime + QStringLiteral("/mosaro");
    const QString path = folder + QStringLiteral("/kwin-session.js");
    if (!QDir().mkpath(folder) ||
        !QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner) || !writeScript(path))
        return fail(QStringLiteral("cannot write %1").arg(path));

    const QDBusMessage loaded = scripting(QStringLiteral("loadScript"), {path, QLatin1String(scriptName)});
    if (loaded.type() != QDBusMessage::ReplyMessage)
        return fail(QStringLiteral("KWin's scripting interface does not answer: ") + loaded.errorMessage());
    const int id = loaded.arguments().value(0, -1).toInt();
    if (id < 0)
        return fail(QStringLiteral("KWin refused to load %1").arg(path));
    // 6 keeps a script at /Scripting/Script<id>, 5.27 at /<id>. The id counts the scripts loaded, so
    // it may be that of another one still loaded: start() then runs every script not yet running.
    for (const auto& object : {QStringLiteral("/Scripting/Script%1"), QStringLiteral("/%1")}) {
        if (callKWin(object.arg(id), QStringLiteral("org.kde.kwin.Script"), QStringLiteral("run")).type() ==
            QDBusMessage::ReplyMessage)
            break;
    }
    if (!waitFor([this] { return m_hello; }, runGraceMs))
        scripting(QStringLiteral("start"));
    if (!waitFor([this] { return m_hello; }, timeoutMs - runGraceMs))
        return fail(QStringLiteral("the script loaded but did not call back within %1 ms").arg(timeoutMs));
    Log::lifecycle().info(loadedMessage, path, version());
    return true;
}

QString KWinScripting::version()
{
    if (m_version.isEmpty()) {
        const QDBusReply<QString> info =
            callKWin(QStringLiteral("/KWin"), QStringLiteral("org.kde.KWin"), QStringLiteral("supportInformation"));
        const auto match = QRegularExpression(QStringLiteral("KWin version: *([0-9][0-9A-Za-z.]*)"))
                               .match(info.isValid() ? info.value() : QString());
        m_version = match.captured(1);
    }
    return m_version;
}

bool KWinScripting::waitFor(const std::function<bool()>& done, int ms)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, &loop, &QEventLoop::quit);
    limit.start(ms);
    auto previous = std::exchange(m_wake, [&] {
        if (done())
            loop.quit();
    });
    // Keys wait until the answer is in: the overlay handles them in order.
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    m_wake = std::move(previous);
    if (m_wake)
        m_wake();
    return done();
}

void KWinScripting::send(QJsonObject request, std::function<void(std::optional<QJsonObject>)> done)
{
    const int seq = ++m_seq;
    request.insert(QStringLiteral("seq"), seq);
    m_queue.push_back(Pending{seq, std::move(request), std::move(done), false});
    QTimer::singleShot(timeoutMs, &m_idle, [this, seq] { expire(seq); });
    pump();
}

std::optional<QJsonObject> KWinScripting::request(QJsonObject request)
{
    const QString op = request.value(QStringLiteral("op")).toString();
    bool finished = false;
    std::optional<QJsonObject> answer;
    const int seq = m_seq + 1;
    send(std::move(request), [&](std::optional<QJsonObject> a) {
        answer = std::move(a);
        finished = true;
    });
    if (!waitFor([&] { return finished; }, timeoutMs + 50))
        expire(seq);
    if (!answer)
        Log::windowmanager().error(noAnswerMessage, op, timeoutMs);
    return answer;
}

void KWinScripting::expire(int seq)
{
    const auto it = std::find_if(m_queue.begin(), m_queue.end(), [&](const Pending& p) { return p.seq == seq; });
    if (it == m_queue.end())
        return;
    const bool neverSent = !it->sent;
    auto done = std::move(it->done);
    m_queue.erase(it);
    if (done)
        done(std::nullopt);
    // No call of the script's came for a whole second: the chain is broken (the script is gone,
    // or its call timed out). Loaded again when KWin itself still answers; a KWin that does not
    // costs no more waits.
    if (neverSent && !m_next && !m_reloading && !m_kwinOwner.isEmpty() &&
        scripting(QStringLiteral("isScriptLoaded"), {QLatin1String(scriptName)}).type() == QDBusMessage::ReplyMessage) {
        Log::lifecycle().error(reloadMessage);
        m_reloading = true;
        load(m_shortcuts);
        m_reloading = false;
    }
}

void KWinScripting::pump()
{
    if (!m_next || m_queue.empty() || m_queue.front().sent)
        return;
    Pending& front = m_queue.front();
    front.sent = true;
    m_bus.send(m_next->createReply(compact(front.request)));
    m_next.reset();
    m_idle.stop();
    // Nothing waits for an idle answer.
    if (!front.done && front.request.value(QStringLiteral("op")).toString() == QLatin1String("idle"))
        m_queue.pop_front();
}

void KWinScripting::answered(const QString& text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    const QJsonObject answer = document.object();
    if (!document.isObject()) {
        Log::windowmanager().error(unreadableMessage, text.left(200));
    } else if (answer.contains(QStringLiteral("hello"))) {
        const QJsonObject hello = answer.value(QStringLiteral("hello")).toObject();
        m_kwin6 = hello.value(QStringLiteral("kwin6")).toBool();
        m_hello = true;
        return;
    }
    // One request is out at a time: the answer is the front's, whatever its number says.
    if (m_queue.empty() || !m_queue.front().sent)
        return;
    Pending pending = std::move(m_queue.front());
    m_queue.pop_front();
    if (answer.value(QStringLiteral("seq")).toInt() != pending.seq && document.isObject())
        Log::windowmanager().error(unreadableMessage, text.left(200));
    if (pending.done)
        pending.done(document.isObject() && answer.value(QStringLiteral("seq")).toInt() == pending.seq
                         ? std::optional<QJsonObject>(answer)
                         : std::nullopt);
}

QString KWinScripting::introspect(const QString&) const
{
    return QStringLiteral("<interface name=\"%1\">"
                          "<method name=\"next\"><arg type=\"s\" direction=\"in\"/><arg type=\"s\" direction=\"out\"/>"
                          "</method>"
                          "<method name=\"trigger\"><arg type=\"s\" direction=\"in\"/></method>"
                          "<method name=\"dismissal\"><arg type=\"s\" direction=\"in\"/></method>"
                          "</interface>")
        .arg(QLatin1String(interfaceName));
}

bool KWinScripting::handleMessage(const QDBusMessage& message, const QDBusConnection&)
{
    if (message.type() != QDBusMessage::MethodCallMessage || message.interface() != QLatin1String(interfaceName))
        return false;
    // Anyone on the bus can call this object; only KWin's script is listened to.
    if (message.service() != m_kwinOwner) {
        Log::lifecycle().error(strangerMessage, message.service());
        m_bus.send(message.createErrorReply(QDBusError::AccessDenied, QStringLiteral("not KWin")));
        return true;
    }
    const QString member = message.member();
    const QString text = message.arguments().value(0).toString();
    if (member == QLatin1String("next")) {
        message.setDelayedReply(true);
        if (m_next) // a second chain (a script loaded twice): the older one ends
            m_bus.send(m_next->createReply(compact({{QStringLiteral("op"), QStringLiteral("stop")}})));
        m_next = message;
        m_idle.start();
        answered(text);
        pump();
        if (m_wake)
            m_wake();
        return true;
    }
    if (member != QLatin1String("trigger") && member != QLatin1String("dismissal"))
        return false;
    m_bus.send(message.createReply());
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    if (!document.isObject()) {
        Log::windowmanager().error(unreadableMessage, text.left(200));
        return true;
    }
    // Handled from the event loop, outside D-Bus's dispatch: both may wait for requests.
    const QJsonObject object = document.object();
    QTimer::singleShot(0, &m_idle, [this, member, object] {
        if (member == QLatin1String("trigger") && onTrigger)
            onTrigger(object);
        else if (member == QLatin1String("dismissal") && onDismissal)
            onDismissal(object.value(QStringLiteral("dismissal")).toString());
    });
    return true;
}

} // namespace mosaro
