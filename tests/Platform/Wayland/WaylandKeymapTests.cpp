#include "Platform/KeyEvent.h"
#include "Platform/Wayland/WaylandKeymap.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::Wayland;

namespace {

TEST(WaylandKeymap, TranslatesXkbNotationBothWays)
{
    const auto keymap = Keymap::create(QStringLiteral("us"));
    ASSERT_TRUE(keymap);
    constexpr auto cmd = std::uint32_t(CarbonModifier::command);
    constexpr auto shift = std::uint32_t(CarbonModifier::shift);
    constexpr auto ctrl = std::uint32_t(CarbonModifier::control);
    constexpr auto alt = std::uint32_t(CarbonModifier::option);
    struct Row {
        const char* text;
        bool byCode;
        std::optional<KeyCombination> expected;
    };
    const Row rows[] = {
        {"Mod4+Return", false, KeyCombination{36, cmd}},
        {"Mod4+Shift+q", false, KeyCombination{12, cmd | shift}},
        {"mod4+SHIFT+Q", false, KeyCombination{12, cmd | shift}},
        {"Ctrl+Mod1+Left", false, KeyCombination{123, ctrl | alt}},
        {"Control+Alt+Delete", false, KeyCombination{117, ctrl | alt}},
        {"Mod4+36", true, KeyCombination{36, cmd}},
        {"Mod4+1", true, std::nullopt},   // below the first key code
        {"button1", false, std::nullopt}, // a mouse button
        {"Mod2+a", false, std::nullopt},  // Num Lock: no such shortcut modifier
        {"Super+a", false, std::nullopt}, // not one of sway's modifier names
        {"Mod4+NoSuchKey", false, std::nullopt},
        {"Mod4+", false, std::nullopt},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(keymap->combination(QLatin1String(row.text), row.byCode), row.expected);
        if (row.expected && !row.byCode) {
            EXPECT_EQ(keymap->combination(*keymap->bindsymText(*row.expected), false), row.expected);
        }
    }
    EXPECT_EQ(keymap->bindsymText({36, cmd}), QStringLiteral("Mod4+Return"));
    EXPECT_EQ(keymap->bindsymText({123, cmd | shift | ctrl | alt}), QStringLiteral("Mod4+Ctrl+Mod1+Shift+Left"));
}

} // namespace
