#include "Platform/X11/XkbKeyboardLayout.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"

#include "Platform/X11/XcbXkb.h"
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

namespace mosaro {

namespace {
constexpr const char* noXkbMessage = "keyboard layout unavailable: no XKB extension on '%{public}s'";
constexpr const char* noKeymapMessage = "keyboard layout unavailable: cannot read the keymap of '%{public}s'";

// Dead keys print as their spacing accent on a key cap.
char32_t deadKeyCharacter(xkb_keysym_t sym)
{
    switch (sym) {
    case XKB_KEY_dead_grave:
        return U'`';
    case XKB_KEY_dead_acute:
        return U'\u00B4';
    case XKB_KEY_dead_circumflex:
        return U'^';
    case XKB_KEY_dead_tilde:
        return U'~';
    case XKB_KEY_dead_diaeresis:
        return U'\u00A8';
    case XKB_KEY_dead_cedilla:
        return U'\u00B8';
    default:
        return 0;
    }
}

bool isPrintable(char32_t c)
{
    return c >= 0x20 && c != 0x7f && !(c >= 0x80 && c < 0xa0) && c <= 0x10FFFF && !(c >= 0xD800 && c < 0xE000);
}
} // namespace

XkbKeyboardLayout::XkbKeyboardLayout(X11Connection& connection) : m_connection(connection)
{
    if (!m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    std::uint8_t firstEvent = 0;
    if (!xkb_x11_setup_xkb_extension(c, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent, nullptr)) {
        Log::lifecycle().error(noXkbMessage, m_connection.displayName());
        return;
    }
    m_xkbFirstEvent = firstEvent;
    m_deviceID = xkb_x11_get_core_keyboard_device_id(c);
    m_context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (m_deviceID < 0 || !m_context) {
        Log::lifecycle().error(noKeymapMessage, m_connection.displayName());
        return;
    }
    const std::uint16_t events =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_STATE_NOTIFY;
    xcb_xkb_select_events(c, XCB_XKB_ID_USE_CORE_KBD, events, 0, events, 0xff, 0xff, nullptr);
    m_connection.flush();
    reload();
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* event) { return handleEvent(event); });
}

XkbKeyboardLayout::~XkbKeyboardLayout()
{
    if (m_listener)
        m_connection.removeEventListener(m_listener);
    release();
    if (m_context)
        xkb_context_unref(m_context);
}

void XkbKeyboardLayout::release()
{
    if (m_state)
        xkb_state_unref(m_state);
    if (m_keymap)
        xkb_keymap_unref(m_keymap);
    m_state = nullptr;
    m_keymap = nullptr;
}

void XkbKeyboardLayout::reload()
{
    release();
    if (!m_context || m_deviceID < 0 || !m_connection.isConnected())
        return;
    xcb_connection_t* c = m_connection.connection();
    m_keymap = xkb_x11_keymap_new_from_device(m_context, c, m_deviceID, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (m_keymap)
        m_state = xkb_x11_state_new_from_device(m_keymap, c, m_deviceID);
    if (!m_state) {
        release();
        Log::lifecycle().error(noKeymapMessage, m_connection.displayName());
    }
}

bool XkbKeyboardLayout::handleEvent(xcb_generic_event_t* event)
{
    if (!m_xkbFirstEvent || (event->response_type & 0x7f) != m_xkbFirstEvent)
        return false;
    switch (event->pad0) { // the XKB event's own type
    case XCB_XKB_NEW_KEYBOARD_NOTIFY:
    case XCB_XKB_MAP_NOTIFY:
        reload();
        break;
    case XCB_XKB_STATE_NOTIFY: {
        const auto* s = reinterpret_cast<const xcb_xkb_state_notify_event_t*>(event);
        if (m_state && s->deviceID == m_deviceID)
            xkb_state_update_mask(m_state, s->baseMods, s->latchedMods, s->lockedMods, xkb_layout_index_t(s->baseGroup),
                                  xkb_layout_index_t(s->latchedGroup), s->lockedGroup);
        break;
    }
    default:
        break;
    }
    return false; // others may follow the keyboard too
}

std::optional<QString> XkbKeyboardLayout::translateForDisplay(std::uint16_t keyCode) const
{
    if (!m_keymap || !m_state)
        return std::nullopt;
    const auto evdev = evdevForMacKeyCode(keyCode);
    if (!evdev)
        return std::nullopt;
    const xkb_keycode_t code = *evdev + x11KeycodeOffset;
    if (code < xkb_keymap_min_keycode(m_keymap) || code > xkb_keymap_max_keycode(m_keymap))
        return std::nullopt;
    const xkb_layout_index_t layout = xkb_state_key_get_layout(m_state, code);
    if (layout == XKB_LAYOUT_INVALID)
        return std::nullopt;
    const xkb_keysym_t* syms = nullptr;
    if (xkb_keymap_key_get_syms_by_level(m_keymap, code, layout, 0, &syms) != 1)
        return std::nullopt;
    char32_t character = deadKeyCharacter(syms[0]);
    if (!character)
        character = xkb_keysym_to_utf32(syms[0]);
    if (!isPrintable(character))
        return std::nullopt;
    return QString::fromUcs4(&character, 1);
}

} // namespace mosaro
