#include "App/DesktopCheckReport.h"

#include <algorithm>

namespace mosaro {

namespace {

using Severity = CheckFinding::Severity;

CheckFinding ok(QString text)
{
    return {Severity::ok, std::move(text)};
}
CheckFinding warning(QString text)
{
    return {Severity::warning, std::move(text)};
}
CheckFinding error(QString text)
{
    return {Severity::error, std::move(text)};
}

const QString bindElsewhere =
    QStringLiteral("bind `mosaro --trigger` to a key in the desktop's keyboard settings, or choose another "
                   "trigger in Mosaro's settings");

void addManager(const DesktopFacts& f, std::vector<CheckFinding>& out)
{
    const QString named = f.managerName.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(f.managerName);
    switch (f.manager) {
    case DesktopFacts::Manager::none:
        out.push_back(error(QStringLiteral("no window manager is running: Mosaro moves windows by asking one; "
                                           "start the desktop's window manager")));
        return;
    case DesktopFacts::Manager::notDrivable:
        out.push_back(error(QStringLiteral("the window manager%1 does not support EWMH (it does not name the "
                                           "active window): Mosaro cannot tell which window to move")
                                .arg(named)));
        return;
    case DesktopFacts::Manager::drivable:
        break;
    }
    out.push_back(ok(QStringLiteral("window manager: %1 (EWMH)")
                         .arg(f.managerName.isEmpty() ? QStringLiteral("unnamed") : f.managerName)));
    switch (f.probe) {
    case DesktopFacts::Probe::notRun:
        out.push_back(warning(QStringLiteral("moves: the window manager did not take a test window on in time; "
                                             "moves were not tried")));
        break;
    case DesktopFacts::Probe::honoured:
        out.push_back(ok(QStringLiteral("moves: the window manager honours _NET_MOVERESIZE_WINDOW")));
        break;
    case DesktopFacts::Probe::configured:
        out.push_back(ok(QStringLiteral("moves: the window manager ignores _NET_MOVERESIZE_WINDOW; Mosaro moves "
                                        "windows with ConfigureWindow")));
        break;
    case DesktopFacts::Probe::corrected:
        out.push_back(ok(QStringLiteral("moves: the window manager puts windows off by a few pixels; Mosaro "
                                        "corrects each move")));
        break;
    case DesktopFacts::Probe::misplaced:
        out.push_back(warning(QStringLiteral("moves: the window manager put a test window elsewhere than asked, "
                                             "even after a correction")));
        break;
    case DesktopFacts::Probe::keptInPlace:
        out.push_back(warning(QStringLiteral("moves: the window manager kept a test window in place; it tiles new "
                                             "windows, and Mosaro can place only floating ones")));
        break;
    }
    out.push_back(ok(f.frameExtentsPublished
                         ? QStringLiteral("frame extents: published (_NET_FRAME_EXTENTS)")
                         : QStringLiteral("frame extents: not published; Mosaro measures frames from the window "
                                          "tree")));
    out.push_back(ok(f.workAreaPublished ? QStringLiteral("work area: published (_NET_WORKAREA)")
                                         : QStringLiteral("work area: not published; Mosaro leaves out the docks' "
                                                          "struts")));
}

void addTrigger(const DesktopFacts& f, std::vector<CheckFinding>& out)
{
    switch (f.storedTrigger) {
    case DesktopFacts::StoredTrigger::undecodable:
        out.push_back(warning(QStringLiteral("trigger: the stored shortcut (%1) no longer decodes; Mosaro has no "
                                             "trigger until one is recorded in its settings")
                                  .arg(f.storedTriggerText)));
        return;
    case DesktopFacts::StoredTrigger::disabled:
        out.push_back(warning(QStringLiteral("trigger: none is set; record one in Mosaro's settings, or bind "
                                             "`mosaro --trigger` to a key in the desktop's keyboard settings")));
        return;
    case DesktopFacts::StoredTrigger::standard:
    case DesktopFacts::StoredTrigger::recorded:
        break;
    }
    const QString& keys = f.triggerText;
    switch (f.triggerOwner) {
    case DesktopFacts::TriggerOwner::free:
        out.push_back(ok(QStringLiteral("trigger: %1 is free").arg(keys)));
        break;
    case DesktopFacts::TriggerOwner::mosaro:
        out.push_back(ok(QStringLiteral("trigger: %1 belongs to the running Mosaro").arg(keys)));
        break;
    case DesktopFacts::TriggerOwner::otherClient:
        out.push_back(
            warning(QStringLiteral("trigger: %1 is taken by another program (often the desktop's own shortcuts); %2")
                        .arg(keys, bindElsewhere)));
        break;
    case DesktopFacts::TriggerOwner::mosaroWithoutGrab:
        out.push_back(warning(QStringLiteral("trigger: the running Mosaro could not take %1, another program "
                                             "holds it; %2")
                                  .arg(keys, bindElsewhere)));
        break;
    case DesktopFacts::TriggerOwner::desktopBinding:
        out.push_back(warning(QStringLiteral("trigger: %1 is bound by the compositor's configuration to %2; Mosaro "
                                             "leaves that binding alone and has no trigger: choose another trigger "
                                             "in Mosaro's settings, or bind `mosaro --trigger` there instead")
                                  .arg(keys, f.triggerBinding)));
        break;
    case DesktopFacts::TriggerOwner::unknown:
        out.push_back(warning(QStringLiteral("trigger: whether %1 is free could not be tried").arg(keys)));
        break;
    }
}

void addPreferences(const DesktopFacts& f, std::vector<CheckFinding>& out)
{
    const QString& path = f.preferencesPath;
    switch (f.preferences) {
    case DesktopFacts::PreferencesFile::missing:
        out.push_back(ok(QStringLiteral("preferences: none yet at %1; the defaults are used").arg(path)));
        break;
    case DesktopFacts::PreferencesFile::loaded:
        out.push_back(ok(QStringLiteral("preferences: %1 loads").arg(path)));
        break;
    case DesktopFacts::PreferencesFile::older:
        out.push_back(ok(
            QStringLiteral("preferences: %1 is from an earlier version and is updated at the next start").arg(path)));
        break;
    case DesktopFacts::PreferencesFile::newer:
        out.push_back(warning(QStringLiteral("preferences: %1 was written by a newer Mosaro; this one uses its "
                                             "defaults and leaves the file alone")
                                  .arg(path)));
        break;
    case DesktopFacts::PreferencesFile::unreadable:
        out.push_back(warning(QStringLiteral("preferences: %1 cannot be read (%2); Mosaro uses its defaults and "
                                             "keeps the file aside")
                                  .arg(path, f.preferencesProblem)));
        break;
    }
    if (!f.keptAside.isEmpty())
        out.push_back(
            ok(QStringLiteral("preferences: kept aside earlier: %1").arg(f.keptAside.join(QStringLiteral(", ")))));
}

// Returns false when nothing more can be said: no display, or no channel to place windows through.
bool addCompositor(const CompositorFacts& c, std::vector<CheckFinding>& out)
{
    if (!c.displayReachable) {
        out.push_back(error(QStringLiteral("cannot connect to the Wayland display %1").arg(c.waylandDisplay)));
        return false;
    }
    out.push_back(ok(QStringLiteral("display %1 (Wayland session)").arg(c.waylandDisplay)));
    if (c.name.isEmpty()) {
        out.push_back(
            error(QStringLiteral("compositor: not one Mosaro can drive; it places windows through a "
                                 "compositor's own channel and knows sway's IPC ($SWAYSOCK), KWin's scripting "
                                 "(org.kde.KWin) and GNOME Shell (through its extension), and XWayland cannot place "
                                 "native Wayland windows")));
        return false;
    }
    const QString name = c.version.isEmpty() ? c.name : c.name + QLatin1Char(' ') + c.version;
    // GNOME Shell is reached through Mosaro's extension inside it: the extension's state is the answer.
    if (!c.channelAnswers) {
        out.push_back(error(c.extension ? QStringLiteral("compositor: %1; Mosaro's extension: %2. %3")
                                              .arg(name, *c.extension, c.extensionAdvice)
                                        : QStringLiteral("compositor: %1 does not answer on %2 (%3)")
                                              .arg(c.name, c.channel, c.channelProblem)));
        return false;
    }
    out.push_back(ok(c.extension ? QStringLiteral("compositor: %1; Mosaro's extension: %2, answering on %3")
                                       .arg(name, *c.extension, c.channel)
                                 : QStringLiteral("compositor: %1, answering on %2").arg(name, c.channel)));
    out.push_back(ok(!c.moves.isEmpty() ? c.moves
                                        : QStringLiteral("moves: through the compositor's channel; a tiled window is "
                                                         "made floating to take its cell")));
    out.push_back(!c.keys.isEmpty() ? ok(c.keys)
                  : c.shortcutsInhibit
                      ? ok(QStringLiteral("keys: the panel takes every key while it shows, the compositor's own "
                                          "bindings included (keyboard-shortcuts-inhibit)"))
                      : warning(QStringLiteral("keys: the compositor offers no keyboard-shortcuts-inhibit; its own "
                                               "bindings keep their keys while the panel shows")));
    out.push_back(ok(c.outputEvents
                         ? QStringLiteral("displays: %1, changes announced by %2").arg(c.outputs).arg(c.announcer)
                         : QStringLiteral("displays: %1, changes read from workspace events (no output "
                                          "event in this version)")
                               .arg(c.outputs)));
    out.push_back(!c.beep.isEmpty() ? ok(c.beep)
                  : c.beepPlayer.isEmpty()
                      ? warning(QStringLiteral("beep: no sound player (canberra-gtk-play, pw-play, paplay); the beep "
                                               "is silent"))
                      : ok(QStringLiteral("beep: the sound theme's bell, played by %1").arg(c.beepPlayer)));
    return true;
}

} // namespace

std::vector<CheckFinding> desktopFindings(const DesktopFacts& f)
{
    std::vector<CheckFinding> out;
    if (f.wayland && !addCompositor(*f.wayland, out))
        return out;
    if (!f.wayland && !f.displayReachable) {
        out.push_back(error(f.displayName.isEmpty() ? QStringLiteral("cannot open display: DISPLAY is not set")
                                                    : QStringLiteral("cannot open display %1").arg(f.displayName)));
        return out;
    }
    if (!f.wayland) {
        out.push_back(ok(QStringLiteral("display %1 (X11 session)").arg(f.displayName)));
        addManager(f, out);
    }
    addTrigger(f, out);
    out.push_back(f.tray.isEmpty()
                      ? warning(QStringLiteral("tray: nothing shows tray icons; Mosaro's menu is not shown, the "
                                               "trigger still works"))
                      : ok(QStringLiteral("tray: %1").arg(f.tray)));
    out.push_back(f.sessionBus ? ok(QStringLiteral("session bus: reachable"))
                               : warning(QStringLiteral("session bus: not reachable; `mosaro --trigger` and "
                                                        "`mosaro --quit` cannot reach a running Mosaro")));
    out.push_back(f.journal ? ok(QStringLiteral("journal: reachable"))
                            : warning(QStringLiteral("journal: not reachable; Mosaro's log is lost unless it "
                                                     "runs with --log-stderr")));
    addPreferences(f, out);
    return out;
}

QString formatFindings(const std::vector<CheckFinding>& findings)
{
    QString out;
    for (const CheckFinding& f : findings) {
        switch (f.severity) {
        case Severity::ok:
            out += QStringLiteral("ok: ");
            break;
        case Severity::warning:
            out += QStringLiteral("warning: ");
            break;
        case Severity::error:
            out += QStringLiteral("error: ");
            break;
        }
        // One finding, one line, whatever a name or path contains.
        QString text = f.text;
        text.replace(QLatin1Char('\n'), QLatin1Char(' ')).replace(QLatin1Char('\r'), QLatin1Char(' '));
        out += text + QLatin1Char('\n');
    }
    return out;
}

int checkExitCode(const std::vector<CheckFinding>& findings)
{
    return std::any_of(findings.begin(), findings.end(),
                       [](const CheckFinding& f) { return f.severity == Severity::error; })
               ? 1
               : 0;
}

} // namespace mosaro
