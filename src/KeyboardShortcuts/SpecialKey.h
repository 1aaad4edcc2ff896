#pragma once

#include <QString>
#include <array>
#include <cstdint>
#include <optional>

namespace mosaro::KeyboardShortcuts {

// Keys shown by a fixed symbol rather than by what the keyboard layout prints.
enum class SpecialKey {
    returnKey,
    deleteKey,
    deleteForward,
    end,
    escape,
    help,
    home,
    space,
    tab,
    pageUp,
    pageDown,
    upArrow,
    rightArrow,
    downArrow,
    leftArrow,
    f1,
    f2,
    f3,
    f4,
    f5,
    f6,
    f7,
    f8,
    f9,
    f10,
    f11,
    f12,
    f13,
    f14,
    f15,
    f16,
    f17,
    f18,
    f19,
    f20,
    keypad0,
    keypad1,
    keypad2,
    keypad3,
    keypad4,
    keypad5,
    keypad6,
    keypad7,
    keypad8,
    keypad9,
    keypadClear,
    keypadDecimal,
    keypadDivide,
    keypadEnter,
    keypadEquals,
    keypadMinus,
    keypadMultiply,
    keypadPlus,
};

inline constexpr std::size_t specialKeyCount = 53;

struct SpecialKeyEntry {
    SpecialKey key;
    std::int64_t keyCode;
};

// The table in case order.
const std::array<SpecialKeyEntry, specialKeyCount>& specialKeyTable();
std::optional<SpecialKey> specialKey(std::int64_t keyCode);
QString symbol(SpecialKey key);

// The word shown for the space bar before capitalising.
QString localizedSpaceKey();

} // namespace mosaro::KeyboardShortcuts
