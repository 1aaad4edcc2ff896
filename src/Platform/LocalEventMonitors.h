#pragma once

#include "Platform/KeyEvent.h"

#include <map>

namespace mosaro {

// The application's local event monitors: the platform layer hands each key event of the
// application here before any window sees it.
class LocalEventMonitors final : public EventMonitor {
public:
    Token addLocalMonitor(std::uint64_t mask, Handler handler) override;
    void removeMonitor(Token token) override;
    // Runs the event through the monitors for its type in installation order; gives it back
    // unless one swallowed it.
    std::optional<KeyEvent> dispatch(const KeyEvent& event);
    std::size_t count() const { return m_monitors.size(); }

private:
    struct Monitor {
        std::uint64_t mask;
        Handler handler;
    };
    std::map<Token, Monitor> m_monitors;
    Token m_next = 1;
};

} // namespace mosaro
