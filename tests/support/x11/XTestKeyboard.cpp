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

XTestKeyboard::XTestKeyboard(X11Connection& connection, Wait wait) : m_connection(connection), m_wait(wait)
{
    if (!m_connection.isConnected())
        return;
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(m_connection.connection(), &xcb_test_id);
    m_available = ext && ext->present;
    if (!m_available)
        Log::lifecycle().error(noXTestMessage, m_connection.displayName());
}

std::optional<std::uint8_t> XTestKeyboard::x11KeyCode(std::uint16_t macKeyCode)
{
    const auto evdev = evdevForMacKeyCode(macKeyCode);
    if (!evdev || *evdev + x11KeycodeOffset > 255)
        return std::nullopt;
    return std::uint8_t(*evdev + x11KeycodeOffset);
}

bool XTestKeyboard::fake(std::uint8_t type, std::uint16_t macKeyCode)
{
    if (!m_available || !m_connection.isConnected())
        return false;
    const auto code = x11KeyCode(macKeyCode);
    if (!code)
        return false;
    xcb_test_fake_input(m_connection.connection(), type, *code, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
    return true;
}

bool XTestKeyboard::done()
{
    return m_wait == Wait::caller || sync();
}

bool XTestKeyboard::press(std::uint16_t macKeyCode)
{
    return fake(XCB_KEY_PRESS, macKeyCode) && done();
}

bool XTestKeyboard::release(std::uint16_t macKeyCode)
{
    return fake(XCB_KEY_RELEASE, macKeyCode) && done();
}

bool XTestKeyboard::tap(std::uint16_t macKeyCode)
{
    return fake(XCB_KEY_PRESS, macKeyCode) && fake(XCB_KEY_RELEASE, macKeyCode) && done();
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
    return done();
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
    return done() && ok;
}

bool XTestKeyboard::sync()
{
    if (!m_connection.isConnected())
        return false;
    return bool(m_connection.ask<xcb_get_input_focus_reply>(xcb_get_input_focus));
}

} // namespace mosaro::test
