#include "Platform/QtScheduler.h"

#include <QTimer>
#include <chrono>
#include <climits>
#include <cmath>

namespace mosaro {

namespace {
std::chrono::milliseconds intervalFor(double seconds)
{
    // Negative or NaN intervals fire as soon as possible; huge ones saturate.
    if (!(seconds > 0))
        return std::chrono::milliseconds(0);
    const double ms = std::round(seconds * 1000.0);
    return std::chrono::milliseconds(ms >= double(INT_MAX) ? INT_MAX : static_cast<int>(ms));
}
} // namespace

QtScheduler::~QtScheduler()
{
    for (auto& [token, timer] : m_timers)
        delete timer;
}

Scheduler::Token QtScheduler::scheduleRepeating(double seconds, std::function<void()> tick)
{
    return start(seconds, true, std::move(tick));
}

Scheduler::Token QtScheduler::scheduleOnce(double seconds, std::function<void()> fire)
{
    return start(seconds, false, std::move(fire));
}

void QtScheduler::cancel(Token token)
{
    const auto it = m_timers.find(token);
    if (it == m_timers.end())
        return;
    QTimer* timer = it->second;
    m_timers.erase(it);
    timer->stop();
    // The timer may be the one whose callback is running right now.
    timer->deleteLater();
}

Scheduler::Token QtScheduler::start(double seconds, bool repeating, std::function<void()> callback)
{
    const Token token = m_nextToken++;
    auto* timer = new QTimer;
    timer->setSingleShot(!repeating);
    timer->setInterval(intervalFor(seconds));
    QObject::connect(timer, &QTimer::timeout, timer, [this, token, repeating, callback = std::move(callback)] {
        if (!repeating) {
            // Copy first: cancelling schedules the timer, and with it this closure, for deletion.
            auto fire = callback;
            cancel(token);
            if (fire)
                fire();
            return;
        }
        if (callback)
            callback();
    });
    m_timers.emplace(token, timer);
    timer->start();
    return token;
}

} // namespace mosaro
