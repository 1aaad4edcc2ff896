#include "Platform/LocalEventMonitors.h"

#include <vector>

namespace mosaro {

EventMonitor::Token LocalEventMonitors::addLocalMonitor(std::uint64_t mask, Handler handler)
{
    const Token token = m_next++;
    m_monitors.emplace(token, Monitor{mask, std::move(handler)});
    return token;
}

void LocalEventMonitors::removeMonitor(Token token)
{
    m_monitors.erase(token);
}

std::optional<KeyEvent> LocalEventMonitors::dispatch(const KeyEvent& event)
{
    const std::uint64_t bit = event.type == KeyEvent::Type::keyDown ? EventMask::keyDown
                              : event.type == KeyEvent::Type::keyUp ? EventMask::keyUp
                                                                    : EventMask::flagsChanged;
    std::vector<Token> tokens;
    for (const auto& [token, monitor] : m_monitors)
        if (monitor.mask & bit)
            tokens.push_back(token);

    std::optional<KeyEvent> current = event;
    for (Token token : tokens) {
        auto it = m_monitors.find(token);
        if (it == m_monitors.end())
            continue; // removed by an earlier handler
        Handler handler = it->second.handler;
        current = handler(*current);
        if (!current)
            break;
    }
    return current;
}

} // namespace mosaro
