#pragma once

#include <QDateTime>
#include <QString>
#include <cstdint>
#include <functional>

namespace mosaro {

// The system's alert sound.
class Beeper {
public:
    virtual ~Beeper() = default;
    virtual void beep() = 0;
};

// The running application as the desktop sees it.
class Application {
public:
    virtual ~Application() = default;
    virtual void activateIgnoringOtherApps() = 0;
};

// Opens a URL with the desktop's handler for it.
class UrlOpener {
public:
    virtual ~UrlOpener() = default;
    virtual bool openUrl(const QString& url) = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
};

// Timers on the main thread's event loop.
class Scheduler {
public:
    using Token = std::uint64_t;
    virtual ~Scheduler() = default;
    virtual Token scheduleRepeating(double seconds, std::function<void()> tick) = 0;
    virtual Token scheduleOnce(double seconds, std::function<void()> fire) = 0;
    virtual void cancel(Token token) = 0;
};

} // namespace mosaro
