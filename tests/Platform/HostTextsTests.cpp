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

// The forms first written stay beside the Linux ones: the key symbols, the menu's slot.
TEST(HostTexts, OriginalFormsStayBesideTheLinuxOnes)
{
    const struct {
        HostText id;
        const char* original;
        const char* linux;
    } rows[] = {
        {HostText::modifierCommand, "⌘", "Super+"},
        {HostText::modifierControl, "⌃", "Ctrl+"},
        {HostText::modifierOption, "⌥", "Alt+"},
        {HostText::modifierShift, "⇧", "Shift+"},
        {HostText::keyReturn, "↩", "Return"},
        {HostText::keyLeftArrow, "←", "Left"},
        {HostText::quitKeyEquivalent, "⌘Q", "Ctrl+Q"},
        {HostText::menuPermissionGranted, "Accessibility permission granted", "Window manager connected"},
        {HostText::menuOpenAccessibilitySettings, "Open Accessibility Settings…", "Open Window Manager Help…"},
        {HostText::welcomeAllowButton, "Allow Accessibility Access", "Check Window Manager"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(originalHostText(row.id), QString::fromUtf8(row.original));
        EXPECT_EQ(hostText(row.id), QString::fromUtf8(row.linux));
    }
    EXPECT_EQ(originalHostText(HostText::keypadKey).arg(7), QStringLiteral("7\u20E3"));
    EXPECT_EQ(hostText(HostText::keypadKey).arg(7), QStringLiteral("Num+7"));
    EXPECT_EQ(originalHostText(HostText::modifierFunction), QStringLiteral("\U0001F310\uFE0E"));
}
