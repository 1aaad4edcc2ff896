#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>

#include <functional>

namespace mosaro::test {

// Turns the application's event loop until the condition holds; false when `ms` pass first. The
// bound only keeps a broken test from hanging.
inline bool waitFor(const std::function<bool()>& condition, int ms = 15000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > ms)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

} // namespace mosaro::test
