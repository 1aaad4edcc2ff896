#pragma once

#include "Platform/X11/X11Connection.h"

#include <cstdint>
#include <optional>

namespace mosaro::test {

// Types keys through the XTEST extension, named in the portable key model. Caps Lock and the
// other lock flags are not pressed along with a combination.
class XTestKeyboard {
public:
    // Each call returns once the server has processed its keys, unless the caller waits itself
    // (a benchmark timing from the moment the keys leave): then they only go out on its flush.
    enum class Wait {
        eachCall,
        caller
    };
    explicit XTestKeyboard(X11Connection& connection, Wait wait = Wait::eachCall);

    bool isAvailable() const { return m_available; }
    // The X key code of a key of the portable key model, as the server's keymap has it.
    static std::optional<std::uint8_t> x11KeyCode(std::uint16_t macKeyCode);

    // Presses the modifiers (Control, Option, Shift, Command), then the key, and releases all
    // in reverse order.
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
    bool done();

    X11Connection& m_connection;
    Wait m_wait;
    bool m_available = false;
};

} // namespace mosaro::test
