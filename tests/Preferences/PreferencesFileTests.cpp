#include "Diagnostics/Log.h"
#include "Preferences/Migrations.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace mosaro;

namespace {

class PreferencesFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        QDir().mkpath(dir.filePath(QStringLiteral("Mosaro")));
        Log::Store::shared().clear();
    }

    void write(const QByteArray& bytes, const QString& where = {})
    {
        QFile file(where.isEmpty() ? path : where);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }

    QByteArray read(const QString& where = {}) const
    {
        QFile file(where.isEmpty() ? path : where);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
    }

    // "level: message" of every preferences entry so far.
    QStringList logged() const
    {
        QStringList lines;
        for (const auto& entry : Log::Store::shared().entries()) {
            if (entry.category == QStringLiteral("preferences"))
                lines << Log::levelName(entry.level) + QStringLiteral(": ") + entry.message;
        }
        return lines;
    }

    QTemporaryDir dir;
    QString path = dir.filePath(QStringLiteral("Mosaro/preferences.json"));
};

QByteArray v2(const char* margin, const char* globalGrid = R"({"columns": 3, "rows": 2})", const char* overrides = "{}")
{
    return QByteArray(R"({"schemaVersion": 2, "showInDockIcon": false, "analyticsOptIn": false, "proSettings": {)") +
           R"("globalGrid": )" + globalGrid + R"(, "margin": )" + margin +
           R"(, "perDisplayMode": true, "perDisplayGrids": {"overrides": )" + overrides + "}}}";
}

} // namespace

TEST_F(PreferencesFileTest, MissingFileGivesDefaultsAndVersionOneIsMigrated)
{
    EXPECT_EQ(loadPreferences(path).valueOr({}), Preferences::defaults());
    EXPECT_EQ(read(), "<missing>");
    EXPECT_TRUE(preferencesFileURL().endsWith(QStringLiteral("/Mosaro/preferences.json")));

    write(R"({"showInDockIcon": true, "schemaVersion": 1, "highlightedRegionTintHex": "#3366FF", "old": 5})");
    Preferences expected;
    expected.showInDockIcon = true;
    expected.highlightedRegionTintHex = QStringLiteral("#3366FF");
    EXPECT_EQ(loadPreferences(path).valueOr({}), expected);
    EXPECT_EQ(read(), PreferencesJson::encode(expected));
    EXPECT_EQ(logged(), QStringList{QStringLiteral("info: Migrating preferences v1 → v2")});
}

TEST_F(PreferencesFileTest, VersionTwoIsSanitizedButNotRewritten)
{
    const QByteArray odd = v2("-5", R"({"columns": 0, "rows": 50})");
    write(odd);
    auto loaded = loadPreferences(path).valueOr({});
    EXPECT_EQ(loaded.proSettings.globalGrid, (GridDimensions{1, 20}));
    EXPECT_EQ(loaded.proSettings.margin, 0);
    EXPECT_EQ(read(), odd);

    write(v2("100", R"({"columns": 3, "rows": 2})", R"({"Alpha": {"columns": 40, "rows": 2}})"));
    loaded = loadPreferences(path).valueOr({});
    EXPECT_EQ(loaded.proSettings.margin, 64);
    EXPECT_EQ(loaded.proSettings.perDisplayGrids.overrides.at(QStringLiteral("Alpha")), (GridDimensions{40, 2}));
    EXPECT_EQ(loaded.lastSeenAppVersion, std::nullopt);
    ASSERT_TRUE(savePreferences(loaded, path));
    EXPECT_FALSE(read().contains("lastSeenAppVersion"));
    EXPECT_TRUE(logged().isEmpty());
}

TEST_F(PreferencesFileTest, OtherVersionsGiveDefaults)
{
    const QByteArray future = R"({"schemaVersion": 7, "layout": "new"})";
    write(future);
    EXPECT_EQ(loadPreferences(path).valueOr({}), Preferences::defaults());
    EXPECT_EQ(read(), future);

    write(R"({"schemaVersion": 0, "showInDockIcon": true})");
    EXPECT_EQ(loadPreferences(path).valueOr({}), Preferences::defaults());
    EXPECT_EQ(read(), PreferencesJson::encode(Preferences::defaults()));
    EXPECT_EQ(logged(), (QStringList{QStringLiteral("error: preferences schemaVersion=7 is newer than supported (2); "
                                                    "using defaults without overwriting file"),
                                     QStringLiteral("error: Unknown preferences version 0; returning defaults")}));
}

TEST_F(PreferencesFileTest, UndecodableFilesAreErrorsAndStayUntouched)
{
    for (const QByteArray& bytes :
         {QByteArray(R"({"schemaVersion": "2", "showInDockIcon": false})"), QByteArray(R"({"showInDockIcon": true})"),
          QByteArray("\x89PNG\r\n"), v2("0").chopped(9), v2("2.5"), v2("0", R"({"columns": 3})")}) {
        write(bytes);
        Log::Store::shared().clear();
        const auto loaded = loadPreferences(path);
        ASSERT_FALSE(loaded) << bytes.toStdString();
        EXPECT_TRUE(toString(loaded.error()).startsWith(QStringLiteral("could not decode ") + path));
        EXPECT_EQ(read(), bytes);
        EXPECT_TRUE(logged().isEmpty() ||
                    logged() == QStringList{QStringLiteral("info: Migrating preferences v1 → v2")});
    }
    EXPECT_TRUE(toString(loadPreferences(dir.path()).error()).startsWith(QStringLiteral("could not read ")));
}

TEST_F(PreferencesFileTest, SaveCreatesFoldersAndFailedSavesKeepTheOldFile)
{
    const QString nested = dir.filePath(QStringLiteral("a/b/preferences.json"));
    Preferences changed;
    changed.proSettings.margin = 8;
    ASSERT_TRUE(savePreferences(changed, nested));
    EXPECT_EQ(loadPreferences(nested).valueOr({}), changed);
    EXPECT_EQ(QDir(dir.filePath(QStringLiteral("a/b"))).entryList(QDir::Files), QStringList{"preferences.json"});

    write("file", dir.filePath(QStringLiteral("Blocked")));
    EXPECT_EQ(toString(savePreferences(changed, dir.filePath(QStringLiteral("Blocked/p.json"))).error()),
              QStringLiteral("could not create folder ") + dir.filePath(QStringLiteral("Blocked")));

    const QByteArray old = R"({"schemaVersion": 1, "showInDockIcon": true})";
    if (geteuid() != 0) { // root ignores folder permissions
        write(old);
        QFile::setPermissions(dir.filePath(QStringLiteral("Mosaro")), QFile::ReadOwner | QFile::ExeOwner);
        EXPECT_TRUE(toString(savePreferences(changed, path).error()).startsWith(QStringLiteral("could not write ")));
        EXPECT_TRUE(loadPreferences(path).valueOr({}).showInDockIcon); // a failed migration write-back is dropped
        QFile::setPermissions(dir.filePath(QStringLiteral("Mosaro")),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        EXPECT_EQ(read(), old);
    }
    // For any user: no temporary file fits beside a name already at the length limit.
    const QString longPath = dir.filePath(QStringLiteral("Mosaro/") + QString(250, u'p'));
    write(old, longPath);
    EXPECT_TRUE(toString(savePreferences(changed, longPath).error()).startsWith(QStringLiteral("could not write ")));
    EXPECT_TRUE(loadPreferences(longPath).valueOr({}).showInDockIcon);
    EXPECT_EQ(read(longPath), old);
}
