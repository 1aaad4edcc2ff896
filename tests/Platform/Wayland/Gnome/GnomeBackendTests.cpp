#include "Platform/Wayland/Gnome/GnomeDesktop.h"
#include "Platform/Wayland/Gnome/GnomeExtension.h"
#include "Platform/Wayland/Gnome/GnomeShellChannel.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::Gnome;

namespace {

// Every state the help and --check name, from what the bus and the disk say.
TEST(GnomeExtensionState, FollowsTheAnswerTheRegistryAndTheFolder)
{
    struct Row {
        const char* name;
        ExtensionFacts facts;
        ExtensionState state;
    };
    const auto facts = [](std::optional<QString> answered, bool installed, std::optional<QString> copy, bool fits,
                          bool user, std::optional<int> shell) {
        return ExtensionFacts{
            QStringLiteral("1.2"), std::move(answered), installed, std::move(copy), fits, user, shell};
    };
    const QString ours = QStringLiteral("1.2");
    const QString old = QStringLiteral("1.1");
    const Row rows[] = {
        {"answers with ours", facts(ours, true, ours, true, true, 1), ExtensionState::enabled},
        {"nothing anywhere", facts({}, false, {}, true, true, {}), ExtensionState::notInstalled},
        {"another answers, none of the user's", facts(old, false, {}, true, true, 1), ExtensionState::otherVersion},
        {"user extensions off", facts({}, true, ours, true, false, 2), ExtensionState::userExtensionsOff},
        {"an older copy", facts({}, true, old, true, true, 2), ExtensionState::otherVersion},
        {"a copy for another Shell", facts({}, true, ours, false, true, 4), ExtensionState::otherVersion},
        {"unreadable metadata", facts({}, true, {}, true, true, 2), ExtensionState::otherVersion},
        {"copied after the Shell started", facts({}, true, ours, true, true, {}), ExtensionState::waitingForLogIn},
        {"replaced while the old one runs", facts(old, true, ours, true, true, 1), ExtensionState::waitingForLogIn},
        {"judged out of date at start", facts({}, true, ours, true, true, 4), ExtensionState::waitingForLogIn},
        {"load error", facts({}, true, ours, true, true, 3), ExtensionState::failed},
        {"initialized, not enabled", facts({}, true, ours, true, true, 6), ExtensionState::disabled},
    };
    for (const Row& row : rows)
        EXPECT_EQ(extensionState(row.facts), row.state) << row.name;
}

// gsettings prints lists as GVariant text; the user's own uuids may hold anything.
TEST(GnomeExtensionSettings, ListsReadAndWrittenAsGVariantText)
{
    EXPECT_EQ(parseStringList(QStringLiteral("@as []")), QStringList());
    EXPECT_EQ(parseStringList(QStringLiteral("['a@b', \"c\"]")),
              (QStringList{QStringLiteral("a@b"), QStringLiteral("c")}));
    const QStringList odd{QStringLiteral("it's"), QStringLiteral("back\\slash")};
    EXPECT_EQ(parseStringList(formatStringList(odd)), odd);
    for (const char* bad : {"", "[a]", "['open", "nothing"})
        EXPECT_FALSE(parseStringList(QString::fromLatin1(bad))) << bad;
}

// The copy in the user's folder is replaced when it was made for another Shell, kept when it fits.
TEST(GnomeExtensionInstall, ACopyThatFitsStaysAndAPathUnderAFileFails)
{
    const QString shipped = QStringLiteral(MOSARO_GNOME_EXTENSIONS);
    const QString version = QStringLiteral(MOSARO_VERSION);
    QTemporaryDir dir;
    const QString user = dir.path() + QStringLiteral("/user/mosaro@brenmark.tech");
    const auto isModule = [&] {
        QFile file(user + QStringLiteral("/extension.js"));
        return file.open(QIODevice::ReadOnly) && file.readAll().contains("export default class");
    };
    ASSERT_TRUE(installExtension(shipped, 43, user, version));
    EXPECT_FALSE(isModule());
    ASSERT_TRUE(installExtension(shipped, 48, user, version));
    EXPECT_TRUE(isModule());
    ASSERT_TRUE(installExtension(shipped, 43, user, version));
    QFile mine(user + QStringLiteral("/extension.js"));
    ASSERT_TRUE(mine.open(QIODevice::WriteOnly));
    mine.write("kept");
    mine.close();
    ASSERT_TRUE(installExtension(shipped, 44, user, version));
    ASSERT_TRUE(mine.open(QIODevice::ReadOnly));
    EXPECT_EQ(mine.readAll(), QByteArray("kept"));

    QFile blocker(dir.path() + QStringLiteral("/file"));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    const auto failed = installExtension(shipped, 48, blocker.fileName() + QStringLiteral("/ext"), version);
    ASSERT_FALSE(failed);
    EXPECT_TRUE(failed.error().contains(blocker.fileName())) << failed.error().toStdString();
}

TEST(GnomeKeys, AcceleratorsBetweenGtkAndXkbNotation)
{
    EXPECT_EQ(xkbTextOfAccelerator(QStringLiteral("<Super><Shift>Right")), QStringLiteral("Mod4+Shift+Right"));
    EXPECT_EQ(xkbTextOfAccelerator(QStringLiteral("<Primary><Alt>t")), QStringLiteral("Ctrl+Mod1+t"));
    for (const char* unusable : {"<Hyper>x", "<Super>", "<Super", "<Super>a<Shift>"})
        EXPECT_FALSE(xkbTextOfAccelerator(QString::fromLatin1(unusable))) << unusable;
    EXPECT_EQ(acceleratorOfXkbText(QStringLiteral("Mod4+Ctrl+Mod1+Shift+Return")),
              QStringLiteral("<Super><Control><Alt><Shift>Return"));
}

// What the extension sends is checked field by field: a record short of a field is no window.
TEST(GnomeRecords, HostileRecordsAreNoWindowAndAWorkAreaOutsideIsTheMonitor)
{
    QVariantMap window{{QStringLiteral("id"), QVariant::fromValue(qulonglong(7))},
                       {QStringLiteral("x"), 1},
                       {QStringLiteral("y"), 2},
                       {QStringLiteral("width"), 3},
                       {QStringLiteral("height"), 4},
                       {QStringLiteral("monitor"), 0},
                       {QStringLiteral("pid"), QVariant::fromValue(uint(9))}};
    ASSERT_TRUE(windowRecord(window));
    EXPECT_EQ(windowRecord(window)->frame, (Rect{1, 2, 3, 4}));
    window[QStringLiteral("width")] = QStringLiteral("3");
    EXPECT_FALSE(windowRecord(window));
    window.remove(QStringLiteral("width"));
    EXPECT_FALSE(windowRecord(window));

    QVariantMap monitor{{QStringLiteral("index"), 0},       {QStringLiteral("x"), 0},
                        {QStringLiteral("y"), 0},           {QStringLiteral("width"), 1440},
                        {QStringLiteral("height"), 900},    {QStringLiteral("workX"), 0},
                        {QStringLiteral("workY"), 32},      {QStringLiteral("workWidth"), 1440},
                        {QStringLiteral("workHeight"), 900}};
    ASSERT_TRUE(monitorRecord(monitor));
    EXPECT_EQ(monitorRecord(monitor)->workArea, (Rect{0, 0, 1440, 900}));
    // The Shell's coordinates and the two of Mosaro's, with the primary monitor right of another.
    const GnomeCoordinates c{{1440, 0, 1440, 900}};
    EXPECT_EQ(c.toAccessibility({1440, 32, 480, 434}), (Rect{0, 32, 480, 434}));
    EXPECT_EQ(c.toScreen({1440, 466, 480, 434}), (Rect{0, 0, 480, 434}));
}

} // namespace
