#pragma once

#include "Platform/X11/X11Connection.h"

#include <cstdint>

namespace mosaro::test {

// Types keys through the XTEST extension, named in the portable key model. Caps Lock and the
// other lock flags are not pressed along with a combination.
class XTestKeyboard {
public:
    explicit XTestKeyboard(X11Connection& connection);

    bool isAvailable() const { return m_available; }

    // Presses the modifiers (Control, Option, Shift, Command), then the key, and releases all
    // in reverse order. Returns once the server has processed the keys.
    bool sendKeyCombination(std::uint16_t macKeyCode, std::uint64_t modifierFlags);
    // Single key transitions, for holding a key or toggling a lock.
    bool press(std::uint16_t macKeyCode);
    bool release(std::uint16_t macKeyCode);
    bool tap(std::uint16_t macKeyCode);
    // Waits until the server has handled everything sent so far.
    bool sync();

    // The pointer: moves to a point of the root window and clicks a button there (1 left,
    // 3 right).
    bool clickAt(int x, int y, std::uint8_t button);

private:
    bool fake(std::uint8_t type, std::uint16_t macKeyCode);

    X11Connection& m_connection;
    bool m_available = false;
};

} // namespace mosaro::test
