#include "Platform/Linux/LinuxSystemInfo.h"

#include "support/QtPrinters.h"
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/utsname.h>

using namespace mosaro;

namespace {

class LinuxSystemInfoTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        utsname info{};
        ASSERT_EQ(::uname(&info), 0);
        kernel = QString::fromUtf8(info.release);
        machine = info.machine;
    }
    QString write(const QString& name, const QByteArray& bytes)
    {
        QFile file(dir.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }
    // A path that cannot be read, even by root: it runs through a regular file.
    QString unreadable() { return write(QStringLiteral("regular"), "x") + QStringLiteral("/below"); }

    QTemporaryDir dir;
    QString kernel;
    QByteArray machine;
};

TEST(OsRelease, PrettyNameIsUnquotedAndUnescaped)
{
    EXPECT_EQ(LinuxOperatingSystemInfo::prettyName("NAME=\"Debian GNU/Linux\"\n"
                                                   "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n"),
              "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(LinuxOperatingSystemInfo::prettyName("PRETTY_NAME='Arch Linux'"), "Arch Linux");
    EXPECT_EQ(LinuxOperatingSystemInfo::prettyName("PRETTY_NAME=Gentoo"), "Gentoo");
    EXPECT_EQ(LinuxOperatingSystemInfo::prettyName(R"(PRETTY_NAME="Say \"hi\" \\ o/")"), R"(Say "hi" \ o/)");
    EXPECT_EQ(LinuxOperatingSystemInfo::prettyName("# PRETTY_NAME=commented\nNAME=x\n"), "");
}

TEST_F(LinuxSystemInfoTest, VersionTextNamesTheDistributionAndTheKernel)
{
    const QString osRelease = write(QStringLiteral("os-release"), "PRETTY_NAME=\"Fedora Linux 40 (Workstation)\"\n");
    EXPECT_EQ(LinuxOperatingSystemInfo({unreadable(), osRelease}).versionText(),
              "Fedora Linux 40 (Workstation), kernel " + kernel);
    // Without a readable os-release, or without the name in it, it is plain Linux.
    EXPECT_EQ(LinuxOperatingSystemInfo({unreadable()}).versionText(), "Linux, kernel " + kernel);
    EXPECT_EQ(LinuxOperatingSystemInfo({write(QStringLiteral("bare"), "ID=x\n")}).versionText(),
              "Linux, kernel " + kernel);
}

TEST_F(LinuxSystemInfoTest, HardwareModelFromDmiAndMachineFromUname)
{
    const LinuxHardwareInfo info(write(QStringLiteral("product_name"), "20XW0055GE\n"));
    EXPECT_EQ(info.value(QStringLiteral("hw.model")), QByteArray("20XW0055GE"));
    EXPECT_EQ(info.value(QStringLiteral("hw.machine")), machine);
    EXPECT_EQ(info.value(QStringLiteral("hw.other")), std::nullopt);

    EXPECT_EQ(LinuxHardwareInfo(unreadable()).value(QStringLiteral("hw.model")), std::nullopt);
    EXPECT_EQ(LinuxHardwareInfo(write(QStringLiteral("blank"), " \n")).value(QStringLiteral("hw.model")), std::nullopt);
}

} // namespace
