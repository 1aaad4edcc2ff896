#include "Platform/HostTexts.h"

#include <gtest/gtest.h>

using namespace mosaro;

// The table is indexed by the enumeration, and every Linux wording has left the original
// platform's names behind.
TEST(HostTexts, EveryEntrySitsAtItsIndexAndNamesNoOriginalFacility)
{
    const auto table = hostTextTable();
    for (std::size_t i = 0; i < table.size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(table[i].id), i);
        const QString linux = QString::fromUtf8(table[i].linux);
        EXPECT_NE(linux, QString::fromUtf8(table[i].original)) << i;
        for (const char* word :
             {"macOS", "Mac", "System Settings", "Accessibility", "menu bar", "Dock", "⌘", "⌥", "⌃", "⇧"})
            EXPECT_FALSE(linux.contains(QString::fromUtf8(word))) << linux.toStdString() << " names " << word;
    }
    EXPECT_EQ(hostText(HostText::welcomeSubtitle),
              QStringLiteral("A keyboard-driven window tiler for Linux desktops."));
    EXPECT_EQ(originalHostText(HostText::welcomeSubtitle), QStringLiteral("A keyboard-driven window tiler for macOS."));
    EXPECT_EQ(originalHostText(HostText::launchAtLoginFooter),
              QStringLiteral("Automatically start Mosaro when you log in to your Mac."));
    EXPECT_EQ(hostText(HostText::launchAtLoginFooter),
              QStringLiteral("Automatically start Mosaro when you log in to your desktop."));
}
