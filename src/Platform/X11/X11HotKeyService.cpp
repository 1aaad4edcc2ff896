#include "Platform/X11/X11HotKeyService.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"

#include "Platform/X11/XcbXkb.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

namespace mosaro {

namespace {

constexpr const char* connectionClosedMessage = "global hotkeys unavailable: X connection to '%{public}s' is closed";
constexpr const char* regrabFailedMessage = "hotkey on keycode %u lost after a keyboard mapping change (status %d)";

constexpr std::uint8_t badAccess = 10;
constexpr xcb_keysym_t numLockKeysym = 0xff7f;

OSStatus statusForGrabError(const X11Error& error)
{
    if (error.kind == X11Error::Kind::connectionLost)
        return HotKeyStatus::paramErr;
    if (error.code == badAccess)
        return HotKeyStatus::hotKeyExists; // another client holds the combination
    return HotKeyStatus::hotKeyInvalid;
}

} // namespace

X11HotKeyService::X11HotKeyService(X11Connection& connection) : m_connection(connection)
{
    if (!connected())
        return;
    xcb_connection_t* c = m_connection.connection();

    // With detectable auto-repeat a held key repeats as presses only, so a held trigger is one
    // press and one release.
    auto use = m_connection.ask<xcb_xkb_use_extension_reply>(
        xcb_xkb_use_extension, std::uint16_t(XCB_XKB_MAJOR_VERSION), std::uint16_t(XCB_XKB_MINOR_VERSION));
    const xcb_query_extension_reply_t* xkb = xcb_get_extension_data(c, &xcb_xkb_id);
    if (use && use->supported && xkb && xkb->present) {
        m_xkbFirstEvent = xkb->first_event;
        const std::uint32_t flag = XCB_XKB_PER_CLIENT_FLAG_DETECTABLE_AUTO_REPEAT;
        const std::uint32_t none = 0;
        auto flags = m_connection.ask<xcb_xkb_per_client_flags_reply>(
            xcb_xkb_per_client_flags, xcb_xkb_device_spec_t(XCB_XKB_ID_USE_CORE_KBD), flag, flag, none, none, none);
        m_detectableAutoRepeat = flags && (flags->value & flag);
        const std::uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
        xcb_xkb_select_events(c, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, 0xff, 0xff, nullptr);
    }
    refreshModifierMapping();
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* event) { return handleEvent(event); });
    m_connection.flush();
}

X11HotKeyService::~X11HotKeyService()
{
    if (m_listener)
        m_connection.removeEventListener(m_listener);
    if (m_connection.isConnected()) {
        for (auto& [ref, registration] : m_registrations)
            ungrab(registration);
        m_connection.flush();
    }
}

bool X11HotKeyService::connected()
{
    if (m_connection.isConnected())
        return true;
    if (!m_deadReported) {
        m_deadReported = true;
        Log::lifecycle().error(connectionClosedMessage, m_connection.displayName());
    }
    return false;
}

OSStatus X11HotKeyService::registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                               EventHotKeyRef& out)
{
    out = 0;
    if (!connected())
        return HotKeyStatus::paramErr;
    if (keyCode > 0xFFFF)
        return HotKeyStatus::hotKeyInvalid;
    const auto evdev = evdevForMacKeyCode(std::uint16_t(keyCode));
    const xcb_setup_t* setup = xcb_get_setup(m_connection.connection());
    if (!evdev || *evdev + x11KeycodeOffset < setup->min_keycode || *evdev + x11KeycodeOffset > setup->max_keycode)
        return HotKeyStatus::hotKeyInvalid;

    Registration registration;
    registration.id = id;
    registration.keycode = xcb_keycode_t(*evdev + x11KeycodeOffset);
    registration.modifiers = x11ModifiersFromCarbon(modifiers);
    for (const auto& [ref, existing] : m_registrations) {
        if (existing.keycode == registration.keycode && existing.modifiers == registration.modifiers)
            return HotKeyStatus::hotKeyExists;
    }
    if (const OSStatus status = grab(registration); status != HotKeyStatus::noErr)
        return status;
    out = m_nextRef++;
    m_registrations.emplace(out, std::move(registration));
    return HotKeyStatus::noErr;
}

bool X11HotKeyService::holds(std::uint32_t keyCode, std::uint32_t modifiers) const
{
    const auto evdev = keyCode > 0xFFFF ? std::nullopt : evdevForMacKeyCode(std::uint16_t(keyCode));
    if (!evdev)
        return false;
    const auto keycode = xcb_keycode_t(*evdev + x11KeycodeOffset);
    const std::uint16_t mask = x11ModifiersFromCarbon(modifiers);
    return std::any_of(m_registrations.begin(), m_registrations.end(), [&](const auto& entry) {
        const Registration& r = entry.second;
        return r.keycode == keycode && r.modifiers == mask && !r.grabbed.empty();
    });
}

OSStatus X11HotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    auto it = m_registrations.find(ref);
    if (it == m_registrations.end())
        return HotKeyStatus::paramErr;
    if (m_connection.isConnected()) {
        ungrab(it->second);
        m_connection.flush();
    }
    m_registrations.erase(it);
    return HotKeyStatus::noErr;
}

OSStatus X11HotKeyService::installEventHandler(Handler handler, const std::vector<EventTypeSpec>& types,
                                               EventHandlerRef& out)
{
    return m_handlers.install(std::move(handler), types, out);
}

OSStatus X11HotKeyService::addEventTypesToHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types)
{
    return m_handlers.change(handler, types, true);
}

OSStatus X11HotKeyService::removeEventTypesFromHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types)
{
    return m_handlers.change(handler, types, false);
}

std::vector<std::uint16_t> X11HotKeyService::lockVariants(std::uint16_t modifiers) const
{
    std::vector<std::uint16_t> variants;
    for (std::uint16_t extra :
         {std::uint16_t(0), X11ModMask::lock, m_numLockMask, std::uint16_t(X11ModMask::lock | m_numLockMask)}) {
        const std::uint16_t v = modifiers | extra;
        if (std::find(variants.begin(), variants.end(), v) == variants.end())
            variants.push_back(v);
    }
    return variants;
}

OSStatus X11HotKeyService::grab(Registration& registration)
{
    const xcb_window_t root = m_connection.root();
    const auto variants = lockVariants(registration.modifiers);
    std::vector<X11PendingCheck> grabs;
    grabs.reserve(variants.size());
    for (std::uint16_t v : variants) {
        // Not owner-events: every grabbed key arrives at the root, where we look for it.
        // The keyboard freezes when the combination goes down, until its handler has run: keys
        // typed right after it wait for the handler (the overlay takes the keyboard there)
        // instead of reaching the focused window first. handleEvent() always thaws it.
        grabs.push_back(m_connection.ask<xcb_request_check>(xcb_grab_key_checked, std::uint8_t(0), root, v,
                                                            registration.keycode, std::uint8_t(XCB_GRAB_MODE_ASYNC),
                                                            std::uint8_t(XCB_GRAB_MODE_SYNC)));
    }
    OSStatus status = HotKeyStatus::noErr;
    registration.grabbed.clear();
    for (std::size_t i = 0; i < grabs.size(); ++i) {
        const X11Status& result = grabs[i].result();
        if (result)
            registration.grabbed.push_back(variants[i]);
        else if (status == HotKeyStatus::noErr)
            status = statusForGrabError(result.error());
    }
    if (status != HotKeyStatus::noErr) {
        if (status == HotKeyStatus::paramErr)
            connected();      // logs the loss
        ungrab(registration); // no half-registered combination stays behind
        m_connection.flush();
    }
    return status;
}

void X11HotKeyService::ungrab(Registration& registration)
{
    for (std::uint16_t v : registration.grabbed)
        xcb_ungrab_key(m_connection.connection(), registration.keycode, m_connection.root(), v);
    registration.grabbed.clear();
    registration.down = false;
}

void X11HotKeyService::refreshModifierMapping()
{
    const xcb_setup_t* setup = xcb_get_setup(m_connection.connection());
    const xcb_keycode_t minCode = setup->min_keycode;
    const xcb_keycode_t maxCode = setup->max_keycode;
    auto modmap = m_connection.ask<xcb_get_modifier_mapping_reply>(xcb_get_modifier_mapping);
    auto keymap = m_connection.ask<xcb_get_keyboard_mapping_reply>(xcb_get_keyboard_mapping, minCode,
                                                                   std::uint8_t(maxCode - minCode + 1));
    std::uint16_t mask = 0;
    if (modmap && keymap) {
        const xcb_keycode_t* modKeys = xcb_get_modifier_mapping_keycodes(modmap.get());
        const int modKeyCount = xcb_get_modifier_mapping_keycodes_length(modmap.get());
        const int perModifier = modmap->keycodes_per_modifier;
        const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(keymap.get());
        const int symCount = xcb_get_keyboard_mapping_keysyms_length(keymap.get());
        const int perKey = keymap->keysyms_per_keycode;
        for (int mod = 0; mod < 8 && !mask; ++mod) {
            for (int j = 0; j < perModifier && mod * perModifier + j < modKeyCount; ++j) {
                const xcb_keycode_t key = modKeys[mod * perModifier + j];
                if (key < minCode || key > maxCode)
                    continue;
                const int base = (key - minCode) * perKey;
                for (int l = 0; l < perKey && base + l < symCount; ++l) {
                    if (syms[base + l] == numLockKeysym)
                        mask = std::uint16_t(1u << mod);
                }
            }
        }
    }
    // A Num Lock sharing a bit with a shortcut modifier cannot be told apart; grab without it.
    const std::uint16_t reserved =
        X11ModMask::shift | X11ModMask::lock | X11ModMask::control | X11ModMask::mod1 | X11ModMask::mod4;
    m_numLockMask = (mask & reserved) ? 0 : mask;
}

void X11HotKeyService::regrabAll()
{
    for (auto& [ref, registration] : m_registrations) {
        const bool down = registration.down; // a held combination still gets its release
        ungrab(registration);
        if (const OSStatus status = grab(registration); status != HotKeyStatus::noErr)
            Log::lifecycle().error(regrabFailedMessage, unsigned(registration.keycode), status);
        registration.down = down && !registration.grabbed.empty();
    }
    m_connection.flush();
}

bool X11HotKeyService::isAutoRepeatRelease(xcb_keycode_t keycode)
{
    // Without detectable auto-repeat the server sends a release and a press for every repeat;
    // the key is still down when the release is read.
    auto keys = m_connection.ask<xcb_query_keymap_reply>(xcb_query_keymap);
    return keys && (keys->keys[keycode / 8] & (1u << (keycode % 8)));
}

bool X11HotKeyService::handleEvent(xcb_generic_event_t* event)
{
    const std::uint8_t type = event->response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) {
        const auto* mapping = reinterpret_cast<const xcb_mapping_notify_event_t*>(event);
        if (mapping->request == XCB_MAPPING_KEYBOARD || mapping->request == XCB_MAPPING_MODIFIER) {
            refreshModifierMapping();
            regrabAll();
        }
        return false;
    }
    if (m_xkbFirstEvent && type == m_xkbFirstEvent) {
        const std::uint8_t xkbType = event->pad0;
        if (xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || xkbType == XCB_XKB_MAP_NOTIFY) {
            refreshModifierMapping();
            regrabAll();
        }
        return false;
    }
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    // Registered combinations win wherever their keys arrive: on the root through the passive
    // grabs, or on one of our windows while it holds the keyboard (the overlay).
    const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);

    const std::uint16_t relevant = X11ModMask::all & ~(X11ModMask::lock | m_numLockMask);
    const std::uint16_t state = key->state & relevant;
    if (type == XCB_KEY_PRESS) {
        // A press on the root activated one of our grabs and froze the keyboard. Once the
        // handler has run, queued keys go on to whoever holds the keyboard then (the overlay,
        // when it opened). A handler that runs an event loop of its own thaws it from there.
        const bool frozen = key->event == m_connection.root();
        if (frozen && QCoreApplication::instance())
            QTimer::singleShot(0, &m_thawContext, [this] { thawKeyboard(); });
        const bool handled = handlePress(key->detail, state);
        if (frozen)
            thawKeyboard();
        return handled;
    }
    // The modifiers may already be up when the key is released: match the key that went down.
    for (auto& [ref, registration] : m_registrations) {
        if (registration.keycode != key->detail || !registration.down)
            continue;
        if (!m_detectableAutoRepeat && isAutoRepeatRelease(key->detail))
            return true;
        registration.down = false;
        const EventHotKeyID id = registration.id;
        m_handlers.dispatch(HotKeyEventKind::hotKeyReleased, HotKeyIDEvent(HotKeyEventKind::hotKeyReleased, id));
        return true;
    }
    return false;
}

void X11HotKeyService::thawKeyboard()
{
    if (!m_connection.isConnected())
        return;
    xcb_allow_events(m_connection.connection(), XCB_ALLOW_ASYNC_KEYBOARD, XCB_CURRENT_TIME);
    m_connection.flush();
}

bool X11HotKeyService::handlePress(xcb_keycode_t keycode, std::uint16_t state)
{
    for (auto& [ref, registration] : m_registrations) {
        if (registration.keycode != keycode || registration.modifiers != state)
            continue;
        if (registration.down)
            return true; // auto-repeat of a held combination
        registration.down = true;
        const EventHotKeyID id = registration.id;
        m_handlers.dispatch(HotKeyEventKind::hotKeyPressed, HotKeyIDEvent(HotKeyEventKind::hotKeyPressed, id));
        return true;
    }
    return false;
}

void X11HotKeyService::forgetHeldKeys()
{
    for (auto& [ref, registration] : m_registrations)
        registration.down = false;
}

} // namespace mosaro
