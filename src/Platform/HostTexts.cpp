#include "Platform/HostTexts.h"

#include <array>

namespace mosaro {

namespace {

struct HostTextEntry {
    HostText id;
    const char* original; // as first written, kept for reviews of the wording
    const char* linux;    // what Mosaro shows
};

// The macOS step the GNOME extension's advice stands in for.
constexpr const char* kAskForAccess =
    "Mosaro cannot move windows without this. Click \"Open Accessibility Settings…\", then enable Mosaro in the list.";

constexpr std::array kTable{
    HostTextEntry{HostText::welcomeSubtitle, "A keyboard-driven window tiler for macOS.",
                  "A keyboard-driven window tiler for Linux desktops."},

    HostTextEntry{HostText::welcomeAccessHeading, "About Accessibility access", "About window manager access"},
    HostTextEntry{HostText::welcomeAccessBody,
                  "Mosaro uses macOS Accessibility to read the position and size of the focused window so it can "
                  "move and resize it. The next step asks macOS for this access — enable Mosaro in the "
                  "Accessibility list when System Settings opens.",
                  "Mosaro asks your window manager for the position and size of the focused window so it can move "
                  "and resize it; window contents are never read. The next step checks for a window manager that "
                  "can do this (EWMH) and, if none runs, shows which ones work."},
    HostTextEntry{HostText::welcomeChangeBody,
                  "Access can be turned on or off any time from System Settings → Privacy & Security → "
                  "Accessibility. Mosaro also surfaces the current status in Settings → About.",
                  "Access follows the window manager you run: it is on whenever an EWMH window manager such as "
                  "Openbox, Xfwm, KWin or IceWM is running. Mosaro also surfaces the current status in Settings → "
                  "About."},
    HostTextEntry{HostText::welcomeAllowButton, "Allow Accessibility Access", "Check Window Manager"},

    HostTextEntry{HostText::menuPermissionGranted, "Accessibility permission granted", "Window manager connected"},
    HostTextEntry{HostText::menuOpenAccessibilitySettings, "Open Accessibility Settings…", "Open Window Manager Help…"},
    HostTextEntry{HostText::settingsKeyEquivalent, "⌘,", "Ctrl+,"},
    HostTextEntry{HostText::quitKeyEquivalent, "⌘Q", "Ctrl+Q"},

    HostTextEntry{HostText::accessibilitySettingsTitle, "Privacy & Security → Accessibility", "Window Manager Help"},

    HostTextEntry{HostText::modifierControl, "⌃", "Ctrl+"},
    HostTextEntry{HostText::modifierOption, "⌥", "Alt+"},
    HostTextEntry{HostText::modifierShift, "⇧", "Shift+"},
    HostTextEntry{HostText::modifierCommand, "⌘", "Super+"},
    HostTextEntry{HostText::modifierFunction, "\U0001F310\uFE0E", "Fn+"},
    HostTextEntry{HostText::keyReturn, "↩", "Return"},
    HostTextEntry{HostText::keyDelete, "⌫", "Backspace"},
    HostTextEntry{HostText::keyDeleteForward, "⌦", "Delete"},
    HostTextEntry{HostText::keyEnd, "↘", "End"},
    HostTextEntry{HostText::keyEscape, "⎋", "Escape"},
    HostTextEntry{HostText::keyHelp, "?\u20DD", "Help"},
    HostTextEntry{HostText::keyHome, "↖", "Home"},
    HostTextEntry{HostText::keyTab, "⇥", "Tab"},
    HostTextEntry{HostText::keyPageUp, "⇞", "Page Up"},
    HostTextEntry{HostText::keyPageDown, "⇟", "Page Down"},
    HostTextEntry{HostText::keyUpArrow, "↑", "Up"},
    HostTextEntry{HostText::keyRightArrow, "→", "Right"},
    HostTextEntry{HostText::keyDownArrow, "↓", "Down"},
    HostTextEntry{HostText::keyLeftArrow, "←", "Left"},
    HostTextEntry{HostText::keypadKey, "%1\u20E3", "Num+%1"},
    HostTextEntry{HostText::keypadClear, "☒\u20E3", "Num+Clear"},
    HostTextEntry{HostText::keypadEnter, "↩\u20E3", "Num+Enter"},

    HostTextEntry{HostText::systemShortcutOwner, "macOS", "your desktop"},
    HostTextEntry{HostText::launchAtLoginFooter, "Automatically start Mosaro when you log in to your Mac.",
                  "Automatically start Mosaro when you log in to your desktop."},
    HostTextEntry{HostText::aboutDescription,
                  "Mosaro is keyboard-first window tiling for macOS. Customize the keys for triggering the overlay, "
                  "navigating cells, and extending the selection on the Shortcuts tab.",
                  "Mosaro is keyboard-first window tiling for Linux desktops. Customize the keys for triggering the "
                  "overlay, navigating cells, and extending the selection on the Shortcuts tab."},
    // Window control on X11 is the presence of an EWMH window manager; there is nothing to grant.
    HostTextEntry{HostText::accessibilityAccessRow, "Accessibility access", "Window control"},
    HostTextEntry{HostText::permissionNotDeterminedExplanation,
                  "macOS will ask you to grant access the first time you trigger the overlay.",
                  "Mosaro will look for a window manager to work with the first time you trigger the overlay."},
    HostTextEntry{HostText::permissionDeniedExplanation,
                  "Mosaro cannot move windows without this. Click \"Open Accessibility Settings…\", then enable "
                  "Mosaro in the list.",
                  "Mosaro cannot move windows without this. Click \"Open Window Manager Help…\", then make sure "
                  "an EWMH window manager is running."},
    HostTextEntry{HostText::openAccessibilitySettingsButton, "Open Accessibility Settings…",
                  "Open Window Manager Help…"},
    HostTextEntry{HostText::openAccessibilitySettingsHelp,
                  "Mosaro needs Accessibility access to move and resize windows.",
                  "Mosaro needs an EWMH window manager to move and resize windows."},
    HostTextEntry{HostText::showWelcomeAgainHelp,
                  "Re-display the welcome screen shown when Accessibility permission is missing.",
                  "Re-display the welcome screen shown when window control is not available."},
    HostTextEntry{HostText::permissionGrantedTooltip,
                  "Mosaro is trusted by macOS Accessibility — window positioning will work.",
                  "Mosaro can work with the EWMH window manager — window positioning will work."},
    HostTextEntry{HostText::permissionDeniedTooltip,
                  "macOS Accessibility has Mosaro turned off. Window positioning will not work until it's enabled.",
                  "No EWMH window manager is running. Window positioning will not work until one is started."},
    HostTextEntry{HostText::permissionNotDeterminedTooltip, "macOS hasn't been asked for Accessibility access yet.",
                  "Mosaro hasn't looked for a window manager yet."},

    HostTextEntry{HostText::gnomeExtensionNotInstalled, kAskForAccess,
                  "Click \"Install GNOME Shell Extension\" in Mosaro's welcome window (or \"Open GNOME Extension "
                  "Help…\" in its menu): Mosaro installs its extension for you and switches it on. GNOME loads a "
                  "newly installed extension when you next log in, so log out and in once after that."},
    HostTextEntry{HostText::gnomeExtensionDisabled, kAskForAccess,
                  "Switch \"Mosaro\" on in GNOME's Extensions app, or click \"Install GNOME Shell Extension\" in "
                  "Mosaro's welcome window, which switches it on for you."},
    HostTextEntry{HostText::gnomeUserExtensionsOff, kAskForAccess,
                  "GNOME runs no extension of yours at the moment (it switches them all off after a crash, or "
                  "someone turned them off): turn on \"Use Extensions\" at the top of GNOME's Extensions app, or "
                  "run gsettings set org.gnome.shell disable-user-extensions false."},
    HostTextEntry{HostText::gnomeExtensionOtherVersion, kAskForAccess,
                  "The extension installed is another Mosaro's, or was made for another GNOME version: click "
                  "\"Install GNOME Shell Extension\" in Mosaro's welcome window to replace it with this Mosaro's, "
                  "then log out and in once."},
    HostTextEntry{HostText::gnomeExtensionWaitingForLogIn, kAskForAccess,
                  "The extension is installed and switched on; GNOME loads it when you next log in. Log out and in "
                  "once, and Mosaro can move windows."},
    HostTextEntry{HostText::gnomeExtensionFailed, kAskForAccess,
                  "GNOME Shell could not load the extension: its log says why (journalctl --user -b "
                  "/usr/bin/gnome-shell). Clicking \"Install GNOME Shell Extension\" in Mosaro's welcome window "
                  "installs it afresh."},
    HostTextEntry{HostText::gnomeExtensionEnabled,
                  "Mosaro is trusted by macOS Accessibility — window positioning will work.",
                  "The extension answers with this Mosaro's version — window positioning will work."},
};

// Where a Wayland compositor differs from an X11 window manager: window control is the
// compositor's channel answering. The X11 wording above stays the default.
struct SessionText {
    HostSession session;
    HostText id;
    const char* text;
};

constexpr std::array kSessionTexts{
    SessionText{HostSession::sway, HostText::welcomeAccessHeading, "About compositor access"},
    SessionText{HostSession::sway, HostText::welcomeAccessBody,
                "Mosaro asks sway, through its IPC socket, for the position and size of the focused window so it "
                "can move and resize it; window contents are never read. The next step checks that sway answers "
                "and, if it does not, shows what to do."},
    SessionText{HostSession::sway, HostText::welcomeChangeBody,
                "Access follows sway: it is on whenever sway's IPC socket ($SWAYSOCK) answers. Mosaro also surfaces "
                "the current status in Settings → About."},
    SessionText{HostSession::sway, HostText::welcomeAllowButton, "Check Compositor"},
    SessionText{HostSession::sway, HostText::menuPermissionGranted, "Compositor connected"},
    SessionText{HostSession::sway, HostText::menuOpenAccessibilitySettings, "Open Compositor Help…"},
    SessionText{HostSession::sway, HostText::accessibilitySettingsTitle, "Compositor Help"},
    SessionText{HostSession::sway, HostText::accessibilityAccessRow, "Window control"},
    SessionText{HostSession::sway, HostText::permissionNotDeterminedExplanation,
                "Mosaro will ask sway for window control the first time you trigger the overlay."},
    SessionText{HostSession::sway, HostText::permissionDeniedExplanation,
                "Mosaro cannot move windows without this. Click \"Open Compositor Help…\", then make sure sway "
                "runs and its IPC socket is reachable."},
    SessionText{HostSession::sway, HostText::openAccessibilitySettingsButton, "Open Compositor Help…"},
    SessionText{HostSession::sway, HostText::openAccessibilitySettingsHelp,
                "Mosaro needs sway's IPC socket to move and resize windows."},
    SessionText{HostSession::sway, HostText::showWelcomeAgainHelp,
                "Re-display the welcome screen shown when window control is not available."},
    SessionText{HostSession::sway, HostText::permissionGrantedTooltip,
                "Mosaro can work with sway through its IPC socket — window positioning will work."},
    SessionText{HostSession::sway, HostText::permissionDeniedTooltip,
                "sway's IPC socket does not answer. Window positioning will not work until it does."},
    SessionText{HostSession::sway, HostText::permissionNotDeterminedTooltip, "Mosaro hasn't asked sway yet."},
    SessionText{HostSession::sway, HostText::systemShortcutOwner, "sway"},
    SessionText{HostSession::kwin, HostText::welcomeAccessHeading, "About compositor access"},
    SessionText{HostSession::kwin, HostText::welcomeAccessBody,
                "Mosaro asks KWin, through a small script it loads into KWin over D-Bus, for the position and size "
                "of the focused window so it can move and resize it; window contents are never read. The next step "
                "checks that the script runs and, if it does not, shows what to do."},
    SessionText{HostSession::kwin, HostText::welcomeChangeBody,
                "Access follows KWin: it is on whenever KWin's scripting interface (org.kde.KWin) answers and "
                "Mosaro's script is loaded. Mosaro also surfaces the current status in Settings → About."},
    SessionText{HostSession::kwin, HostText::welcomeAllowButton, "Check Compositor"},
    SessionText{HostSession::kwin, HostText::menuPermissionGranted, "Compositor connected"},
    SessionText{HostSession::kwin, HostText::menuOpenAccessibilitySettings, "Open Compositor Help…"},
    SessionText{HostSession::kwin, HostText::accessibilitySettingsTitle, "Compositor Help"},
    SessionText{HostSession::kwin, HostText::accessibilityAccessRow, "Window control"},
    SessionText{HostSession::kwin, HostText::permissionNotDeterminedExplanation,
                "Mosaro will ask KWin for window control the first time you trigger the overlay."},
    SessionText{HostSession::kwin, HostText::permissionDeniedExplanation,
                "Mosaro cannot move windows without this. Click \"Open Compositor Help…\", then make sure Mosaro "
                "runs in the Plasma session, where KWin's scripting interface is on the session bus."},
    SessionText{HostSession::kwin, HostText::openAccessibilitySettingsButton, "Open Compositor Help…"},
    SessionText{HostSession::kwin, HostText::openAccessibilitySettingsHelp,
                "Mosaro needs its KWin script to move and resize windows."},
    SessionText{HostSession::kwin, HostText::showWelcomeAgainHelp,
                "Re-display the welcome screen shown when window control is not available."},
    SessionText{HostSession::kwin, HostText::permissionGrantedTooltip,
                "Mosaro's script runs in KWin — window positioning will work."},
    SessionText{HostSession::kwin, HostText::permissionDeniedTooltip,
                "Mosaro's script does not run in KWin. Window positioning will not work until it does."},
    SessionText{HostSession::kwin, HostText::permissionNotDeterminedTooltip, "Mosaro hasn't asked KWin yet."},
    SessionText{HostSession::kwin, HostText::systemShortcutOwner, "KDE Plasma"},

    SessionText{HostSession::gnome, HostText::welcomeAccessHeading, "About Mosaro's GNOME Shell extension"},
    SessionText{HostSession::gnome, HostText::welcomeAccessBody,
                "On GNOME only code inside GNOME Shell may read and move windows, so Mosaro brings a small GNOME Shell "
                "extension that reads the position and size of the focused window and moves it; window contents "
                "are never read. The next step installs the extension for you and switches it on — GNOME loads it "
                "when you next log in."},
    SessionText{HostSession::gnome, HostText::welcomeChangeBody,
                "The extension can be switched on or off any time in GNOME's Extensions app. Mosaro also surfaces "
                "the current status in Settings → About."},
    SessionText{HostSession::gnome, HostText::welcomeAllowButton, "Install GNOME Shell Extension"},
    SessionText{HostSession::gnome, HostText::menuPermissionGranted, "GNOME Shell extension enabled"},
    SessionText{HostSession::gnome, HostText::menuOpenAccessibilitySettings, "Open GNOME Extension Help…"},
    SessionText{HostSession::gnome, HostText::accessibilitySettingsTitle, "GNOME Extension Help"},
    SessionText{HostSession::gnome, HostText::accessibilityAccessRow, "GNOME Shell extension"},
    SessionText{HostSession::gnome, HostText::permissionNotDeterminedExplanation,
                "Mosaro will install its GNOME Shell extension the first time you trigger the overlay."},
    SessionText{HostSession::gnome, HostText::permissionDeniedExplanation,
                "Mosaro cannot move windows without this. Click \"Open GNOME Extension Help…\", then follow what "
                "it says for the extension's state."},
    SessionText{HostSession::gnome, HostText::openAccessibilitySettingsButton, "Open GNOME Extension Help…"},
    SessionText{HostSession::gnome, HostText::openAccessibilitySettingsHelp,
                "Mosaro needs its GNOME Shell extension to move and resize windows."},
    SessionText{HostSession::gnome, HostText::showWelcomeAgainHelp,
                "Re-display the welcome screen shown when the GNOME Shell extension is not enabled."},
    SessionText{HostSession::gnome, HostText::permissionGrantedTooltip,
                "Mosaro's GNOME Shell extension is enabled — window positioning will work."},
    SessionText{HostSession::gnome, HostText::permissionDeniedTooltip,
                "Mosaro's GNOME Shell extension is not running. Window positioning will not work until it is "
                "enabled."},
    SessionText{HostSession::gnome, HostText::permissionNotDeterminedTooltip,
                "Mosaro hasn't installed its GNOME Shell extension yet."},
    SessionText{HostSession::gnome, HostText::systemShortcutOwner, "GNOME"},
};

HostSession g_session = HostSession::x11;

// The table is indexed by the enumeration: an entry out of place would show another text.
constexpr bool inEnumerationOrder()
{
    for (std::size_t i = 0; i < kTable.size(); ++i) {
        if (static_cast<std::size_t>(kTable[i].id) != i)
            return false;
    }
    return kTable.size() == static_cast<std::size_t>(HostText::gnomeExtensionEnabled) + 1;
}
static_assert(inEnumerationOrder());

const HostTextEntry& entry(HostText id)
{
    return kTable[static_cast<std::size_t>(id)];
}

} // namespace

void setHostSession(HostSession session)
{
    g_session = session;
}

HostSession hostSession()
{
    return g_session;
}

QString hostText(HostText id)
{
    for (const SessionText& text : kSessionTexts)
        if (text.session == g_session && text.id == id)
            return QString::fromUtf8(text.text);
    return QString::fromUtf8(entry(id).linux);
}

} // namespace mosaro
