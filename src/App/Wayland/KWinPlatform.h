#pragma once

#include "App/Desktop/DesktopPlatform.h"
#include "Platform/Wayland/Sway/SwayConfig.h"

#include <memory>
#include <optional>

namespace mosaro {

// KDE Plasma's desktop: KWin through Mosaro's session script, and the Wayland panel placed by it.
std::unique_ptr<DesktopPlatform> makeKWinPlatform();

// A shortcut as KDE's key int (Qt's key and modifiers), the key named by the default layout.
std::optional<int> kdeKeyFor(const Sway::Keymap& keymap, std::uint32_t keyCode, std::uint32_t modifiers);

} // namespace mosaro
