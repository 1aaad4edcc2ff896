#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace mosaro {

// Physical keys of a PC keyboard, translated by position between the portable virtual key codes
// and Linux evdev codes. An X server with the evdev keymap numbers its keys evdev + 8.
struct KeyCodeMapping {
    std::uint16_t macKeyCode = 0;
    std::uint32_t evdevCode = 0;
};

inline constexpr std::uint32_t x11KeycodeOffset = 8;

// Every translated key, ordered by virtual key code.
std::span<const KeyCodeMapping> keyCodeMappings();

std::optional<std::uint16_t> macKeyCodeForEvdev(std::uint32_t evdevCode);
std::optional<std::uint32_t> evdevForMacKeyCode(std::uint16_t macKeyCode);

// The virtual key codes of the modifier keys. Pressed alone they change the modifier flags; they
// are no key presses of their own.
namespace ModifierKeyCode {
inline constexpr std::uint16_t rightCommand = 54;
inline constexpr std::uint16_t command = 55;
inline constexpr std::uint16_t shift = 56;
inline constexpr std::uint16_t capsLock = 57;
inline constexpr std::uint16_t option = 58;
inline constexpr std::uint16_t control = 59;
inline constexpr std::uint16_t rightShift = 60;
inline constexpr std::uint16_t rightOption = 61;
inline constexpr std::uint16_t rightControl = 62;
inline constexpr std::uint16_t function = 63;
} // namespace ModifierKeyCode

bool isModifierKeyCode(std::uint16_t code);

// Core-protocol modifier bits of a key event's state.
namespace X11ModMask {
inline constexpr std::uint16_t shift = 1 << 0;
inline constexpr std::uint16_t lock = 1 << 1;
inline constexpr std::uint16_t control = 1 << 2;
inline constexpr std::uint16_t mod1 = 1 << 3; // Alt
inline constexpr std::uint16_t mod2 = 1 << 4; // usually NumLock
inline constexpr std::uint16_t mod3 = 1 << 5;
inline constexpr std::uint16_t mod4 = 1 << 6; // Super
inline constexpr std::uint16_t mod5 = 1 << 7;
inline constexpr std::uint16_t all = 0xFF;
} // namespace X11ModMask

// Shift, Lock, Control, Alt and Super become Shift, Caps Lock, Control, Option and Command.
std::uint64_t modifierFlagsFromX11State(std::uint16_t state);
// Command, Shift, Option and Control of a shortcut's modifier mask; other bits have no X equivalent.
std::uint16_t x11ModifiersFromCarbon(std::uint32_t carbonMask);
// The same four modifiers given as modifier flags.
std::uint16_t x11ModifiersFromFlags(std::uint64_t flags);
// The shortcut modifier mask of an X state (Caps Lock and the other mod bits dropped).
std::uint32_t carbonModifiersFromX11State(std::uint16_t state);

} // namespace mosaro
