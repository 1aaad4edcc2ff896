#pragma once

#include "App/DesktopCheckReport.h"

#include <QDBusConnection>
#include <QString>

#include <optional>

namespace mosaro {

class X11Connection;

// What the running Mosaro says of its trigger over the session bus: the method TriggerStatus of
// the interface tech.brenmark.mosaro (object /tech/brenmark/mosaro), answering whether the
// trigger's grab succeeded and the combination in the desktop's notation.
struct RunningTrigger {
    bool grabbed = false;
    QString shortcut;
};
std::optional<RunningTrigger> askRunningMosaro(const QDBusConnection& bus);

// The facts `mosaro --check` reports, read from the desktop the connection is on. The window
// manager is tried on a small window of the check's own, destroyed afterwards.
DesktopFacts gatherDesktopFacts(X11Connection& connection, const QDBusConnection& bus);

// `mosaro --check`: one line per finding on standard output; 0 without errors, else 1. Needs no
// QApplication (it makes a core one when none exists) and writes nothing.
int runDesktopCheck(int argc, char** argv);

} // namespace mosaro
