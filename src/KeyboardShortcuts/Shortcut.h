#pragma once

#include "KeyboardShortcuts/Key.h"

#include <QString>
#include <compare>
#include <cstddef>
#include <cstdint>

namespace mosaro::KeyboardShortcuts {

// A key with its modifiers, kept as a Carbon modifier mask.
struct Shortcut {
    std::int64_t carbonKeyCode = 0;
    std::int64_t carbonModifiers = 0;

    constexpr Shortcut() = default;
    // Raw fields, as stored; no normalisation.
    constexpr Shortcut(std::int64_t keyCode, std::int64_t carbonMask)
        : carbonKeyCode(keyCode), carbonModifiers(carbonMask)
    {}
    // From a key and key-event modifier flags; bits the modifier table does not know are dropped.
    Shortcut(Key key, std::uint64_t modifierFlags = 0);

    Key key() const { return Key(carbonKeyCode); }
    // The mask as key-event modifier flags.
    std::uint64_t modifiers() const;
    // Modifiers then the key, in the desktop's notation, e.g. "Shift+Super+A".
    QString description() const;

    friend constexpr bool operator==(const Shortcut&, const Shortcut&) = default;
    friend constexpr auto operator<=>(const Shortcut&, const Shortcut&) = default; // NOLINT(modernize-use-nullptr)
};

// What the current layout prints for a key: a special key's symbol, else the layout's single
// character capitalised, else U+FFFD.
QString keyDisplayString(std::int64_t keyCode);

} // namespace mosaro::KeyboardShortcuts
