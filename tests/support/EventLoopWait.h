#pragma once

#include <QApplication>
#include <QElapsedTimer>
#include <QThread>

#include <functional>

namespace mosaro::test {

// Turns the application's event loop until the condition holds; false when `ms` pass first.
inline bool waitFor(const std::function<bool()>& condition, int ms = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > ms)
            return false;
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    return true;
}

} // namespace mosaro::test
