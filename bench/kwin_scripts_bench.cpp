// The channel into KWin, measured on a headless KWin: Mosaro's requests as delayed replies to the
// session script's pending call, the same request as a script of its own, a placement settled by
// the script (one frame write, the floor, and the three writes a commit makes), and the trigger
// from a key press to Mosaro. Runs inside tests/wayland/kwin/kwin-session.sh, which `make bench`
// does; prints figures and asserts nothing but that each step answered.
//
//   kwin_scripts_bench [--smoke] [--runs N]

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVirtualObject>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTime>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>
#include <vector>

namespace {

const QString kPath = QStringLiteral("/tech/brenmark/mosaro/KWin");
const QString kInterface = QStringLiteral("tech.brenmark.mosaro.KWin");
const QString kSessionName = QStringLiteral("mosaro-bench-session");
const QString kScripts = QStringLiteral(MOSARO_SOURCE_DIR "/src/Platform/Wayland/KWin/scripts/");

QString readText(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
}

QString json(const QJsonObject& o)
{
    return QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
}

// Mosaro's side of the channel: the session script's `next`, `trigger` and `dismissal`, and the
// `answer` of a script of its own. A virtual object, so that no method name meets QObject's.
class Channel : public QDBusVirtualObject {
public:
    QDBusConnection bus = QDBusConnection::sessionBus();
    std::optional<QDBusMessage> pending;
    QString lastAnswer;
    qint64 arrivedAt = 0;
    int answers = 0;
    int triggers = 0;
    QElapsedTimer clock;
    std::function<void()> onArrival;

    Channel() { clock.start(); }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override
    {
        const QString text = message.arguments().value(0).toString();
        if (message.member() == QLatin1String("next")) {
            pending = message;
            received(text);
        } else if (message.member() == QLatin1String("answer")) {
            received(text);
        } else if (message.member() == QLatin1String("trigger")) {
            ++triggers;
        } else if (message.member() != QLatin1String("dismissal")) {
            return false;
        }
        if (message.member() != QLatin1String("next"))
            bus.send(message.createReply());
        if (onArrival)
            onArrival();
        return true;
    }
    bool waitFor(const std::function<bool()>& done, int ms = 2000)
    {
        if (done())
            return true;
        QEventLoop loop;
        QTimer::singleShot(ms, &loop, &QEventLoop::quit);
        onArrival = [&] {
            if (done())
                loop.quit();
        };
        loop.exec();
        onArrival = nullptr;
        return done();
    }
    QDBusMessage kwin(const QString& path, const QString& interface, const QString& method,
                      const QVariantList& args = {})
    {
        auto call = QDBusMessage::createMethodCall(QStringLiteral("org.kde.KWin"), path, interface, method);
        call.setArguments(args);
        return bus.call(call, QDBus::Block, 1000);
    }
    QDBusMessage scripting(const QString& method, const QVariantList& args = {})
    {
        return kwin(QStringLiteral("/Scripting"), QStringLiteral("org.kde.kwin.Scripting"), method, args);
    }
    // Loads and runs a script; KWin 6 keeps it at /Scripting/Script<id>, 5.27 at /<id>. The id
    // counts the scripts loaded, so it can be that of another script still loaded: start() then
    // runs what has not run yet.
    void runScript(const QString& file, const QString& name, const std::function<bool()>& started)
    {
        scripting(QStringLiteral("unloadScript"), {name});
        const int id = scripting(QStringLiteral("loadScript"), {file, name}).arguments().value(0, -1).toInt();
        for (const auto& path : {QStringLiteral("/Scripting/Script%1"), QStringLiteral("/%1")}) {
            if (kwin(path.arg(id), QStringLiteral("org.kde.kwin.Script"), QStringLiteral("run")).type() ==
                QDBusMessage::ReplyMessage)
                break;
        }
        if (!waitFor(started, 100))
            scripting(QStringLiteral("start"));
    }
    // One request through the pending call: milliseconds to its answer, or a negative number.
    double request(const QJsonObject& r)
    {
        if (!waitFor([this] { return pending.has_value(); }, 1000))
            return -1;
        const int before = answers;
        auto call = *pending;
        pending.reset();
        const qint64 t0 = clock.nsecsElapsed();
        bus.send(call.createReply(json(r)));
        return waitFor([&] { return answers > before; }) ? (arrivedAt - t0) / 1e6 : -1;
    }

private:
    void received(const QString& text)
    {
        arrivedAt = clock.nsecsElapsed();
        lastAnswer = text;
        ++answers;
    }
};

struct Figures {
    std::vector<double> values;
    int failed = 0;
    void add(double v) { v < 0 ? void(++failed) : values.push_back(v); }
};

void print(const char* what, Figures f)
{
    std::sort(f.values.begin(), f.values.end());
    if (f.values.empty()) {
        std::printf("%-44s no answer (%d failed)\n", what, f.failed);
        return;
    }
    const auto at = [&](double q) { return f.values[std::min(f.values.size() - 1, std::size_t(q * f.values.size()))]; };
    std::printf("%-44s %6.3f / %6.3f / %6.3f ms (%zu", what, at(0.5), at(0.95), f.values.back(), f.values.size());
    std::printf(f.failed ? ", %d failed)\n" : ")\n", f.failed);
}

// The real Mosaro on the same KWin, timed from outside by a read-only script of the bench's own
// that reports every activation and the target's frames: the trigger typed until the panel is the
// active window (it holds the keyboard), Return typed until the target has its cell.
struct MosaroFigures {
    Figures ready;
    Figures commit;
    Figures dismissed; // by Mosaro's own log (whole milliseconds): Return → the move starts
};

// The time of the first log line after `from` holding the text, by the log's millisecond clock.
double loggedAt(const QByteArray& log, const char* text, qsizetype from)
{
    const qsizetype at = log.indexOf(text, from);
    if (at < 0)
        return -1;
    const qsizetype line = log.lastIndexOf('\n', at) + 1;
    const QTime time = QTime::fromString(QString::fromLatin1(log.mid(line, 12)), QStringLiteral("HH:mm:ss.zzz"));
    return time.isValid() ? time.msecsSinceStartOfDay() : -1;
}

MosaroFigures measureMosaro(Channel& channel, QProcess& keys, const QString& dir, int runs)
{
    MosaroFigures figures;
    const QString watch = dir + QStringLiteral("/watch.js");
    QFile file(watch);
    if (!file.open(QIODevice::WriteOnly))
        return figures;
    file.write(QStringLiteral("var probe = %1;\n")
                   .arg(json({{"service", channel.bus.baseService()}, {"path", kPath}, {"interface", kInterface}}))
                   .toUtf8() +
               R"(var kwin6 = "activeWindow" in workspace;
function tell(o) { callDBus(probe.service, probe.path, probe.interface, "answer", JSON.stringify(o)); }
(kwin6 ? workspace.windowActivated : workspace.clientActivated).connect(function (w) {
    tell({activated: w ? String(w.caption) : ""});
});
(kwin6 ? workspace.windowList() : workspace.clientList()).forEach(function (w) {
    if (String(w.caption) === "Bench target")
        w.frameGeometryChanged.connect(function () {
            var g = w.frameGeometry;
            tell({frame: [g.x, g.y, g.width, g.height]});
        });
});
)");
    file.close();
    QProcess mosaro;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), dir + QStringLiteral("/mosaro-config"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), dir + QStringLiteral("/mosaro-data"));
    mosaro.setProcessEnvironment(env);
    mosaro.setProcessChannelMode(QProcess::MergedChannels);
    mosaro.start(QStringLiteral(MOSARO_BINARY), {QStringLiteral("--verbose")});
    QByteArray log;
    channel.waitFor(
        [&] {
            mosaro.waitForReadyRead(10);
            log += mosaro.readAll();
            return log.contains("trigger hotkey should be live");
        },
        20000);
    channel.runScript(watch, QStringLiteral("mosaro-bench-watch"), [] { return false; });
    const auto said = [&](const char* key, const QJsonValue& value) {
        return [&channel, key, value] { return QJsonDocument::fromJson(channel.lastAnswer.toUtf8())[key] == value; };
    };
    // The bottom row's left and right cells of 1440 x 900, in turn, so that every commit moves.
    const QJsonArray cells[] = {{0, 450, 480, 450}, {960, 450, 480, 450}};
    for (int i = 0; i < runs; ++i) {
        qint64 t0 = channel.clock.nsecsElapsed();
        keys.write("Meta+Return\n");
        figures.ready.add(
            channel.waitFor(said("activated", QStringLiteral("Mosaro overlay"))) ? (channel.arrivedAt - t0) / 1e6 : -1);
        keys.write(i % 2 ? "Right\n" : "Left\n");
        channel.waitFor([] { return false; }, 30); // a person's pause between keys
        log += mosaro.readAll();
        const qsizetype mark = log.size();
        t0 = channel.clock.nsecsElapsed();
        keys.write("Return\n");
        figures.commit.add(channel.waitFor(said("frame", cells[i % 2])) ? (channel.arrivedAt - t0) / 1e6 : -1);
        mosaro.waitForReadyRead(20);
        log += mosaro.readAll();
        const double key = loggedAt(log, "keyDown keyCode=36", mark), move = loggedAt(log, "commit move:", mark);
        if (key >= 0 && move >= 0)
            figures.dismissed.add(move - key);
        channel.waitFor(said("activated", QStringLiteral("Bench target")), 1000);
        channel.waitFor([] { return false; }, 100);
        keys.readAll();
    }
    channel.scripting(QStringLiteral("unloadScript"), {QStringLiteral("mosaro-bench-watch")});
    mosaro.terminate();
    mosaro.waitForFinished(5000);
    return figures;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const auto args = app.arguments();
    int runs = args.contains(QStringLiteral("--smoke")) ? 5 : 200;
    if (const auto at = args.indexOf(QStringLiteral("--runs")); at > 0 && at + 1 < args.size())
        runs = args[at + 1].toInt();
    Channel channel;
    if (!channel.bus.registerVirtualObject(kPath, &channel)) {
        std::puts("no session bus");
        return 1;
    }
    const QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/mosaro-bench");
    QDir().mkpath(dir);
    const QJsonObject trigger{{"name", "Mosaro Trigger"}, {"text", "Mosaro: show the grid"}, {"keys", "Meta+Return"}};
    const QString config = QStringLiteral("var mosaroConfig = ") +
                           json({{"service", channel.bus.baseService()},
                                 {"path", kPath},
                                 {"interface", kInterface},
                                 {"pid", int(app.applicationPid())},
                                 {"panelCaption", "Mosaro Overlay"},
                                 {"shortcuts", QJsonArray{trigger}}}) +
                           QStringLiteral(";\n");
    const QString common = readText(kScripts + QStringLiteral("common.js"));
    const QString sessionFile = dir + QStringLiteral("/session.js");
    QFile f(sessionFile);
    if (common.isEmpty() || !f.open(QIODevice::WriteOnly))
        return 1;
    f.write((config + common + readText(kScripts + QStringLiteral("session.js"))).toUtf8());
    f.close();

    // A window to place, and the key injector, both kept for the whole run.
    QProcess target;
    target.start(QStringLiteral(MOSARO_WAYLAND_CLIENT), {"Bench target", "700x500"});
    QProcess keys;
    keys.start(QStringLiteral(MOSARO_KWIN_CLIENT), QStringList{});
    QTimer::singleShot(1000, &app, &QCoreApplication::quit);
    app.exec(); // the window maps and takes the keyboard

    Figures load;
    for (int i = 0; i < std::min(runs, 20); ++i) {
        const int before = channel.answers;
        const qint64 t0 = channel.clock.nsecsElapsed();
        channel.runScript(sessionFile, kSessionName, [&] { return channel.answers > before; });
        load.add(channel.answers > before ? (channel.arrivedAt - t0) / 1e6 : -1);
        if (i + 1 < std::min(runs, 20) && channel.pending) {
            channel.bus.send(channel.pending->createReply(QStringLiteral("{\"op\":\"stop\"}")));
            channel.pending.reset();
        }
    }
    Figures idle, window, own, floor, writes, byKey, byInvoke;
    QString targetId;
    for (int i = 0; i < runs; ++i) {
        idle.add(channel.request({{"seq", i}, {"op", "idle"}}));
        window.add(channel.request({{"seq", i}, {"op", "window"}}));
        if (targetId.isEmpty())
            targetId = QJsonDocument::fromJson(channel.lastAnswer.toUtf8())["window"]["id"].toString();
    }
    // The same request in a script of its own: written, loaded, run, answered, unloaded.
    const QString body = common + readText(kScripts + QStringLiteral("request.js"));
    for (int i = 0; i < std::min(runs, 100); ++i) {
        const qint64 t0 = channel.clock.nsecsElapsed();
        QFile file(dir + QStringLiteral("/request.js"));
        file.open(QIODevice::WriteOnly);
        file.write((config + QStringLiteral("var mosaroRequest = '{\"op\":\"window\"}';\n") + body).toUtf8());
        file.close();
        const int before = channel.answers;
        channel.runScript(file.fileName(), QStringLiteral("mosaro-bench-request"),
                          [&] { return channel.answers > before; });
        const bool answered = channel.waitFor([&] { return channel.answers > before; });
        channel.scripting(QStringLiteral("unloadScript"), {QStringLiteral("mosaro-bench-request")});
        own.add(answered ? (channel.clock.nsecsElapsed() - t0) / 1e6 : -1);
    }
    // Between two frames that differ in place and size: one write to the first, three to the second.
    const QJsonObject first{{"x", 100}, {"y", 80}, {"width", 700}, {"height", 500}};
    const QJsonObject position{{"x", 400}, {"y", 200}}, size{{"width", 500}, {"height", 400}};
    for (int i = 0; i < runs; ++i) {
        floor.add(channel.request({{"seq", i}, {"op", "place"}, {"id", targetId}, {"writes", QJsonArray{first}}}));
        writes.add(channel.request(
            {{"seq", i}, {"op", "place"}, {"id", targetId}, {"writes", QJsonArray{position, size, position}}}));
    }
    for (int i = 0; i < runs; ++i) {
        int before = channel.triggers;
        qint64 t0 = channel.clock.nsecsElapsed();
        keys.write("Meta+Return\n");
        byKey.add(channel.waitFor([&] { return channel.triggers > before; }) ? (channel.clock.nsecsElapsed() - t0) / 1e6
                                                                             : -1);
        keys.waitForReadyRead(1000);
        keys.readAll();
        before = channel.triggers;
        t0 = channel.clock.nsecsElapsed();
        auto invoke = QDBusMessage::createMethodCall(
            QStringLiteral("org.kde.kglobalaccel"), QStringLiteral("/component/kwin"),
            QStringLiteral("org.kde.kglobalaccel.Component"), QStringLiteral("invokeShortcut"));
        invoke.setArguments({trigger["name"].toString()});
        channel.bus.asyncCall(invoke);
        byInvoke.add(channel.waitFor([&] { return channel.triggers > before; })
                         ? (channel.clock.nsecsElapsed() - t0) / 1e6
                         : -1);
    }
    if (channel.pending)
        channel.bus.send(channel.pending->createReply(QStringLiteral("{\"op\":\"stop\"}")));
    channel.scripting(QStringLiteral("unloadScript"), {kSessionName});
    // A trigger entry outlives its script and keeps its key from others: removed with it.
    auto unregister =
        QDBusMessage::createMethodCall(QStringLiteral("org.kde.kglobalaccel"), QStringLiteral("/kglobalaccel"),
                                       QStringLiteral("org.kde.KGlobalAccel"), QStringLiteral("unRegister"));
    unregister.setArguments({QStringList{"kwin", trigger["name"].toString(), "KWin", trigger["text"].toString()}});
    channel.bus.call(unregister, QDBus::Block, 1000);
    const auto mosaro = measureMosaro(channel, keys, dir, runs);
    keys.closeWriteChannel();
    keys.waitForFinished(1000);
    target.terminate();
    target.waitForFinished(1000);

    std::printf("KWin scripts: median / p95 / max (count)\n");
    print("session script: load, run → first call", load);
    print("request → answer (delayed reply): idle", idle);
    print("request → answer (delayed reply): window", window);
    print("request in a script of its own: window", own);
    print("floor: one frame write → settled", floor);
    print("position, size, position → settled", writes);
    print("Meta+Return (fake input) → trigger call", byKey);
    print("invokeShortcut → trigger call", byInvoke);
    print("Mosaro: Meta+Return → panel holds the keyboard", mosaro.ready);
    print("Mosaro: Return → window at its cell", mosaro.commit);
    print("  of which Return → move starts (log, whole ms)", mosaro.dismissed);
    const auto quantile = [](Figures figures, double q) {
        std::sort(figures.values.begin(), figures.values.end());
        return figures.values.empty()
                   ? 1e9
                   : figures.values[std::min(figures.values.size() - 1, std::size_t(q * figures.values.size()))];
    };
    std::printf("goals: trigger → ready p95 ≤ 16.7 ms: %s; commit median ≤ 1.5 × floor median: %s\n",
                quantile(mosaro.ready, 0.95) <= 16.7 ? "met" : "MISSED",
                quantile(mosaro.commit, 0.5) <= 1.5 * quantile(floor, 0.5) ? "met" : "MISSED");
    const bool ok = load.failed + idle.failed + window.failed + own.failed + floor.failed + writes.failed +
                        byKey.failed + byInvoke.failed + mosaro.ready.failed + mosaro.commit.failed ==
                    0;
    return ok ? 0 : 1;
}
