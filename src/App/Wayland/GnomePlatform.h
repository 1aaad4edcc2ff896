#pragma once

#include "App/Desktop/DesktopPlatform.h"

#include <memory>

namespace mosaro {

// GNOME Shell's desktop: Mosaro's extension inside the Shell as the channel, and the Wayland
// panel raised, placed and focused through it.
std::unique_ptr<DesktopPlatform> makeGnomePlatform();

} // namespace mosaro
