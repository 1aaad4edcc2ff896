#pragma once

#include "App/DesktopCheckReport.h"
#include "KeyboardShortcuts/Shortcut.h"
#include "Platform/KeyboardLayout.h"

#include <QDBusConnection>
#include <QString>

#include <optional>

namespace mosaro {

// What the running Mosaro says of its trigger over the session bus: the method TriggerStatus of
// the interface tech.brenmark.mosaro (object /tech/brenmark/mosaro), answering whether the
// trigger's grab succeeded and the combination in the desktop's notation.
struct RunningTrigger {
    bool grabbed = false;
    QString shortcut;
};
std::optional<RunningTrigger> askRunningMosaro(const QDBusConnection& bus);

// The facts of `mosaro --check` that do not depend on the desktop platform.
// The stored trigger, read only, its key named by the layout; nothing when there is none.
std::optional<KeyboardShortcuts::Shortcut> readStoredTrigger(DesktopFacts& facts, KeyboardLayout& layout);
// The running Mosaro's trigger (it holds it itself, so it is asked rather than the desktop), a
// StatusNotifierItem host, the session bus, the journal and the preferences file.
void readSessionFacts(DesktopFacts& facts, const QDBusConnection& bus);
// One line per finding on standard output; the exit status of `mosaro --check`.
int printFindings(const DesktopFacts& facts);

} // namespace mosaro
