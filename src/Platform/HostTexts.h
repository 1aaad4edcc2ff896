#pragma once

#include <QString>

namespace mosaro {

// Texts a person sees that name a facility of the platform Mosaro was first written for (its
// accessibility permission, its settings application, its menu bar, its key symbols), each
// beside what Mosaro says on Linux instead: same sentence, same meaning, the Linux stand-in
// named, in the words of the session it runs in. Every other text of a window, menu or dialog is shown exactly as
// written, and log lines never go through this table.
enum class HostText {
    welcomeSubtitle,
    // The welcome window.
    welcomeAccessHeading,
    welcomeAccessBody,
    welcomeChangeBody,
    welcomeAllowButton,
    // The tray menu's permission slot and its key equivalents.
    menuPermissionGranted,
    menuOpenAccessibilitySettings,
    settingsKeyEquivalent,
    quitKeyEquivalent,
    // The page that opening the accessibility settings shows.
    accessibilitySettingsTitle,
    // Shortcut display strings: modifiers (each followed by the key), then the keys shown by name.
    modifierControl,
    modifierOption,
    modifierShift,
    modifierCommand,
    modifierFunction,
    keyReturn,
    keyDelete,
    keyDeleteForward,
    keyEnd,
    keyEscape,
    keyHelp,
    keyHome,
    keyTab,
    keyPageUp,
    keyPageDown,
    keyUpArrow,
    keyRightArrow,
    keyDownArrow,
    keyLeftArrow,
    keypadKey, // %1 is the key's own character
    keypadClear,
    keypadEnter,
    // The settings window.
    systemShortcutOwner, // who else uses a shortcut, in the conflict alert
    launchAtLoginFooter,
    aboutDescription,
    accessibilityAccessRow,
    permissionNotDeterminedExplanation,
    permissionDeniedExplanation,
    openAccessibilitySettingsButton,
    openAccessibilitySettingsHelp,
    showWelcomeAgainHelp,
    permissionGrantedTooltip,
    permissionDeniedTooltip,
    permissionNotDeterminedTooltip,
    // What the help says to do, by the state of Mosaro's GNOME Shell extension (GNOME's stand-in
    // for the accessibility list).
    gnomeExtensionNotInstalled,
    gnomeExtensionDisabled,
    gnomeUserExtensionsOff,
    gnomeExtensionOtherVersion,
    gnomeExtensionWaitingForLogIn,
    gnomeExtensionFailed,
    gnomeExtensionEnabled,
};

// The session Mosaro runs in, where what a person is told to do differs: on X11 window control is
// an EWMH window manager, on a Wayland compositor its own channel.
enum class HostSession {
    x11,
    sway,
    kwin,
    gnome,
};
// Set once at start, by the platform chosen; X11 until then.
void setHostSession(HostSession session);
HostSession hostSession();

// What Mosaro shows for the text in the current session.
QString hostText(HostText id);

} // namespace mosaro
