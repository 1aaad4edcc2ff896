#pragma once

#include "Platform/HotKeyService.h"

#include <map>
#include <set>

namespace mosaro {

// The installed event handlers of a hotkey service and the event kinds each asked for: what every
// implementation of HotKeyService keeps the same way, whatever delivers its keys.
class HotKeyHandlers {
public:
    OSStatus install(HotKeyService::Handler handler, const std::vector<EventTypeSpec>& types, EventHandlerRef& out);
    OSStatus change(EventHandlerRef handler, const std::vector<EventTypeSpec>& types, bool add);
    // Calls the handlers that asked for the kind until one handles the event.
    OSStatus dispatch(std::uint32_t kind, const HotKeyEvent& event) const;

private:
    struct Installed {
        HotKeyService::Handler handler;
        std::set<std::uint32_t> kinds; // keyboard-class kinds only
    };
    std::map<EventHandlerRef, Installed> m_handlers;
    EventHandlerRef m_next = 1;
};

// A pressed or released hotkey as the handlers read it: it carries the id and nothing else.
class HotKeyIDEvent final : public HotKeyEvent {
public:
    HotKeyIDEvent(std::uint32_t kind, EventHotKeyID id) : m_kind(kind), m_id(id) {}
    std::uint32_t eventClass() const override { return kEventClassKeyboard; }
    std::uint32_t kind() const override { return m_kind; }
    OSStatus hotKeyID(EventHotKeyID& out) const override
    {
        out = m_id;
        return HotKeyStatus::noErr;
    }

private:
    std::uint32_t m_kind;
    EventHotKeyID m_id;
};

} // namespace mosaro
