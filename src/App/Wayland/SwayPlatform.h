#pragma once

#include "App/Desktop/DesktopPlatform.h"

#include <QString>

#include <memory>

namespace mosaro {

// sway's desktop: its IPC channel and the backend's classes over it, and the Wayland panel
// placed by sway's commands.
std::unique_ptr<DesktopPlatform> makeSwayPlatform(const QString& socket);

} // namespace mosaro
