#pragma once

#include "Platform/Expected.h"
#include "Preferences/Preferences.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <optional>

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
// When the file being replaced does not load as a version-2 document, its bytes are first kept
// beside it as "preferences.json.bak-<UTC time>" (never replacing an earlier copy) and one line
// in the preferences category names the copy: an error, or info for a migrated older version.
// If no copy can be made, that line says why and the save goes ahead.
Status<PreferencesError> savePreferences(const Preferences& prefs, const QString& path);

// What the bytes of a preferences file are, as far as replacing them is concerned.
struct StoredPreferences {
    bool loadsAsCurrent = false;              // a version-2 document that decodes
    std::optional<std::int64_t> migratesFrom; // an older version that migrates
    QString whyNotLoaded;                     // otherwise: why they do not load, without the path
};
StoredPreferences classifyStoredPreferences(const QByteArray& bytes);

// The load's steps after reading the file: the document, or the error without the path; and
// what the load writes back to the file (a migration's result, before sanitising).
struct InterpretedPreferences {
    Expected<Preferences, PreferencesError> result;
    std::optional<Preferences> writeBack;
};
InterpretedPreferences interpretPreferences(const QByteArray& bytes);

} // namespace mosaro
