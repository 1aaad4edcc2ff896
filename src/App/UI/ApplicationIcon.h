#pragma once

#include <QIcon>

namespace mosaro {

// Mosaro's own icon, from the application's resources, in every size it is drawn at.
QIcon applicationIcon();

} // namespace mosaro
