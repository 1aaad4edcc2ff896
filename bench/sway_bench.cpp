// The overlay on a headless sway 1.7, measured from outside the shipped program: sway's own IPC
// events say when the trigger's binding fired and when the panel got the keyboard; the program's
// log says when an arrow key arrived and when its frame went to the compositor; sway's tree says
// when a committed window reached its frame. A bare move-and-resize over the same IPC is the
// floor the commit is compared with, in the same run.
#include "BenchFigures.h"
#include "Platform/Wayland/Sway/SwayIpc.h"
#include "Platform/Wayland/Sway/SwayProtocol.h"
#include "support/wayland/MosaroProcess.h"
#include "support/wayland/SwaySession.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTime>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

using namespace mosaro;
using namespace mosaro::test;
using namespace mosaro::bench;

namespace {

bool spin(const std::function<bool()>& condition, int ms = 3000)
{
    return eventually(condition, ms, 1);
}

struct Results {
    Figure ready, arrow, commit, floor;
    // What the two longer figures are made of, by the log's millisecond clock.
    Figure resolved, presented, dismissed;
};

// One program, `runs` triggers, each with an arrow and a commit, then the floor.
std::optional<Results> measure(const QString& binary, int runs)
{
    const QString bar = QStringLiteral("bar {\n position bottom\n height 25\n}");
    SwaySession session({.config = bar});
    if (!session.ok()) {
        std::fprintf(stderr, "sway_bench: %s\n", qPrintable(session.error()));
        return std::nullopt;
    }
    const auto target = session.startFoot(QStringLiteral("bench-target"));
    MosaroProcess mosaro(session, binary);
    if (!target || !mosaro.start()) {
        std::fprintf(stderr, "sway_bench: no target or no Mosaro:\n%s\n", qPrintable(mosaro.log().right(2000)));
        return std::nullopt;
    }

    Sway::Ipc ipc(session.swaySocket());
    std::optional<double> bindingAt, panelFocusAt;
    ipc.subscribe({Sway::EventType::binding, Sway::EventType::window});
    ipc.addEventHandler([&](std::uint32_t type, const QByteArray& payload) {
        if (type == Sway::EventType::binding)
            bindingAt = wallClock();
        const auto container = Sway::eventContainer(payload);
        if (type == Sway::EventType::window && container && container->name == QLatin1String("Mosaro overlay") &&
            Sway::eventChange(payload) == QLatin1String("focus"))
            panelFocusAt = wallClock();
    });
    const auto frameIs = [&](const Rect& frame) {
        const auto tree = ipc.request(Sway::MessageType::getTree);
        const auto window = tree ? Sway::windowById(*tree, target->id) : std::nullopt;
        return window && window->frame() == frame;
    };

    // The worked example's bottom-left and bottom-right cells, in turn, so that every commit moves.
    const Rect cells[] = {{0, 437, 480, 438}, {960, 437, 480, 438}};
    Results r;
    for (int i = 0; i < runs; ++i) {
        bindingAt.reset();
        panelFocusAt.reset();
        qsizetype mark = mosaro.log().size();
        session.type(QStringLiteral("logo+Return"));
        if (spin([&] { return bindingAt && panelFocusAt; })) {
            r.ready.values.push_back(*panelFocusAt - *bindingAt);
            const QString log = mosaro.log();
            const auto shown = loggedAt(log, QStringLiteral("overlay show:"), mark);
            const auto done = loggedAt(log, QStringLiteral("panel presented:"), mark);
            if (shown && done) {
                r.resolved.values.push_back(*shown - std::floor(*bindingAt));
                r.presented.values.push_back(*done - *shown);
            }
        }
        const Rect& cell = cells[i % 2];
        mark = mosaro.log().size();
        session.type(i % 2 ? QStringLiteral("Right") : QStringLiteral("Left"));
        // The frame that follows the arrow's key, not one still on its way from the showing.
        qsizetype keyAt = -1;
        spin([&] {
            const QString log = mosaro.log();
            keyAt = log.indexOf(QStringLiteral("keyDown keyCode=12"), mark);
            return keyAt >= 0 && log.indexOf(QStringLiteral("panel frame sent"), keyAt) >= 0;
        });
        const QString afterArrow = mosaro.log();
        if (const auto key = loggedAt(afterArrow, QStringLiteral("keyDown keyCode=12"), mark))
            if (const auto sent = loggedAt(afterArrow, QStringLiteral("panel frame sent"), keyAt))
                r.arrow.values.push_back(*sent - *key);
        mark = mosaro.log().size();
        session.type(QStringLiteral("Return"));
        if (spin([&] { return frameIs(cell); })) {
            const double landed = wallClock();
            const QString log = mosaro.log();
            const auto key = loggedAt(log, QStringLiteral("keyDown keyCode=36"), mark);
            const auto moving = loggedAt(log, QStringLiteral("commit move:"), mark);
            if (key)
                r.commit.values.push_back(landed - *key);
            if (key && moving)
                r.dismissed.values.push_back(*moving - *key);
        }
        // The floor: the same window, the other cell and back, by a bare request of ours.
        const Rect& other = cells[(i + 1) % 2];
        QElapsedTimer bare;
        bare.start();
        ipc.run(
            QStringLiteral("[con_id=%1] floating enable, resize set width %2 px height %3 px, move absolute position "
                           "%4 px %5 px")
                .arg(target->id)
                .arg(other.width)
                .arg(other.height)
                .arg(other.x)
                .arg(other.y));
        if (spin([&] { return frameIs(other); }))
            r.floor.values.push_back(double(bare.nsecsElapsed()) / 1e6);
        ipc.run(QStringLiteral("[con_id=%1] move absolute position %2 px %3 px, focus")
                    .arg(target->id)
                    .arg(cell.x)
                    .arg(cell.y));
        ipc.run(QStringLiteral("[con_id=%1] resize set width %2 px height %3 px, move absolute position %4 px %5 px")
                    .arg(target->id)
                    .arg(cell.width)
                    .arg(cell.height)
                    .arg(cell.x)
                    .arg(cell.y));
        spin([&] { return frameIs(cell); }, 500);
        spin([] { return false; }, 150); // a person is never quicker; sway settles the client's size
    }

    return r;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const bool smoke = args.contains(QStringLiteral("--smoke"));
    const int runs = smoke ? 3 : 30;
    // --mosaro PATH (again and again): other builds measured in the same run, after this one's.
    QStringList binaries{QString()};
    for (qsizetype i = 1; i + 1 < args.size(); ++i)
        if (args[i] == QLatin1String("--mosaro"))
            binaries << args[i + 1];
    bool ok = true;
    for (const QString& binary : binaries) {
        const auto r = measure(binary, runs);
        ok = ok && r && !r->ready.values.empty() && !r->commit.values.empty() && !r->floor.values.empty();
        if (!r)
            continue;
        std::printf("sway 1.7, 1440 x 900, %s, median / p95 / max in ms over %d runs\n",
                    binary.isEmpty() ? "this build" : qPrintable(binary), runs);
        std::printf("trigger → panel holds the keyboard      %s\n", qPrintable(r->ready.text()));
        std::printf("  binding → window read and grid chosen %s\n", qPrintable(r->resolved.text()));
        std::printf("  → panel shown and drawn               %s\n", qPrintable(r->presented.text()));
        std::printf("  → sway shows and focuses it: the rest\n");
        std::printf("arrow → frame sent                      %s\n", qPrintable(r->arrow.text()));
        std::printf("Return → window at its frame            %s\n", qPrintable(r->commit.text()));
        std::printf("  Return → panel closed, keyboard back  %s\n", qPrintable(r->dismissed.text()));
        std::printf("floor: our bare move-and-resize         %s\n", qPrintable(r->floor.text()));
        std::printf("goals: trigger → ready p95 ≤ 16.7 ms: %s; commit median ≤ 1.5 × floor median: %s\n\n",
                    r->ready.at(0.95) <= 16.7 ? "met" : "MISSED",
                    r->commit.at(0.5) <= 1.5 * r->floor.at(0.5) ? "met" : "MISSED");
    }
    return ok ? 0 : 1;
}
