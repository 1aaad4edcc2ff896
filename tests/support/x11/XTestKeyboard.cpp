#include "support/x11/XTestKeyboard.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"

#include <xcb/xtest.h>

#include <vector>

namespace mosaro::test {

namespace {
constexpr const char* noXTestMessage = "XTEST extension missing on '%{public}s'; cannot send keys";

// Left-hand modifier keys, in the order they go down.
struct ModifierKey {
    std::uint64_t flag;
    std::uint16_t macKeyCode;
};
constexpr ModifierKey modifierKeys[] = {
    {ModifierFlag::control, 59},
    {ModifierFlag::option, 58},
    {ModifierFlag::shift, 56},
    {ModifierFlag::command, 55},
};
} // namespace

XTestKeyboard::XTestKeyboard(X11Connection& connection) : m_connection(connection)
{
    if (!m_connection.isConnected())
        return;
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection.connection(), &xcb_test_id);
    m_available = ext && ext->present;
    if (!m_available)
        Log::lifecycle().error(noXTestMessage, m_connection.displayName());
}

bool XTestKeyboard::fake(std::uint8_t type, std::uint16_t macKeyCode)
{
    if (!m_available || !m_connection.isConnected())
        return false;
    const auto evdev = evdevForMacKeyCode(macKeyCode);
    if (!evdev || *evdev + x11KeycodeOffset > 255)
        return false;
    xcb_test_fake_input(m_connection.connection(), type, std::uint8_t(*evdev + x11KeycodeOffset), XCB_CURRENT_TIME,
                        XCB_WINDOW_NONE, 0, 0, 0);
    return true;
}

bool XTestKeyboard::press(std::uint16_t macKeyCode)
{
    return fake(XCB_KEY_PRESS, macKeyCode) && sync();
}

bool XTestKeyboard::release(std::uint16_t macKeyCode)
{
    return fake(XCB_KEY_RELEASE, macKeyCode) && sync();
}

bool XTestKeyboard::tap(std::uint16_t macKeyCode)
{
    return fake(XCB_KEY_PRESS, macKeyCode) && fake(XCB_KEY_RELEASE, macKeyCode) && sync();
}

bool XTestKeyboard::clickAt(int x, int y, std::uint8_t button)
{
    if (!m_available || !m_connection.isConnected())
        return false;
    xcb_connection_t* c = m_connection.connection();
    xcb_test_fake_input(c, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_connection.root(), std::int16_t(x),
                        std::int16_t(y), 0);
    xcb_test_fake_input(c, XCB_BUTTON_PRESS, button, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    xcb_test_fake_input(c, XCB_BUTTON_RELEASE, button, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    return sync();
}

bool XTestKeyboard::sendKeyCombination(std::uint16_t macKeyCode, std::uint64_t modifierFlags)
{
    if (!evdevForMacKeyCode(macKeyCode))
        return false;
    std::vector<std::uint16_t> held;
    for (const auto& modifier : modifierKeys) {
        if ((modifierFlags & modifier.flag) && fake(XCB_KEY_PRESS, modifier.macKeyCode))
            held.push_back(modifier.macKeyCode);
    }
    const bool ok = fake(XCB_KEY_PRESS, macKeyCode) && fake(XCB_KEY_RELEASE, macKeyCode);
    // Modifiers always come back up, even after a failure, so no key stays stuck.
    for (auto it = held.rbegin(); it != held.rend(); ++it)
        fake(XCB_KEY_RELEASE, *it);
    return sync() && ok;
}

bool XTestKeyboard::sync()
{
    if (!m_connection.isConnected())
        return false;
    auto focus = m_connection.reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus_reply,
                                                                 xcb_get_input_focus(m_connection.connection()));
    return focus.hasValue();
}

} // namespace mosaro::test
