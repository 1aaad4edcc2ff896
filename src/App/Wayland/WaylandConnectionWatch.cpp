#include "App/Wayland/WaylandConnectionWatch.h"

#include <QCoreApplication>
#include <QSemaphore>
#include <QString>
#include <QThread>
#include <QtGlobal>

#include <cstdio>
#include <memory>
#include <mutex>

namespace mosaro {

namespace {

std::function<void()> g_broke;
// Qt's event thread and the main thread may both see the break and both end the process right
// after saying so: the second waits here until the first has run the termination path.
std::mutex g_running;
QtMessageHandler g_previousHandler = nullptr;

void runBroke()
{
    const std::lock_guard lock(g_running);
    if (g_broke)
        std::exchange(g_broke, nullptr)();
}

void watchQtMessages(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (g_previousHandler)
        g_previousHandler(type, context, message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(message));
    if (!message.startsWith(QLatin1String("The Wayland connection")))
        return;
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread())
        return runBroke();
    // Qt's reader thread says it, and ends the process as soon as this returns: the main thread
    // runs the termination path meanwhile, for a second at most (it may itself be waiting for
    // the reader).
    auto done = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(app, [done] {
        runBroke();
        done->release();
    });
    done->tryAcquire(1, 1000);
}

} // namespace

WaylandConnectionWatch::WaylandConnectionWatch(std::function<void()> broke)
{
    g_broke = std::move(broke);
    g_previousHandler = qInstallMessageHandler(&watchQtMessages);
}

WaylandConnectionWatch::~WaylandConnectionWatch()
{
    qInstallMessageHandler(g_previousHandler);
    g_broke = nullptr;
}

} // namespace mosaro
