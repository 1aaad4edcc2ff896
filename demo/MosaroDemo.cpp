// The demonstration of `make run` without a display: a private X server with openbox, two
// monitors and two windows; the real application runs there and a scripted session drives it.

#include "Grid/ScreenGeometry.h"
#include "Platform/X11/X11Accessibility.h"
#include "Platform/X11/X11ScreenList.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"
#include "support/x11/XTestKeyboard.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QTextStream>
#include <QThread>

#include <cstring>

using namespace mosaro;
using namespace mosaro::test;

namespace {

constexpr std::uint16_t kReturn = 36, kLeft = 123, kRight = 124, kUp = 126;
constexpr std::uint64_t kShift = 0x20000, kOption = 0x80000, kCommand = 0x100000;

QString describeFrame(X11Accessibility& ax, xcb_window_t window)
{
    const AXElementRef element = ax.windowElement(window);
    std::optional<AXValue> position, size;
    if (ax.copyAttributeValue(element, AXAttribute::position, position) != AXErrorCode::success ||
        ax.copyAttributeValue(element, AXAttribute::size, size) != AXErrorCode::success || !position || !size)
        return QStringLiteral("(unreadable)");
    const auto* p = std::get_if<AXGeometry>(&*position);
    const auto* s = std::get_if<AXGeometry>(&*size);
    if (!p || !s)
        return QStringLiteral("(unreadable)");
    return QStringLiteral("x=%1 y=%2 %3×%4").arg(p->a).arg(p->b).arg(s->a).arg(s->b);
}

int runDemo(const QString& appPath, const QString& outDir)
{
    QDir().mkpath(outDir);
    QFile logFile(QDir(outDir).filePath(QStringLiteral("demo-log.txt")));
    if (!logFile.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        std::fprintf(stderr, "mosaro demo: cannot write %s\n", qPrintable(logFile.fileName()));
        return 1;
    }
    QTextStream out(&logFile);
    auto say = [&](const QString& line) {
        out << line << '\n';
        out.flush();
        std::fprintf(stdout, "%s\n", qPrintable(line));
        std::fflush(stdout);
    };
    int shots = 0;

    say(QStringLiteral("Mosaro demo: a private X server with openbox, two monitors and two windows."));
    X11Session session({2560, 1024, QStringLiteral("openbox")});
    if (!session.ok()) {
        say(QStringLiteral("could not start the private X session: %1").arg(session.error()));
        return 1;
    }
    if (!session.xrandrSetMonitors(
            {{QStringLiteral("LEFT"), 0, 0, 1280, 1024, true}, {QStringLiteral("RIGHT"), 1280, 0, 1280, 1024, false}}))
        say(QStringLiteral("(could not split the screen into two monitors; jumping will beep)"));

    X11Connection& x = session.connection();
    auto shoot = [&](X11Connection&, const QString& name) {
        const QString file = QStringLiteral("%1-%2.png").arg(++shots, 2, 10, QLatin1Char('0')).arg(name);
        const QImage image = session.screenshot();
        if (!image.isNull() && image.save(QDir(outDir).filePath(file)))
            say(QStringLiteral("  screenshot %1").arg(file));
    };
    X11Accessibility ax(x);
    const auto notes = session.startClient({"--title", "Notes", "--geometry", "500x360+120+140"});
    const auto terminal = session.startClient({"--title", "Terminal", "--geometry", "640x420+360+420"});
    if (!notes || !terminal) {
        say(QStringLiteral("could not start the demo's windows or XTEST"));
        return 1;
    }

    MosaroAppDriver app(session, appPath);
    if (!app.start()) {
        say(QStringLiteral("Mosaro did not start on the private display:\n%1").arg(app.lastError()));
        return 1;
    }
    say(QStringLiteral("Mosaro is running; the trigger is Super+Return."));

    bool ok = true;
    auto step = [&](const QString& what, std::uint16_t key, std::uint64_t flags, const QString& expect) {
        say(QStringLiteral("- %1").arg(what));
        const int mark = app.logMark();
        app.key(key, flags);
        if (!expect.isEmpty() && !app.waitForLog(mark, expect)) {
            say(QStringLiteral("  expected the log to show \"%1\", it did not").arg(expect));
            ok = false;
        }
        QThread::msleep(150); // let the highlight's short animation finish before a screenshot
    };

    session.activateWindow(notes->window);
    say(QStringLiteral("Notes starts at %1").arg(describeFrame(ax, notes->window)));
    shoot(x, QStringLiteral("start"));
    step(QStringLiteral("Super+Return: the grid appears over the left monitor"), kReturn, kCommand,
         QStringLiteral("panel presented"));
    shoot(x, QStringLiteral("overlay"));
    step(QStringLiteral("Left: the highlight moves one cell left"), kLeft, 0, QStringLiteral("keyDown"));
    step(QStringLiteral("Shift+Up: the selection grows upwards"), kUp, kShift, QStringLiteral("keyDown"));
    step(QStringLiteral("Alt+Right: the grid gets a fourth column"), kRight, kOption, QStringLiteral("keyDown"));
    shoot(x, QStringLiteral("extended"));
    step(QStringLiteral("Return: Notes moves into the region"), kReturn, 0, QStringLiteral("commit move"));
    shoot(x, QStringLiteral("committed"));
    say(QStringLiteral("Notes is now at %1").arg(describeFrame(ax, notes->window)));

    session.activateWindow(terminal->window);
    say(QStringLiteral("Terminal starts at %1").arg(describeFrame(ax, terminal->window)));
    step(QStringLiteral("Super+Return on Terminal"), kReturn, kCommand, QStringLiteral("panel presented"));
    step(QStringLiteral("Super+Shift+Right: the grid jumps to the right monitor"), kRight, kCommand | kShift,
         QStringLiteral("cross-display jump"));
    shoot(x, QStringLiteral("jumped"));
    step(QStringLiteral("Shift+Right: the selection grows to the right"), kRight, kShift, QStringLiteral("keyDown"));
    step(QStringLiteral("Return: Terminal moves onto the right monitor"), kReturn, 0, QStringLiteral("commit move"));
    shoot(x, QStringLiteral("committed-on-right-monitor"));
    say(QStringLiteral("Terminal is now at %1").arg(describeFrame(ax, terminal->window)));

    QFile prefsFile(app.preferencesPath());
    if (prefsFile.open(QIODevice::ReadOnly))
        say(QStringLiteral("preferences.json after the resize:\n%1").arg(QString::fromUtf8(prefsFile.readAll())));

    app.stop();
    say(QStringLiteral("\nMosaro's own log:\n%1").arg(app.logText()));
    say(ok ? QStringLiteral("Demo finished; screenshots and this log are in %1").arg(outDir)
           : QStringLiteral("Demo finished with unexpected results; see %1").arg(outDir));
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qunsetenv("DISPLAY");
    return runDemo(QStringLiteral(MOSARO_APP_PATH), QStringLiteral(MOSARO_DEMO_OUTPUT));
}
