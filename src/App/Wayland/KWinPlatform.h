#pragma once

#include "App/Desktop/DesktopPlatform.h"

#include <memory>
#include <optional>

namespace mosaro {

// KDE Plasma's desktop: KWin through Mosaro's session script, and the Wayland panel placed by it.
std::unique_ptr<DesktopPlatform> makeKWinPlatform();

} // namespace mosaro
