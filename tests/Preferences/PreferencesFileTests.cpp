#include "Diagnostics/Log/Log.h"
#include "Preferences/PreferencesFile.h"
#include "Preferences/PreferencesJson.h"
#include "support/LogLines.h"
#include "support/NotLoadingPreferences.h"
#include "support/PreferencesFolder.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace mosaro;

namespace {

class PreferencesFileTest : public test::PreferencesFolderTest {
protected:
    static QStringList logged() { return test::loggedMessages(QStringLiteral("preferences"), true); }
};

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
    ASSERT_EQ(logged().size(), 2);
    EXPECT_EQ(logged()[0], QStringLiteral("info: Migrating preferences v1 → v2"));
    EXPECT_TRUE(logged()[1].startsWith(QStringLiteral("info: kept the version 1 preferences file as ")));
}

// Of the kinds that do not load, those that decode to nothing are errors naming the file, which
// stays as it was; a newer file or one the load replaces gives the defaults.
TEST_F(PreferencesFileTest, UndecodableFilesAreErrorsAndStayUntouched)
{
    int undecodable = 0;
    for (const auto& kind : test::notLoadingPreferences()) {
        write(kind.bytes);
        const auto loaded = loadPreferences(path);
        if (loaded)
            continue;
        ++undecodable;
        EXPECT_TRUE(toString(loaded.error()).startsWith(QStringLiteral("could not decode ") + path)) << kind.name;
        EXPECT_EQ(read(), kind.bytes);
    }
    EXPECT_EQ(undecodable, 3);
    EXPECT_TRUE(toString(loadPreferences(dir.path()).error()).startsWith(QStringLiteral("could not read ")));
}

namespace {

class KeptPreferencesTest : public PreferencesFileTest {
protected:
    QString folder() const { return dir.filePath(QStringLiteral("Mosaro")); }
    QStringList copies() const
    {
        return QDir(folder()).entryList({QStringLiteral("preferences.json.bak-*")}, QDir::Files, QDir::Name);
    }
    QByteArray copy(int index) const { return read(QDir(folder()).filePath(copies().value(index))); }
};

} // namespace

// Whatever did not load as version 2 is copied aside, byte for byte, before anything replaces it;
// the live file is then the document written, and one line names the copy.
TEST_F(KeptPreferencesTest, EveryKindThatDidNotLoadIsKeptBeforeASaveReplacesIt)
{
    for (const auto& kind : test::notLoadingPreferences()) {
        SCOPED_TRACE(kind.name);
        for (const QString& name : QDir(folder()).entryList(QDir::Files))
            QFile::remove(QDir(folder()).filePath(name));
        write(kind.bytes);
        Log::Store::shared().clear();

        // As the settings window's store starts: the load, or the defaults when it fails.
        Preferences live = loadPreferences(path).valueOr(Preferences::defaults());
        QStringList expectedLines = kind.loadLines;
        if (kind.loadReplaces) {
            // The load itself writes the migrated (or default) document: the copy is taken then.
            ASSERT_EQ(copies().size(), 1);
            expectedLines << kind.keptLine(copies()[0]);
        } else {
            EXPECT_TRUE(copies().isEmpty());
            EXPECT_EQ(read(), kind.bytes);
        }

        // A change through the save the store uses.
        live.proSettings.margin = 8;
        ASSERT_TRUE(savePreferences(live, path));
        ASSERT_EQ(copies().size(), 1);
        EXPECT_EQ(copy(0), kind.bytes);
        EXPECT_TRUE(
            copies()[0].contains(QRegularExpression(QStringLiteral("^preferences\\.json\\.bak-\\d{8}T\\d{6}Z$"))))
            << copies()[0].toStdString();
        EXPECT_EQ(read(), PreferencesJson::encode(live));
        if (!kind.loadReplaces)
            expectedLines << kind.keptLine(copies()[0]);
        EXPECT_EQ(logged(), expectedLines);
    }
}

// Root-proof faults: a regular file where the folder should be, and names at the length limit.
TEST_F(KeptPreferencesTest, UnwritablePlacesLoseNothing)
{
    write("mine", dir.filePath(QStringLiteral("blocker")));
    const auto blocked =
        savePreferences(Preferences::defaults(), dir.filePath(QStringLiteral("blocker/Mosaro/p.json")));
    ASSERT_FALSE(blocked);
    EXPECT_EQ(toString(blocked.error()),
              QStringLiteral("could not create folder %1: File exists").arg(dir.filePath(QStringLiteral("blocker"))));
    EXPECT_EQ(read(dir.filePath(QStringLiteral("blocker"))), "mine");

    // No temporary file fits beside this name: nothing is replaced, so nothing is copied or logged.
    const QString longPath = QDir(folder()).filePath(QString(250, u'p'));
    const QByteArray future = R"({"schemaVersion": 99})";
    write(future, longPath);
    Log::Store::shared().clear();
    for (int i = 0; i < 3; ++i) {
        const auto failed = savePreferences(Preferences::defaults(), longPath);
        ASSERT_FALSE(failed);
        EXPECT_EQ(toString(failed.error()), QStringLiteral("could not write %1: File name too long").arg(longPath));
    }
    EXPECT_EQ(read(longPath), future);
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files), QStringList{QString(250, u'p')});
    EXPECT_TRUE(logged().isEmpty());

    // The temporary fits but the copy's name does not: the line says why, and the save goes on.
    const QString longerCopy = QDir(folder()).filePath(QString(240, u'q'));
    write(future, longerCopy);
    ASSERT_TRUE(savePreferences(Preferences::defaults(), longerCopy));
    EXPECT_EQ(read(longerCopy), PreferencesJson::encode(Preferences::defaults()));
    ASSERT_EQ(logged().size(), 1);
    EXPECT_TRUE(logged()[0].startsWith(
        QStringLiteral("error: could not keep a copy of the preferences file that did not load (schemaVersion 99 is "
                       "newer than supported (2)) before replacing it: could not create the copy <private>: File "
                       "name too long; replacing it anyway")))
        << logged()[0].toStdString();
}

TEST(StoredPreferences, ClassifiesWhatASaveWouldReplace)
{
    EXPECT_TRUE(classifyStoredPreferences(PreferencesJson::encode(Preferences::defaults())).loadsAsCurrent);
    // Out-of-range values still load (sanitised): nothing to keep.
    Preferences outOfRange;
    outOfRange.proSettings.globalGrid = {0, 50};
    outOfRange.proSettings.margin = -5;
    EXPECT_TRUE(classifyStoredPreferences(PreferencesJson::encode(outOfRange)).loadsAsCurrent);
    const auto v1 = classifyStoredPreferences(R"({"schemaVersion": 1, "showInDockIcon": false})");
    EXPECT_FALSE(v1.loadsAsCurrent);
    EXPECT_EQ(v1.migratesFrom, 1);
    const auto missing = classifyStoredPreferences(R"({"showInDockIcon": false})");
    EXPECT_EQ(missing.migratesFrom, std::nullopt);
    EXPECT_EQ(missing.whyNotLoaded, QStringLiteral("required key \"schemaVersion\" is missing"));
    EXPECT_EQ(classifyStoredPreferences(R"({"schemaVersion": 1})").whyNotLoaded,
              QStringLiteral("version 1 document: required key \"showInDockIcon\" is missing"));
    EXPECT_EQ(classifyStoredPreferences("[]").whyNotLoaded, QStringLiteral("the top level is not a JSON object"));
    EXPECT_EQ(classifyStoredPreferences(R"({"schemaVersion": -3})").whyNotLoaded,
              QStringLiteral("schemaVersion -3 is not a known version"));
}
