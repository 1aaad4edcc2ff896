#include "Preferences/PreferencesFile.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Preferences/Migrations.h"
#include "Preferences/PreferencesJson.h"

#include "Platform/FileReplacement.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace mosaro {

QString toString(const PreferencesError& error)
{
    return error.description;
}

QString preferencesFileURL()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/Mosaro/preferences.json");
}

InterpretedPreferences interpretPreferences(const QByteArray& bytes)
{
    // Anything without a readable version is taken for the oldest layout.
    const auto probe = PreferencesJson::decodeProbe(bytes);
    const std::int64_t version = probe ? probe->schemaVersion : 1;

    if (version > Preferences::currentSchemaVersion) {
        // Written by a newer release: leave it for that release to read.
        Log::preferences().error(LogMessages::newerVersion, version, Preferences::currentSchemaVersion);
        return {Preferences::defaults(), std::nullopt};
    }

    if (version == Preferences::currentSchemaVersion) {
        const auto decoded = PreferencesJson::decode(bytes);
        if (!decoded)
            return {unexpected(decoded.error()), std::nullopt};
        return {decoded->sanitized(), std::nullopt};
    }

    const auto migrated = Migrations::migrate(bytes, version);
    if (!migrated)
        return {unexpected(migrated.error()), std::nullopt};
    return {migrated->sanitized(), *migrated};
}

Expected<Preferences, PreferencesError> loadPreferences(const QString& path)
{
    // The file first appears when something saves; until then the defaults apply.
    const auto bytes = FileReplacement::readIfPresent(path);
    if (!bytes)
        return unexpected(PreferencesError{bytes.error().description()});
    if (!*bytes)
        return Preferences::defaults();

    const InterpretedPreferences loaded = interpretPreferences(**bytes);
    if (!loaded.result)
        return unexpected(
            PreferencesError{QStringLiteral("could not decode %1: %2").arg(path, loaded.result.error().description)});
    // A failed write-back keeps the old file, so the migration simply runs again next time.
    if (loaded.writeBack)
        (void)savePreferences(*loaded.writeBack, path);
    return loaded.result;
}

StoredPreferences classifyStoredPreferences(const QByteArray& bytes)
{
    const auto probe = PreferencesJson::decodeProbe(bytes);
    if (!probe)
        return {false, std::nullopt, probe.error().description};
    const std::int64_t version = probe->schemaVersion;
    if (version > Preferences::currentSchemaVersion)
        return {false, std::nullopt,
                QStringLiteral("schemaVersion %1 is newer than supported (%2)")
                    .arg(version)
                    .arg(Preferences::currentSchemaVersion)};
    if (version == Preferences::currentSchemaVersion) {
        const auto decoded = PreferencesJson::decode(bytes);
        if (decoded)
            return {true, std::nullopt, {}};
        return {false, std::nullopt, decoded.error().description};
    }
    if (version == 1) {
        const auto v1 = Migrations::V1::decode(bytes);
        if (v1)
            return {false, version, {}};
        return {false, std::nullopt, v1.error().description};
    }
    return {false, std::nullopt, QStringLiteral("schemaVersion %1 is not a known version").arg(version)};
}

namespace {

// Runs just before the new document takes the file's place.
void keepWhatWillBeReplaced(const QString& path)
{
    const auto bytes = FileReplacement::readIfPresent(path);
    StoredPreferences stored;
    if (bytes) {
        if (!*bytes)
            return;
        stored = classifyStoredPreferences(**bytes);
        if (stored.loadsAsCurrent)
            return;
    } else {
        stored.whyNotLoaded = QStringLiteral("unreadable");
    }
    const auto copy = bytes ? FileReplacement::keepCopy(path, **bytes, QDateTime::currentDateTimeUtc())
                            : Expected<QString, FileReplacement::FileError>(unexpected(bytes.error()));
    if (!copy) {
        const QString why = stored.migratesFrom ? QStringLiteral("version %1, to be migrated").arg(*stored.migratesFrom)
                                                : stored.whyNotLoaded;
        Log::preferences().error(LogMessages::keepPreferencesFailed, why, copy.error().action, copy.error().path,
                                 copy.error().reason);
        return;
    }
    const QString copyName = QFileInfo(*copy).fileName();
    if (stored.migratesFrom)
        Log::preferences().info(LogMessages::keptMigratedPreferences, *stored.migratesFrom, copyName);
    else
        Log::preferences().error(LogMessages::keptUnloadedPreferences, copyName, stored.whyNotLoaded);
}

} // namespace

Status<PreferencesError> savePreferences(const Preferences& prefs, const QString& path)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (const auto made = FileReplacement::makeFolders(folder); !made)
        return unexpected(PreferencesError{made.error().description()});

    // Written to a temporary file that replaces the target only once complete; what it replaces
    // is kept first when it did not load.
    const auto written = FileReplacement::replaceAtomically(path, PreferencesJson::encode(prefs),
                                                            [&path] { keepWhatWillBeReplaced(path); });
    if (!written)
        return unexpected(PreferencesError{written.error().description()});
    return Ok{};
}

} // namespace mosaro
