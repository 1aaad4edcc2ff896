#pragma once

#include "Platform/System.h"

#include <map>

class QTimer;

namespace mosaro {

// Timers on the calling thread's Qt event loop.
class QtScheduler : public Scheduler {
public:
    QtScheduler() = default;
    QtScheduler(const QtScheduler&) = delete;
    QtScheduler& operator=(const QtScheduler&) = delete;
    ~QtScheduler() override;

    Token scheduleRepeating(double seconds, std::function<void()> tick) override;
    Token scheduleOnce(double seconds, std::function<void()> fire) override;
    // Unknown or already finished tokens are ignored.
    void cancel(Token token) override;

    // Timers that are scheduled and not yet finished or cancelled.
    std::size_t activeTimerCount() const { return m_timers.size(); }

private:
    Token start(double seconds, bool repeating, std::function<void()> callback);

    std::map<Token, QTimer*> m_timers;
    Token m_nextToken = 1;
};

} // namespace mosaro
