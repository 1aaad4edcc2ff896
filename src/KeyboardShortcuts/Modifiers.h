#pragma once

#include <QString>
#include <cstdint>

namespace mosaro::KeyboardShortcuts {

// Carbon modifier mask bits.
namespace CarbonModifier {
inline constexpr std::int64_t command = 0x100;
inline constexpr std::int64_t shift = 0x200;
inline constexpr std::int64_t option = 0x800;
inline constexpr std::int64_t control = 0x1000;
inline constexpr std::int64_t function = 0x20000;
} // namespace CarbonModifier

// Bit-by-bit translation between key-event modifier flags and the Carbon mask; bits outside
// Shift, Control, Option, Command and Function are dropped in both directions.
std::int64_t carbonFromAppKit(std::uint64_t flags);
std::uint64_t appKitFromCarbon(std::int64_t carbonModifiers);
// The Carbon -> flags -> Carbon round trip every comparison with a pressed key goes through.
std::int64_t normalizedCarbonModifiers(std::int64_t carbonModifiers);

// "⌃⌥⇧⌘" then the fn globe, only for the modifiers present, no separators.
QString symbolicRepresentation(std::uint64_t flags);

} // namespace mosaro::KeyboardShortcuts
