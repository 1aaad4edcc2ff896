#include "App/Wayland/WaylandConnectionWatch.h"

#include <QString>
#include <QtGlobal>

#include <cstdio>
#include <mutex>

namespace mosaro {

namespace {

std::function<void()> g_broke;
// Qt's event thread and the main thread may both see the break and both end the process right
// after saying so: the second waits here until the first has run the termination path.
std::mutex g_running;
QtMessageHandler g_previousHandler = nullptr;

void watchQtMessages(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (g_previousHandler)
        g_previousHandler(type, context, message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(message));
    if (!message.startsWith(QLatin1String("The Wayland connection")))
        return;
    const std::lock_guard lock(g_running);
    if (g_broke)
        std::exchange(g_broke, nullptr)();
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
