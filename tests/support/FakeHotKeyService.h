#pragma once

#include "Platform/HotKeyService.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

namespace mosaro::test {

class FakeHotKeyEvent : public HotKeyEvent {
public:
    std::uint32_t eventClass() const override { return kEventClassKeyboard; }
    std::uint32_t kind() const override { return eventKind; }
    OSStatus hotKeyID(EventHotKeyID& out) const override
    {
        if (!id)
            return HotKeyStatus::eventParameterNotFound;
        out = *id;
        return HotKeyStatus::noErr;
    }

    std::uint32_t eventKind = 0;
    std::optional<EventHotKeyID> id;
};

// Records every call, keeps the live registrations and the handler's event types, and delivers
// events the way the system would: hotkey events only for live registrations and only while
// the handler asks for them.
class FakeHotKeyService : public HotKeyService {
public:
    struct Registration {
        std::uint32_t keyCode = 0;
        std::uint32_t modifiers = 0;
        EventHotKeyID id;
    };

    OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                 EventHotKeyRef& out) override
    {
        registerCalls.push_back({keyCode, modifiers, id});
        if (failWith != HotKeyStatus::noErr)
            return failWith;
        out = nextRef++;
        live[out] = {keyCode, modifiers, id};
        return HotKeyStatus::noErr;
    }
    OSStatus unregisterEventHotKey(EventHotKeyRef ref) override
    {
        return live.erase(ref) ? HotKeyStatus::noErr : HotKeyStatus::paramErr;
    }
    OSStatus installEventHandler(Handler h, const std::vector<EventTypeSpec>& types, EventHandlerRef& out) override
    {
        ++installCount;
        handler = std::move(h);
        eventTypes = types;
        out = 77;
        return HotKeyStatus::noErr;
    }
    OSStatus addEventTypesToHandler(EventHandlerRef, const std::vector<EventTypeSpec>& types) override
    {
        for (const auto& t : types) {
            if (!receives(t.eventKind))
                eventTypes.push_back(t);
        }
        return HotKeyStatus::noErr;
    }
    OSStatus removeEventTypesFromHandler(EventHandlerRef, const std::vector<EventTypeSpec>& types) override
    {
        std::erase_if(eventTypes, [&](const EventTypeSpec& t) { return std::ranges::find(types, t) != types.end(); });
        return HotKeyStatus::noErr;
    }

    bool receives(std::uint32_t kind) const
    {
        return std::ranges::any_of(eventTypes, [&](const EventTypeSpec& t) { return t.eventKind == kind; });
    }

    // The user presses (or releases) a registered combination.
    OSStatus pressHotKey(std::uint32_t keyCode, std::uint32_t modifiers, bool down = true)
    {
        const std::uint32_t kind = down ? HotKeyEventKind::hotKeyPressed : HotKeyEventKind::hotKeyReleased;
        for (const auto& [ref, reg] : live) {
            if (reg.keyCode == keyCode && reg.modifiers == modifiers && handler && receives(kind)) {
                FakeHotKeyEvent event;
                event.eventKind = kind;
                event.id = reg.id;
                return handler(&event);
            }
        }
        return HotKeyStatus::eventNotHandled;
    }
    OSStatus deliver(const FakeHotKeyEvent* event) { return handler ? handler(event) : HotKeyStatus::eventNotHandled; }

    std::vector<Registration> liveRegistrations() const
    {
        std::vector<Registration> out;
        for (const auto& [ref, reg] : live)
            out.push_back(reg);
        return out;
    }

    OSStatus failWith = HotKeyStatus::noErr; // e.g. hotKeyExists (-9878)
    std::vector<Registration> registerCalls;
    std::map<EventHotKeyRef, Registration> live;
    Handler handler;
    std::vector<EventTypeSpec> eventTypes;
    int installCount = 0;
    EventHotKeyRef nextRef = 1;
};

} // namespace mosaro::test
