#include "Platform/X11/X11KeyboardGrab.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/X11PanelWindows.h"

#include <QTimer>

namespace mosaro {

namespace {

constexpr const char* grabFailedMessage = "overlay could not take the keyboard; another client holds it";
constexpr const char* grabRetryMessage = "keyboard held by another client (status %d); retrying from the event loop";

// While another client holds the keyboard (a desktop's shortcut daemon that started us), the
// grab is retried from the event loop at this pace, for up to a second.
constexpr int kGrabRetryMs = 5;
constexpr int kGrabAttempts = 200;

// A key of the grab in the portable key model. A key with no place in the key model still
// reaches the overlay, which closes on it.
KeyEvent keyEvent(const xcb_key_press_event_t& key, bool pressed)
{
    const std::uint16_t code =
        macKeyCodeForEvdev(key.detail >= x11KeycodeOffset ? key.detail - x11KeycodeOffset : 0).value_or(0xFFFF);
    const KeyEvent::Type type = isModifierKeyCode(code) ? KeyEvent::Type::flagsChanged
                                : pressed               ? KeyEvent::Type::keyDown
                                                        : KeyEvent::Type::keyUp;
    return KeyEvent{type, code, modifierFlagsFromX11State(key.state), nullptr};
}

} // namespace

// One showing's hand-over: the grab's answer, its retries, and the events that end it.
class X11PanelKeyboard final : public PanelKeyboard {
public:
    explicit X11PanelKeyboard(X11KeyboardGrab& grab) : m_grab(grab), m_connection(grab.m_connection)
    {
        m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) { return handleEvent(e); });
        m_retry.setInterval(kGrabRetryMs);
        QObject::connect(&m_retry, &QTimer::timeout, [this] { retry(); });
    }

    ~X11PanelKeyboard() override
    {
        m_connection.removeEventListener(m_listener);
        release();
    }

    void request() override
    {
        if (m_engaged || !m_connection.isConnected())
            return;
        m_engaged = true;
        m_grab.m_owner = this;
        m_grab.request();
        // The window the keyboard returns to: the grab lasts while it stays active.
        m_active =
            m_connection.askProperty(m_connection.root(), m_connection.atom("_NET_ACTIVE_WINDOW"), 4, XCB_ATOM_WINDOW);
        m_connection.flush();
    }

    void settle() override
    {
        if (!m_engaged || m_answered)
            return;
        m_answered = true;
        const std::uint8_t status = m_grab.status();
        if (status == XCB_GRAB_STATUS_SUCCESS) {
            hold();
        } else {
            Log::overlay().debug(grabRetryMessage, int(status));
            m_retry.start();
        }
        if (m_active.wasSent()) {
            if (const auto active = X11Properties::list32(m_connection.propertyValue(m_active), XCB_ATOM_WINDOW, 1))
                m_activeAtShow = active->front();
            m_active = {};
        }
    }

    void release() override
    {
        if (!m_engaged)
            return;
        m_engaged = false;
        m_held = false;
        m_retry.stop();
        if (owns()) {
            m_grab.ungrab();
            m_grab.m_owner = nullptr;
        }
        if (m_grab.m_hotKeys)
            m_grab.m_hotKeys->forgetHeldKeys();
        m_active = {}; // an answer not read yet is thrown away
    }

private:
    bool owns() const { return m_grab.m_owner == this; }

    void hold()
    {
        m_held = true;
        if (onHeld)
            onHeld();
    }

    void lose()
    {
        if (!m_held)
            return;
        m_held = false;
        if (onLost)
            onLost();
    }

    void retry()
    {
        if (!m_engaged || !owns()) {
            m_retry.stop();
            return;
        }
        if (m_grab.grab() == XCB_GRAB_STATUS_SUCCESS) {
            m_retry.stop();
            hold();
            return;
        }
        if (++m_attempts < kGrabAttempts)
            return;
        m_retry.stop();
        Log::overlay().error(grabFailedMessage);
        if (onLost)
            onLost();
    }

    bool handleEvent(xcb_generic_event_t* event)
    {
        if (!m_engaged || !owns())
            return false;
        const std::uint8_t type = event->response_type & 0x7f;
        switch (type) {
        case XCB_KEY_PRESS:
        case XCB_KEY_RELEASE: {
            const auto* key = reinterpret_cast<const xcb_key_press_event_t*>(event);
            if (!m_held || key->event != m_grab.m_window.id())
                return false;
            if (onKey)
                onKey(keyEvent(*key, type == XCB_KEY_PRESS));
            return true;
        }
        case XCB_FOCUS_OUT: {
            const auto* focus = reinterpret_cast<const xcb_focus_out_event_t*>(event);
            // The previous showing's grab ending (a jump) is not this one losing the keyboard.
            if (focus->event == m_grab.m_window.id() && focus->mode == XCB_NOTIFY_MODE_UNGRAB &&
                !m_grab.isBeforeLastGrab(event))
                lose();
            return false;
        }
        case XCB_PROPERTY_NOTIFY: {
            const auto* prop = reinterpret_cast<const xcb_property_notify_event_t*>(event);
            if (m_held && prop->window == m_connection.root() &&
                prop->atom == m_connection.atom("_NET_ACTIVE_WINDOW")) {
                const auto active = m_connection.windows(m_connection.root(), prop->atom);
                const xcb_window_t now = active ? active->front() : xcb_window_t(XCB_WINDOW_NONE);
                // Some window managers clear the active window when it goes away; that is not the
                // user moving the focus elsewhere, and the commit will answer for the lost window.
                const bool targetVanished = now == XCB_WINDOW_NONE && m_activeAtShow != XCB_WINDOW_NONE &&
                                            !m_connection.windowExists(m_activeAtShow);
                if (now != m_activeAtShow && !targetVanished)
                    lose(); // another window became active: the panel lost the keyboard
            }
            return false;
        }
        default:
            return false;
        }
    }

    X11KeyboardGrab& m_grab;
    X11Connection& m_connection;
    X11Connection::ListenerId m_listener = 0;
    QTimer m_retry;
    int m_attempts = 0;
    bool m_engaged = false;
    bool m_answered = false;
    bool m_held = false;
    X11PendingProperty m_active;
    xcb_window_t m_activeAtShow = XCB_WINDOW_NONE;
};

X11KeyboardGrab::X11KeyboardGrab(X11Connection& connection, X11HotKeyService* hotKeys)
    : m_connection(connection), m_hotKeys(hotKeys)
{}

X11KeyboardGrab::~X11KeyboardGrab() = default;

std::unique_ptr<PanelKeyboard> X11KeyboardGrab::makeKeyboard()
{
    return std::make_unique<X11PanelKeyboard>(*this);
}

bool X11KeyboardGrab::ensureWindow()
{
    if (m_window)
        return true;
    if (!m_connection.isConnected())
        return false;
    xcb_connection_t* c = m_connection.connection();
    m_window = X11Window(m_connection);
    const std::uint32_t values[] = {1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE |
                                           XCB_EVENT_MASK_FOCUS_CHANGE};
    xcb_create_window(c, 0, m_window.id(), m_connection.root(), -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    // No pid: it is not a panel anyone sees.
    nameX11PanelWindow(m_connection, m_window.id(), "Mosaro keyboard", false);
    xcb_map_window(c, m_window.id());
    return true;
}

void X11KeyboardGrab::request()
{
    if (!ensureWindow())
        return;
    // An earlier answer not read yet is thrown away.
    m_answer = m_connection.ask<xcb_grab_keyboard_reply>(
        xcb_grab_keyboard, std::uint8_t(0), m_window.id(), xcb_timestamp_t(XCB_CURRENT_TIME),
        std::uint8_t(XCB_GRAB_MODE_ASYNC), std::uint8_t(XCB_GRAB_MODE_ASYNC));
    m_sequence = m_answer.sequence();
}

std::uint8_t X11KeyboardGrab::status()
{
    if (m_answer.wasSent()) {
        m_status = m_answer ? m_answer->status : std::uint8_t(XCB_GRAB_STATUS_NOT_VIEWABLE);
        m_answer = {};
    }
    return m_status;
}

std::uint8_t X11KeyboardGrab::grab()
{
    if (!ensureWindow())
        return XCB_GRAB_STATUS_NOT_VIEWABLE;
    request();
    return status();
}

bool X11KeyboardGrab::isBeforeLastGrab(const xcb_generic_event_t* event) const
{
    // An event carries the sequence number of the last request of ours the server had
    // processed; the earlier grab's end is reported before the new grab was made.
    return std::int32_t(event->full_sequence - m_sequence) < 0;
}

void X11KeyboardGrab::ungrab()
{
    if (!m_connection.isConnected())
        return;
    xcb_ungrab_keyboard(m_connection.connection(), XCB_CURRENT_TIME);
    m_connection.flush();
}

} // namespace mosaro
