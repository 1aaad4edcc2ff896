#pragma once

#include "Platform/Expected.h"
#include "Platform/HostTexts.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace mosaro::Gnome {

inline constexpr const char* extensionUuid = "mosaro@brenmark.tech";

// Where Mosaro's extension stands, the way the permission's answer is read on GNOME: only
// `enabled` lets Mosaro move windows.
enum class ExtensionState {
    enabled,           // it answers on the bus with Mosaro's version
    notInstalled,      // no copy in the user's (or the system's) extensions folder
    disabled,          // the Shell knows it, but it is not switched on
    userExtensionsOff, // the Shell runs no user extension at all
    otherVersion,      // another Mosaro's extension, or one built for another Shell
    waitingForLogIn,   // installed after the Shell started: it loads at the next log-in
    failed,            // the Shell tried to load it and reported an error
};
// "enabled", "not installed", …: for logs and `--check`.
QString describe(ExtensionState state);

// What the help says to do about it, as the host-text table words it.
HostText advice(ExtensionState state);

// What is known of the extension, from the bus and the disk.
struct ExtensionFacts {
    QString mosaroVersion;
    std::optional<QString> answeredVersion;  // the running extension's Version property
    bool installed = false;                  // a copy in an extensions folder
    std::optional<QString> installedVersion; // its metadata's "version-name"
    bool installedFitsShell = true;          // its metadata's "shell-version" names the running Shell
    bool userExtensionsEnabled = true;
    std::optional<int> shellState; // the Shell's registry entry; nothing when it does not know it
};
ExtensionState extensionState(const ExtensionFacts& facts);

// The major version of "43.9", "48.beta"; nothing when it does not start with a number.
std::optional<int> shellMajor(const QString& shellVersion);
// Which of the two variants a Shell loads: "script" (43, 44) or "module" (45 and later).
QString variantFor(int major);

// A copy of the extension in a folder: its metadata's version and whether it claims the Shell.
struct InstalledCopy {
    QString version;
    QStringList shellVersions;
};
std::optional<InstalledCopy> readInstalledCopy(const QString& folder);

// The user's extensions folder for Mosaro's (~/.local/share/gnome-shell/extensions/<uuid>).
QString userExtensionFolder();
// The folder holding the variants (script/<uuid>, module/<uuid>) this Mosaro ships; empty when
// none is found.
QString shippedExtensionsFolder();

// Copies the variant that fits the Shell into the user's folder, replacing another version's or
// another Shell's copy; nothing is touched when the copy there fits already.
Expected<Ok, QString> installExtension(const QString& shipped, int major, const QString& destination,
                                       const QString& mosaroVersion);

// The uuid list of a GVariant "as" as gsettings prints it ("['a', 'b']", "@as []").
std::optional<QStringList> parseStringList(const QString& text);
QString formatStringList(const QStringList& list);
// Adds the extension to org.gnome.shell enabled-extensions (and takes it off disabled-extensions),
// which a running Shell follows for extensions it knows and every Shell reads at log-in.
Expected<Ok, QString> enableAtLogIn(const QString& uuid);

} // namespace mosaro::Gnome
