#pragma once

#include <QString>
#include <cstdint>
#include <optional>

namespace mosaro {

// The current ASCII-capable keyboard layout: what a key code prints with no modifiers held.
class KeyboardLayout {
public:
    virtual ~KeyboardLayout() = default;
    // Nothing when there is no layout or the translation fails; the text may be any length.
    virtual std::optional<QString> translateForDisplay(std::uint16_t keyCode) const = 0;
};

} // namespace mosaro
