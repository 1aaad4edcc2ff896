#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace mosaro {

// What `mosaro --check` found out about a Wayland compositor and its channel.
struct CompositorFacts {
    QString waylandDisplay;
    bool displayReachable = false;
    QString name;    // "sway"; empty when no channel Mosaro knows answered
    QString version; // as the compositor reports it
    QString channel; // where its channel is
    bool channelAnswers = false;
    QString channelProblem;        // why it did not answer
    bool shortcutsInhibit = false; // zwp_keyboard_shortcuts_inhibit_manager_v1 offered
    bool outputEvents = false;     // it says when outputs change
    int outputs = 0;
    QString beepPlayer; // the program that plays the beep; empty when none
    // Where the compositor differs from a tiling one driven over its own socket: the report's lines
    // about moves, keys and the beep (empty: the tiling compositor's), who announces output changes.
    QString moves;
    QString keys;
    QString beep;
    QString announcer = QStringLiteral("the compositor");
    // GNOME Shell: the state of Mosaro's extension there ("enabled", "not installed", …), and
    // what to do about it.
    std::optional<QString> extension;
    QString extensionAdvice;
};

// What `mosaro --check` found out about the desktop, as plain facts; gathering them is the
// platform's business, wording them this file's.
struct DesktopFacts {
    QString displayName; // empty when DISPLAY is not set
    bool displayReachable = false;
    QString sessionType; // XDG_SESSION_TYPE

    enum class Manager {
        drivable,    // EWMH, names the active window
        none,        // nobody manages windows
        notDrivable, // a manager without EWMH
    };
    Manager manager = Manager::none;
    QString managerName;

    // A small window of the check's own, moved once through the same code as any window.
    enum class Probe {
        notRun,      // the manager did not take the window on in time
        honoured,    // moved by _NET_MOVERESIZE_WINDOW
        configured,  // moved by an ICCCM ConfigureWindow after the manager ignored the message
        corrected,   // moved, the manager's offset corrected
        keptInPlace, // the manager did not move it (a tiling layout)
        misplaced,   // it moved, but not where asked, even after a correction
    };
    Probe probe = Probe::notRun;
    bool frameExtentsPublished = false;
    bool workAreaPublished = false;

    enum class StoredTrigger {
        standard,    // nothing stored: the default
        recorded,    // a shortcut of the user's
        disabled,    // removed by the user
        undecodable, // stored, but no longer understood
    };
    StoredTrigger storedTrigger = StoredTrigger::standard;
    QString storedTriggerText; // the stored value, for an undecodable one
    QString triggerText;       // the combination in the desktop's notation, e.g. "Super+Return"
    enum class TriggerOwner {
        free,              // nobody holds it
        otherClient,       // another X client grabs it
        mosaro,            // the running Mosaro holds it
        mosaroWithoutGrab, // Mosaro runs but could not grab it
        desktopBinding,    // the compositor's configuration binds it (triggerBinding)
        unknown,
    };
    TriggerOwner triggerOwner = TriggerOwner::unknown;
    QString triggerBinding; // the desktop's own binding: "exec foot (/etc/sway/config:40)"

    // A Wayland session: the compositor reached through its own channel stands where the X
    // display and its window manager stand.
    std::optional<CompositorFacts> wayland;

    QString tray; // what hosts tray icons, empty when nothing does
    bool sessionBus = false;
    bool journal = false;

    enum class PreferencesFile {
        missing,
        loaded,
        older,
        newer,
        unreadable
    };
    PreferencesFile preferences = PreferencesFile::missing;
    QString preferencesPath;
    QString preferencesProblem; // why an unreadable file could not be read
    QStringList keptAside;      // earlier files kept beside it
};

struct CheckFinding {
    enum class Severity {
        ok,
        warning,
        error
    };
    Severity severity = Severity::ok;
    QString text;
    friend bool operator==(const CheckFinding&, const CheckFinding&) = default;
};

// One finding per fact, in the order a person reads them: the display, the window manager and
// what it does with moves, the trigger, then the tray, the session bus, the journal and the
// preferences. "error" is kept for what stops Mosaro from placing windows.
std::vector<CheckFinding> desktopFindings(const DesktopFacts& facts);

// One line per finding: "ok: …", "warning: …" or "error: …".
QString formatFindings(const std::vector<CheckFinding>& findings);

// 1 when any finding is an error, else 0.
int checkExitCode(const std::vector<CheckFinding>& findings);

} // namespace mosaro
