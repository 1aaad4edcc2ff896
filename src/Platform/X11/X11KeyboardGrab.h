#pragma once

#include "Platform/UI/PanelSurface.h"
#include "Platform/X11/X11Connection.h"

#include <cstdint>
#include <memory>

namespace mosaro {

class X11HotKeyService;
class X11PanelKeyboard;

// The panel's keyboard on X11: an active grab for a one-pixel input-only window, so that the
// keyboard can be taken before anything is drawn and kept while the panel moves to another
// display. The grab does not move the focus: the window manager's active window stays the one
// the keyboard returns to, and the grab ends when it stops being active. The window is made
// once and kept between showings.
class X11KeyboardGrab {
public:
    X11KeyboardGrab(X11Connection& connection, X11HotKeyService* hotKeys);
    ~X11KeyboardGrab();
    X11KeyboardGrab(const X11KeyboardGrab&) = delete;
    X11KeyboardGrab& operator=(const X11KeyboardGrab&) = delete;

    // The hand-over of one showing; the showing that asked last receives the keys.
    std::unique_ptr<PanelKeyboard> makeKeyboard();

private:
    friend class X11PanelKeyboard;

    bool ensureWindow();
    // Asks for the grab without waiting for the answer.
    void request();
    // The answer to the last request (GrabSuccess and others), waiting for it if needed.
    std::uint8_t status();
    // Asks and waits.
    std::uint8_t grab();
    void ungrab();
    // Whether an event was generated before the last grab request reached the server.
    bool isBeforeLastGrab(const xcb_generic_event_t* event) const;

    X11Connection& m_connection;
    X11HotKeyService* m_hotKeys;
    X11Window m_window;
    unsigned int m_sequence = 0;
    X11Pending<xcb_grab_keyboard_reply> m_answer;
    std::uint8_t m_status = XCB_GRAB_STATUS_NOT_VIEWABLE;
    X11PanelKeyboard* m_owner = nullptr;
};

} // namespace mosaro
