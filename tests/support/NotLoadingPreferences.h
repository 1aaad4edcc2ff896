#pragma once

// The kinds of preferences.json that do not load as a version-2 document, with what a load of
// each logs and why a later save keeps a copy of it. Shared by the tests of the file, of the
// overlay's write-back and of the running application.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

namespace mosaro::test {

struct NotLoadingPreferences {
    const char* name;
    QByteArray bytes;
    QStringList loadLines; // "level: message" of the preferences lines a load writes
    QString why;           // the reason the copy's line gives; empty for a migration
    bool loadReplaces;     // whether the load itself writes over it (migration, unknown version)

    // The line of the save that keeps the copy, "level: message".
    QString keptLine(const QString& copyName) const
    {
        if (why.isEmpty())
            return QStringLiteral("info: kept the version 1 preferences file as %1 before replacing it with version 2")
                .arg(copyName);
        return QStringLiteral("error: kept the preferences file that did not load as %1 before replacing it (%2)")
            .arg(copyName, why);
    }
};

inline std::vector<NotLoadingPreferences> notLoadingPreferences()
{
    const QString migrating = QStringLiteral("info: Migrating preferences v1 → v2");
    return {
        // Without a readable version a file is taken for version 1, which fails to decode.
        {"not JSON",
         "{\"schemaVersion\": 2, \"showInDockIcon\": tru",
         {migrating},
         QStringLiteral("not valid JSON (illegal value at offset 40)"),
         false},
        {"wrong types",
         R"({"schemaVersion": 2, "showInDockIcon": false, "analyticsOptIn": false, "proSettings": {"globalGrid": )"
         R"({"columns": 3, "rows": 2}, "margin": "5", "perDisplayMode": false, "perDisplayGrids": {"overrides": {}}}})",
         {},
         QStringLiteral("\"proSettings.margin\" is not a number"),
         false},
        {"schema 99",
         R"({"schemaVersion": 99, "layout": "new"})",
         {QStringLiteral("error: preferences schemaVersion=99 is newer than supported (2); using defaults without "
                         "overwriting file")},
         QStringLiteral("schemaVersion 99 is newer than supported (2)"),
         false},
        {"schema 0",
         R"({"schemaVersion": 0, "showInDockIcon": true})",
         {QStringLiteral("error: Unknown preferences version 0; returning defaults")},
         QStringLiteral("schemaVersion 0 is not a known version"),
         true},
        {"schema as a string",
         R"({"schemaVersion": "2", "showInDockIcon": true})",
         {migrating},
         QStringLiteral("\"schemaVersion\" is not a number"),
         false},
        {"version 1",
         R"({"schemaVersion": 1, "showInDockIcon": true, "highlightedRegionTintHex": "#3366FF"})",
         {migrating},
         {},
         true},
    };
}

} // namespace mosaro::test
