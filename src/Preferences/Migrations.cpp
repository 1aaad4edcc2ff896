#include "Preferences/Migrations.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Preferences/PreferencesJson.h"

namespace mosaro::Migrations {

Expected<V1, PreferencesError> V1::decode(const QByteArray& bytes)
{
    PreferencesJson::Reader reader;
    const auto root = reader.parse(bytes);
    if (!root)
        return unexpected(*reader.error);
    V1 v1;
    v1.schemaVersion = reader.integer(*root, QStringLiteral("schemaVersion"));
    v1.showInDockIcon = reader.boolean(*root, QStringLiteral("showInDockIcon"));
    v1.highlightedRegionTintHex = reader.optionalText(*root, QStringLiteral("highlightedRegionTintHex"));
    v1.lastSeenAppVersion = reader.optionalText(*root, QStringLiteral("lastSeenAppVersion"));
    if (reader.error)
        return unexpected(PreferencesError{QStringLiteral("version 1 document: ") + reader.error->description});
    return v1;
}

Expected<Preferences, PreferencesError> migrate(const QByteArray& bytes, std::int64_t version)
{
    if (version != 1) {
        Log::preferences().error(LogMessages::unknownVersion, version);
        return Preferences::defaults();
    }

    Log::preferences().info(LogMessages::migratingV1);
    const auto v1 = V1::decode(bytes);
    if (!v1)
        return unexpected(v1.error());

    // Version 1 had no grid settings and no opt-in: those start at their defaults.
    Preferences prefs = Preferences::defaults();
    prefs.schemaVersion = Preferences::currentSchemaVersion;
    prefs.showInDockIcon = v1->showInDockIcon;
    prefs.highlightedRegionTintHex = v1->highlightedRegionTintHex;
    prefs.lastSeenAppVersion = v1->lastSeenAppVersion;
    return prefs;
}

} // namespace mosaro::Migrations
