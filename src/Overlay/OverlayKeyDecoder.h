#pragma once

#include "Overlay/OverlayInput.h"

#include <cstdint>
#include <optional>

namespace mosaro {

// Turns one key-down while the overlay is the key window into an input: the user's recorded
// shortcuts first (in action order), then the fixed bindings. Only Shift, Control, Option and
// Command take part; any other flag is ignored.
std::optional<OverlayInput> decodeOverlayKey(std::uint16_t keyCode, std::uint64_t modifierFlags);

} // namespace mosaro
