#pragma once

#include "Platform/AccessibilityTrust.h"
#include "Platform/System.h"

#include <map>
#include <vector>

namespace mosaro::test {

struct FakeAccessibilityTrust : AccessibilityTrust {
    bool trusted = false;
    std::vector<bool> promptArguments; // one entry per call
    bool isProcessTrustedWithOptions(bool prompt) override
    {
        promptArguments.push_back(prompt);
        return trusted;
    }
};

struct FakeUrlOpener : UrlOpener {
    std::vector<QString> opened;
    bool openUrl(const QString& url) override
    {
        opened.push_back(url);
        return true;
    }
};

// Repeating timers that fire only when the test says so.
struct FakeScheduler : Scheduler {
    struct Timer {
        double seconds = 0;
        bool repeating = false;
        std::function<void()> callback;
    };
    std::map<Token, Timer> timers; // active ones
    Token next = 1;

    Token scheduleRepeating(double seconds, std::function<void()> tick) override
    {
        timers[next] = {seconds, true, std::move(tick)};
        return next++;
    }
    Token scheduleOnce(double seconds, std::function<void()> fire) override
    {
        timers[next] = {seconds, false, std::move(fire)};
        return next++;
    }
    void cancel(Token token) override { timers.erase(token); }
    void fireAll()
    {
        for (const auto& [token, timer] : std::map<Token, Timer>(timers))
            timer.callback();
    }
};

} // namespace mosaro::test
