#include "Platform/HostTexts.h"

#include <array>

namespace mosaro {

namespace {

constexpr std::array kTable{
    HostTextEntry{HostText::welcomeSubtitle, "A keyboard-driven window tiler for macOS.",
                  "A keyboard-driven window tiler for Linux desktops."},
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
                  "Mosaro cannot move windows without this. Click \"Open Window Manager Settings…\", then make sure "
                  "an EWMH window manager is running."},
    HostTextEntry{HostText::openAccessibilitySettingsButton, "Open Accessibility Settings…",
                  "Open Window Manager Settings…"},
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
};

const HostTextEntry& entry(HostText id)
{
    return kTable[static_cast<std::size_t>(id)];
}

} // namespace

std::span<const HostTextEntry> hostTextTable()
{
    return kTable;
}

QString hostText(HostText id)
{
    return QString::fromUtf8(entry(id).linux);
}

QString originalHostText(HostText id)
{
    return QString::fromUtf8(entry(id).original);
}

} // namespace mosaro
