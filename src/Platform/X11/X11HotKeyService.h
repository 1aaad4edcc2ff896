#pragma once

#include "Platform/HotKeyHandlers.h"
#include "Platform/HotKeyService.h"
#include "Platform/X11/X11Connection.h"

#include <QObject>

#include <xcb/xcb.h>

#include <map>
#include <vector>

namespace mosaro {

// System-wide hotkeys as passive key grabs on the root window. A registered combination is
// grabbed once for each state of Caps Lock and Num Lock, so those locks never disable it.
class X11HotKeyService final : public HotKeyService {
public:
    explicit X11HotKeyService(X11Connection& connection);
    ~X11HotKeyService() override;
    X11HotKeyService(const X11HotKeyService&) = delete;
    X11HotKeyService& operator=(const X11HotKeyService&) = delete;

    OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                 EventHotKeyRef& out) override;
    OSStatus unregisterEventHotKey(EventHotKeyRef ref) override;
    OSStatus installEventHandler(Handler handler, const std::vector<EventTypeSpec>& types,
                                 EventHandlerRef& out) override;
    OSStatus addEventTypesToHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) override;
    OSStatus removeEventTypesFromHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) override;

    // Our keyboard grab ended: releases of held combinations go elsewhere now, so the next press
    // of one is a new press, not a repeat.
    void forgetHeldKeys();

    // Whether a combination (as registered: key code and modifier mask) is grabbed right now.
    bool holds(std::uint32_t keyCode, std::uint32_t modifiers) const;

    // The modifier bit Num Lock sits on (0 when no key carries it).
    std::uint16_t numLockMask() const { return m_numLockMask; }

private:
    struct Registration {
        EventHotKeyID id;
        xcb_keycode_t keycode = 0;
        std::uint16_t modifiers = 0;
        std::vector<std::uint16_t> grabbed; // the modifier states actually grabbed
        bool down = false;
    };

    OSStatus grab(Registration& registration);
    void ungrab(Registration& registration);
    std::vector<std::uint16_t> lockVariants(std::uint16_t modifiers) const;
    void refreshModifierMapping();
    void regrabAll();
    bool handleEvent(xcb_generic_event_t* event);
    bool handlePress(xcb_keycode_t keycode, std::uint16_t state);
    void thawKeyboard();
    bool isAutoRepeatRelease(xcb_keycode_t keycode);
    bool connected();

    X11Connection& m_connection;
    X11Connection::ListenerId m_listener = 0;
    std::uint8_t m_xkbFirstEvent = 0; // 0: no keyboard extension
    bool m_detectableAutoRepeat = false;
    std::uint16_t m_numLockMask = 0;
    std::map<EventHotKeyRef, Registration> m_registrations;
    HotKeyHandlers m_handlers;
    EventHotKeyRef m_nextRef = 1;
    bool m_deadReported = false;
    QObject m_thawContext; // the safety-net thaw never outlives the service
};

} // namespace mosaro
