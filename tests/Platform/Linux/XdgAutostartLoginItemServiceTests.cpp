#include "App/LoginItem/LoginItem.h"
#include "Diagnostics/Log/Log.h"
#include "Platform/Linux/XdgAutostartLoginItemService.h"
#include "support/LogLines.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace mosaro;
using mosaro::test::loggedMessages;

namespace {

using Status = LoginItemService::RegistrationStatus;

QByteArray read(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(bytes);
}

class AutostartTest : public ::testing::Test {
protected:
    void SetUp() override { Log::Store::shared().clear(); }
    QTemporaryDir home;
    QString folder() const { return home.filePath(QStringLiteral("config/autostart")); }
    XdgAutostartLoginItemService service{folder(), QStringLiteral("/usr/bin/mosaro")};
};

// On: the folder is made and the entry written, naming the running program; off: it is gone.
TEST_F(AutostartTest, SwitchingOnWritesTheEntryAndOffRemovesIt)
{
    EXPECT_EQ(service.status(), Status::notRegistered);
    EXPECT_FALSE(isLaunchAtLoginEnabled(service));

    ASSERT_TRUE(setLaunchAtLogin(service, true));
    EXPECT_EQ(service.entryPath(), folder() + QStringLiteral("/mosaro.desktop"));
    const QByteArray entry = read(service.entryPath());
    EXPECT_TRUE(entry.startsWith("[Desktop Entry]\nType=Application\nName=Mosaro\n"));
    EXPECT_TRUE(entry.contains("\nExec=/usr/bin/mosaro\n"));
    EXPECT_TRUE(entry.contains("\nX-GNOME-Autostart-enabled=true\n"));
    EXPECT_TRUE(isLaunchAtLoginEnabled(service));
    EXPECT_EQ(QDir(folder()).entryList(QDir::Files | QDir::Hidden), QStringList{"mosaro.desktop"})
        << "nothing left over from the atomic write";

    ASSERT_TRUE(setLaunchAtLogin(service, true)); // again: rewritten, still on
    EXPECT_TRUE(isLaunchAtLoginEnabled(service));

    ASSERT_TRUE(setLaunchAtLogin(service, false));
    EXPECT_FALSE(QFile::exists(service.entryPath()));
    EXPECT_FALSE(isLaunchAtLoginEnabled(service));
    ASSERT_TRUE(setLaunchAtLogin(service, false)); // already off: nothing to do, no failure

    EXPECT_EQ(loggedMessages(QStringLiteral("lifecycle")),
              (QStringList{"Registered Mosaro as a login item", "Registered Mosaro as a login item",
                           "Unregistered Mosaro as a login item", "Unregistered Mosaro as a login item"}));
}

// An entry the desktop's own settings disabled counts as off; turning it on writes it anew.
TEST_F(AutostartTest, AnEntryThatDisablesItselfCountsAsOff)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    const struct {
        QByteArray text;
        Status status;
    } cases[] = {
        {"[Desktop Entry]\nType=Application\nExec=/opt/mosaro\nHidden=true\n", Status::notRegistered},
        {"[Desktop Entry]\nExec=mosaro\nHidden = True\n", Status::notRegistered},
        {"[Desktop Entry]\nExec=mosaro\nX-GNOME-Autostart-enabled=false\n", Status::notRegistered},
        {"[Desktop Entry]\nExec=mosaro\nHidden=false\nX-GNOME-Autostart-enabled=true\n", Status::enabled},
        {"[Desktop Entry]\nExec=mosaro\n# Hidden=true\n", Status::enabled},
        {"[Desktop Entry]\nExec=mosaro\n[Desktop Action x]\nHidden=true\n", Status::enabled},
        {"", Status::enabled},
    };
    for (const auto& c : cases) {
        write(service.entryPath(), c.text);
        EXPECT_EQ(service.status(), c.status) << c.text.toStdString();
    }
    write(service.entryPath(), cases[0].text);
    ASSERT_TRUE(setLaunchAtLogin(service, true));
    EXPECT_TRUE(isLaunchAtLoginEnabled(service));
    EXPECT_FALSE(read(service.entryPath()).contains("Hidden"));
}

// Where the folder cannot be made (a regular file stands in the way) registration fails with one
// line naming the place; the state stays off and nothing is logged here (the caller logs it).
TEST_F(AutostartTest, AnUnwritablePlaceFailsWithOneLineAndLeavesItOff)
{
    write(home.filePath(QStringLiteral("config")), "not a folder");
    const auto result = setLaunchAtLogin(service, true);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), QStringLiteral("cannot create the autostart folder %1: %2 is not a folder")
                                  .arg(folder(), home.filePath(QStringLiteral("config"))));
    EXPECT_FALSE(result.error().contains('\n'));
    EXPECT_EQ(service.status(), Status::notRegistered);
    EXPECT_FALSE(isLaunchAtLoginEnabled(service));
    EXPECT_TRUE(loggedMessages(QStringLiteral("lifecycle")).isEmpty());
}

TEST(AutostartExec, ProgramPathsAreQuotedAsDesktopEntriesRequire)
{
    EXPECT_EQ(desktopEntryExecValue(QStringLiteral("/usr/bin/mosaro")), QStringLiteral("/usr/bin/mosaro"));
    EXPECT_EQ(desktopEntryExecValue(QStringLiteral("/home/a b/mosaro")), QStringLiteral("\"/home/a b/mosaro\""));
    EXPECT_EQ(desktopEntryExecValue(QStringLiteral("/opt/$x/mo\"s")), QStringLiteral("\"/opt/\\\\$x/mo\\\\\"s\""));
    EXPECT_EQ(desktopEntryExecValue(QStringLiteral("/opt/back\\slash")), QStringLiteral("\"/opt/back\\\\\\\\slash\""));
}

} // namespace
