#include "Preferences/PreferencesFile.h"

#include "Diagnostics/Log.h"
#include "Diagnostics/LogMessages.h"
#include "Preferences/Migrations.h"
#include "Preferences/PreferencesJson.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
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

Expected<Preferences, PreferencesError> loadPreferences(const QString& path)
{
    // The file first appears when something saves; until then the defaults apply.
    if (!QFileInfo::exists(path))
        return Preferences::defaults();

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return unexpected(PreferencesError{QStringLiteral("could not read %1: %2").arg(path, file.errorString())});
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return unexpected(PreferencesError{QStringLiteral("could not read %1: %2").arg(path, file.errorString())});
    file.close();

    const auto decodeError = [&path](const PreferencesError& error) {
        return unexpected(PreferencesError{QStringLiteral("could not decode %1: %2").arg(path, error.description)});
    };

    // Anything without a readable version is taken for the oldest layout.
    const auto probe = PreferencesJson::decodeProbe(bytes);
    const std::int64_t version = probe ? probe->schemaVersion : 1;

    if (version > Preferences::currentSchemaVersion) {
        // Written by a newer release: leave it for that release to read.
        Log::preferences().error(LogMessages::newerVersion, version, Preferences::currentSchemaVersion);
        return Preferences::defaults();
    }

    if (version == Preferences::currentSchemaVersion) {
        const auto decoded = PreferencesJson::decode(bytes);
        if (!decoded)
            return decodeError(decoded.error());
        return decoded->sanitized();
    }

    const auto migrated = Migrations::migrate(bytes, version);
    if (!migrated)
        return decodeError(migrated.error());
    // A failed write-back keeps the old file, so the migration simply runs again next time.
    (void)savePreferences(*migrated, path);
    return migrated->sanitized();
}

Status<PreferencesError> savePreferences(const Preferences& prefs, const QString& path)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        return unexpected(PreferencesError{QStringLiteral("could not create folder %1").arg(folder)});

    const QByteArray bytes = PreferencesJson::encode(prefs);

    // Written to a temporary file that replaces the target only once complete.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return unexpected(PreferencesError{QStringLiteral("could not write %1: %2").arg(path, file.errorString())});
    if (file.write(bytes) != bytes.size()) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return unexpected(PreferencesError{QStringLiteral("could not write %1: %2").arg(path, reason)});
    }
    if (!file.commit())
        return unexpected(PreferencesError{QStringLiteral("could not write %1: %2").arg(path, file.errorString())});
    return Ok{};
}

} // namespace mosaro
