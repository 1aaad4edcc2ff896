#pragma once

#include "Platform/KeyEvent.h"

#include <QString>
#include <cstdint>

namespace mosaro::KeyboardShortcuts {

namespace CarbonModifier = ::mosaro::CarbonModifier;

// Bit-by-bit translation between key-event modifier flags and the Carbon mask; bits outside
// Shift, Control, Option, Command and Function are dropped in both directions.
std::int64_t carbonFromAppKit(std::uint64_t flags);
std::uint64_t appKitFromCarbon(std::int64_t carbonModifiers);
// The Carbon -> flags -> Carbon round trip every comparison with a pressed key goes through.
std::int64_t normalizedCarbonModifiers(std::int64_t carbonModifiers);

// Control, Option (Alt), Shift, Command (Super), then Function, only those present, each in the
// desktop's notation with its "+": "Ctrl+Alt+".
QString symbolicRepresentation(std::uint64_t flags);

} // namespace mosaro::KeyboardShortcuts
