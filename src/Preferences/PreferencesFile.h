#pragma once

#include "Platform/Expected.h"
#include "Preferences/Preferences.h"

#include <QString>

namespace mosaro {

// Why the document could not be read, decoded or written, in words fit for a log line.
struct PreferencesError {
    QString description;
    friend bool operator==(const PreferencesError&, const PreferencesError&) = default;
};

QString toString(const PreferencesError& error);

// Posted on the default centre, without sender or user info, right after someone other than the
// preferences store rewrote the file (the overlay after a grid resize).
inline const QString preferencesDidChangeOnDiskNotification =
    QStringLiteral("tech.brenmark.mosaro.preferencesDidChangeOnDisk");

// <XDG data dir>/Mosaro/preferences.json. The folder is not created here.
QString preferencesFileURL();

// Missing file: the defaults, nothing written. Newer versions: the defaults, the file untouched.
// Older versions are migrated and written back. The result is always sanitized.
Expected<Preferences, PreferencesError> loadPreferences(const QString& path);

// Creates the folder if needed and replaces the file atomically; a failed write keeps the old file.
Status<PreferencesError> savePreferences(const Preferences& prefs, const QString& path);

} // namespace mosaro
