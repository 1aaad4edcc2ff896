#pragma once

#include "App/Desktop/DesktopCheckFacts.h"

#include <QDBusConnection>
#include <QString>

#include <optional>

namespace mosaro {

class X11Connection;

// The facts `mosaro --check` reports, read from the desktop the connection is on. The window
// manager is tried on a small window of the check's own, destroyed afterwards.
DesktopFacts gatherDesktopFacts(X11Connection& connection, const QDBusConnection& bus);

} // namespace mosaro
