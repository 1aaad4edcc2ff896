#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace mosaro {

// Modifier flags of the portable key model (device-independent bits).
namespace ModifierFlag {
inline constexpr std::uint64_t capsLock = 0x10000;
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
inline constexpr std::uint64_t numericPad = 0x200000;
inline constexpr std::uint64_t help = 0x400000;
inline constexpr std::uint64_t function = 0x800000;
// The four that take part in shortcut comparisons.
inline constexpr std::uint64_t comparedMask = shift | control | option | command; // 0x1E0000
} // namespace ModifierFlag

// Modifier-mask bits of a stored shortcut.
namespace CarbonModifier {
inline constexpr std::int64_t command = 0x100;
inline constexpr std::int64_t shift = 0x200;
inline constexpr std::int64_t option = 0x800;
inline constexpr std::int64_t control = 0x1000;
inline constexpr std::int64_t function = 0x20000;
} // namespace CarbonModifier

// Event-type mask bits for local monitors.
namespace EventMask {
inline constexpr std::uint64_t keyDown = 1u << 10;
inline constexpr std::uint64_t keyUp = 1u << 11;
inline constexpr std::uint64_t flagsChanged = 1u << 12;
} // namespace EventMask

// One key event in the portable key model: a virtual key code and modifier flags.
struct KeyEvent {
    enum class Type {
        keyDown,
        keyUp,
        flagsChanged
    };
    Type type = Type::keyDown;
    std::uint16_t keyCode = 0;
    std::uint64_t modifierFlags = 0;
    const void* window = nullptr; // the application window the event belongs to, if any
};

// Application-local event monitors: see the application's own key events before its windows do.
class EventMonitor {
public:
    using Token = std::uint64_t;
    // Return the event to pass it on, nothing to swallow it.
    using Handler = std::function<std::optional<KeyEvent>(const KeyEvent&)>;
    virtual ~EventMonitor() = default;
    virtual Token addLocalMonitor(std::uint64_t mask, Handler handler) = 0;
    virtual void removeMonitor(Token token) = 0;
};

} // namespace mosaro
