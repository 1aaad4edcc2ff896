#include "Diagnostics/Log/Log.h"
#include "Preferences/PreferencesJson.h"
#include "Preferences/PreferencesStore.h"
#include "support/LogLines.h"
#include "support/PreferencesFolder.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <gtest/gtest.h>

using namespace mosaro;

namespace {

class PreferencesStoreTest : public test::PreferencesFolderTest {
protected:
    // Puts the file's modification time an hour back, so any write shows.
    QDateTime backdate()
    {
        QFile file(path);
        const QDateTime past = QDateTime::currentDateTime().addSecs(-3600);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(past, QFileDevice::FileModificationTime));
        return QFileInfo(path).lastModified();
    }
    QDateTime modified() const { return QFileInfo(path).lastModified(); }

    // Counts notifications and remembers whether each came while reloading.
    void observe(PreferencesStore& store)
    {
        QObject::connect(&store, &PreferencesStore::preferencesChanged,
                         [this, &store] { changes.push_back(store.isReloading()); });
        QObject::connect(&store, &PreferencesStore::isReloadingChanged,
                         [this](bool reloading) { reloadingChanges.push_back(reloading); });
    }

    static Preferences withColumns(std::int64_t columns)
    {
        Preferences p;
        p.proSettings.globalGrid.columns = columns;
        return p;
    }

    std::vector<bool> changes;
    std::vector<bool> reloadingChanges;
};

TEST_F(PreferencesStoreTest, EveryWriteSavesButOnlyADifferentDocumentNotifies)
{
    PreferencesStore store(Preferences::defaults(), path);
    observe(store);
    EXPECT_FALSE(QFile::exists(path)) << "construction writes nothing";

    store.setPreferences(Preferences::defaults());
    EXPECT_TRUE(changes.empty());
    EXPECT_EQ(read(), PreferencesJson::encode(Preferences::defaults())) << "an equal document is still saved";

    const QDateTime before = backdate();
    store.setPreferences(withColumns(5));
    EXPECT_EQ(changes, std::vector<bool>{false});
    EXPECT_EQ(read(), PreferencesJson::encode(withColumns(5)));
    EXPECT_GT(modified(), before);

    // The grid settings group notifies even when nothing in it changed.
    const QDateTime backdated = backdate();
    store.setProSettings(store.proSettings());
    EXPECT_EQ(changes, (std::vector<bool>{false, false}));
    EXPECT_GT(modified(), backdated);

    ProSettings pro = store.proSettings();
    pro.margin = 12;
    store.setProSettings(pro);
    EXPECT_EQ(changes.size(), 3u);
    EXPECT_EQ(store.preferences().proSettings.margin, 12);
    EXPECT_EQ(loadPreferences(path)->proSettings.margin, 12);
    EXPECT_TRUE(reloadingChanges.empty());
}

TEST_F(PreferencesStoreTest, ReloadTakesTheFilesDocumentWithoutWritingIt)
{
    const QByteArray onDisk = PreferencesJson::encode(withColumns(4));
    write(onDisk);
    backdate();
    PreferencesStore store(PreferencesStore::loadInitial(path), path);
    observe(store);
    ASSERT_EQ(store.preferences(), withColumns(4));

    // The same document: nothing happens at all.
    store.reloadFromDisk();
    EXPECT_TRUE(changes.empty());
    EXPECT_TRUE(reloadingChanges.empty());

    // The overlay rewrote the file: observers hear it while the guard is up, and the file keeps
    // its bytes and its time.
    const QByteArray resized = PreferencesJson::encode(withColumns(6));
    write(resized);
    const QDateTime resizedStamp = backdate();
    store.reloadFromDisk();
    EXPECT_EQ(store.preferences(), withColumns(6));
    EXPECT_EQ(changes, std::vector<bool>{true});
    EXPECT_EQ(reloadingChanges, (std::vector<bool>{true, false}));
    EXPECT_FALSE(store.isReloading());
    EXPECT_EQ(read(), resized);
    EXPECT_EQ(modified(), resizedStamp);
}

TEST_F(PreferencesStoreTest, AMissingOrUnreadableFileReloadsAsDefaultsWithoutWritingThem)
{
    write(PreferencesJson::encode(withColumns(7)));
    PreferencesStore store(PreferencesStore::loadInitial(path), path);
    observe(store);

    QFile::remove(path);
    store.reloadFromDisk();
    EXPECT_EQ(store.preferences(), Preferences::defaults());
    EXPECT_EQ(changes.size(), 1u);
    EXPECT_FALSE(QFile::exists(path)) << "a reload never recreates the file";
    store.setProSettings(store.proSettings());
    EXPECT_TRUE(QFile::exists(path)) << "the next edit does";

    // A version-2 document that does not decode: the defaults, and the broken file stays as it is.
    store.setProSettings(withColumns(9).proSettings);
    const QByteArray broken = R"({"schemaVersion": 2, "showInDockIcon": "yes"})";
    write(broken);
    store.reloadFromDisk();
    EXPECT_EQ(store.preferences(), Preferences::defaults());
    EXPECT_EQ(read(), broken);
    EXPECT_EQ(PreferencesStore::loadInitial(path), Preferences::defaults());
}

TEST_F(PreferencesStoreTest, AFailedSaveIsLoggedAndTheNewValueKept)
{
    // A folder that cannot exist: its parent is a regular file.
    write("not a folder");
    const QString blocked = path + QStringLiteral("/Mosaro/preferences.json");
    PreferencesStore store(Preferences::defaults(), blocked);
    store.setPreferences(withColumns(8));
    EXPECT_EQ(store.preferences(), withColumns(8));

    EXPECT_EQ(test::loggedMessages(QStringLiteral("preferences"), true),
              QStringList{"error: Failed to persist preferences: <private>"});
}

} // namespace
