#include "Platform/HotKeyHandlers.h"

#include <vector>

namespace mosaro {

OSStatus HotKeyHandlers::install(HotKeyService::Handler handler, const std::vector<EventTypeSpec>& types,
                                 EventHandlerRef& out)
{
    out = 0;
    if (!handler)
        return HotKeyStatus::paramErr;
    out = m_next++;
    m_handlers[out].handler = std::move(handler);
    return change(out, types, true);
}

OSStatus HotKeyHandlers::change(EventHandlerRef handler, const std::vector<EventTypeSpec>& types, bool add)
{
    auto it = m_handlers.find(handler);
    if (it == m_handlers.end())
        return HotKeyStatus::paramErr;
    for (const auto& type : types) {
        if (type.eventClass != kEventClassKeyboard)
            continue;
        if (add)
            it->second.kinds.insert(type.eventKind);
        else
            it->second.kinds.erase(type.eventKind);
    }
    return HotKeyStatus::noErr;
}

OSStatus HotKeyHandlers::dispatch(std::uint32_t kind, const HotKeyEvent& event) const
{
    // Handlers may register, unregister or install while they run.
    std::vector<HotKeyService::Handler> targets;
    for (const auto& [ref, installed] : m_handlers) {
        if (installed.kinds.count(kind))
            targets.push_back(installed.handler);
    }
    OSStatus result = HotKeyStatus::eventNotHandled;
    for (const auto& handler : targets) {
        result = handler(&event);
        if (result != HotKeyStatus::eventNotHandled)
            break;
    }
    return result;
}

} // namespace mosaro
