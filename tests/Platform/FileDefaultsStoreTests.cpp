#include "Diagnostics/Log/Log.h"
#include "Platform/FileDefaultsStore.h"
#include "support/LogLines.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>

using namespace mosaro;

namespace {

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

qsizetype lifecycleErrors()
{
    return test::loggedMessages(QStringLiteral("lifecycle"), true)
        .filter(QRegularExpression(QStringLiteral("^error: ")))
        .size();
}

class FileDefaultsStoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        path = dir.filePath("Mosaro/defaults.json");
        Log::Store::shared().clear();
    }
    QTemporaryDir dir;
    QString path;
};

TEST_F(FileDefaultsStoreTest, ValuesSurviveANewProcess)
{
    {
        FileDefaultsStore store(path);
        EXPECT_FALSE(QFile::exists(path)); // nothing written before the first change
        store.setObject("KeyboardShortcuts_trigger", QStringLiteral("{\"carbonKeyCode\":36,\"carbonModifiers\":256}"));
        store.setBool("flag", true);
        store.setObject("count", 42);
        store.setObject("ratio", 0.25);
    }
    FileDefaultsStore reopened(path);
    EXPECT_EQ(reopened.string("KeyboardShortcuts_trigger"), "{\"carbonKeyCode\":36,\"carbonModifiers\":256}");
    EXPECT_EQ(reopened.object("flag")->typeId(), QMetaType::Bool);
    EXPECT_EQ(reopened.object("count")->toLongLong(), 42);
    EXPECT_EQ(reopened.object("ratio")->toDouble(), 0.25);
    EXPECT_TRUE(QJsonDocument::fromJson(readAll(path)).isObject());
    EXPECT_EQ(lifecycleErrors(), 0);
    EXPECT_TRUE(FileDefaultsStore::defaultPath().endsWith("/Mosaro/defaults.json"));
}

TEST_F(FileDefaultsStoreTest, FilesThatDidNotLoadAreKeptAsideAtEveryReplacement)
{
    const QByteArray corrupt = "{\"KeyboardShortcuts_trigger\": tru";
    path = dir.filePath("defaults.json");
    writeAll(path, corrupt);
    const auto copies = [this] {
        return QDir(dir.path()).entryList({QStringLiteral("defaults.json.bak-*")}, QDir::Files, QDir::Name);
    };

    FileDefaultsStore store(path);
    EXPECT_EQ(lifecycleErrors(), 1);
    EXPECT_EQ(store.object("KeyboardShortcuts_trigger"), std::nullopt);
    store.removeObject("absent");
    EXPECT_EQ(readAll(path), corrupt);
    EXPECT_TRUE(copies().isEmpty());

    // The first change keeps the bytes and says where; later changes over a good file keep nothing.
    store.setBool("flag", false);
    ASSERT_EQ(copies().size(), 1);
    EXPECT_EQ(readAll(dir.filePath(copies()[0])), corrupt);
    EXPECT_EQ(lifecycleErrors(), 2);
    EXPECT_EQ(Log::Store::shared().entries().back().message,
              QStringLiteral("kept the defaults file that did not load as %1 before replacing it (not valid JSON "
                             "(illegal value at offset 31))")
                  .arg(copies()[0]));
    store.setBool("flag", true);
    EXPECT_EQ(copies().size(), 1);
    EXPECT_EQ(FileDefaultsStore(path).object("flag"), QVariant(true));

    // A valid document that is not an object is just as unusable, and an earlier copy stays.
    writeAll(path, "[1, 2]");
    FileDefaultsStore arrayStore(path);
    EXPECT_EQ(arrayStore.object("flag"), std::nullopt);
    arrayStore.setBool("other", true);
    ASSERT_EQ(copies().size(), 2);
    QList<QByteArray> kept{readAll(dir.filePath(copies()[0])), readAll(dir.filePath(copies()[1]))};
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(kept, (QList<QByteArray>{"[1, 2]", corrupt}));
    EXPECT_EQ(lifecycleErrors(), 4);
}

TEST_F(FileDefaultsStoreTest, UnwritableLocationKeepsValuesInMemory)
{
    writeAll(dir.filePath("blocker"), "not a folder");
    FileDefaultsStore store(dir.filePath("blocker/defaults.json"));
    store.setObject("key", "value");
    EXPECT_EQ(store.string("key"), "value");
    EXPECT_EQ(lifecycleErrors(), 1);

    // Values JSON cannot hold are refused with a log line, not stored.
    FileDefaultsStore good(path);
    good.setObject("nothing", QVariant());
    EXPECT_EQ(good.object("nothing"), std::nullopt);
    EXPECT_EQ(lifecycleErrors(), 2);
}

} // namespace
