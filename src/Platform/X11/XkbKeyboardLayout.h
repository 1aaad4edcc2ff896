#pragma once

#include "Platform/KeyboardLayout.h"
#include "Platform/X11/X11Connection.h"

#include <xcb/xcb.h>

struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace mosaro {

// Names keys with the core keyboard's XKB keymap in its current group, following layout and
// group changes as the server announces them.
class XkbKeyboardLayout final : public KeyboardLayout {
public:
    explicit XkbKeyboardLayout(X11Connection& connection);
    ~XkbKeyboardLayout() override;
    XkbKeyboardLayout(const XkbKeyboardLayout&) = delete;
    XkbKeyboardLayout& operator=(const XkbKeyboardLayout&) = delete;

    std::optional<QString> translateForDisplay(std::uint16_t keyCode) const override;

    bool hasKeymap() const { return m_keymap != nullptr; }
    // Re-reads the keymap and state from the server.
    void reload();

private:
    bool handleEvent(xcb_generic_event_t* event);
    void release();

    X11Connection& m_connection;
    X11Connection::ListenerId m_listener = 0;
    std::uint8_t m_xkbFirstEvent = 0;
    std::int32_t m_deviceID = -1;
    xkb_context* m_context = nullptr;
    xkb_keymap* m_keymap = nullptr;
    xkb_state* m_state = nullptr;
};

} // namespace mosaro
