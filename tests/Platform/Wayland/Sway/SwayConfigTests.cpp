#include "Platform/KeyEvent.h"
#include "Platform/Wayland/Sway/SwayConfig.h"

#include <gtest/gtest.h>

#include <QMap>
#include <QRegularExpression>

using namespace mosaro;
using namespace mosaro::Sway;

namespace {

// Files in memory; globs match with the shell's rules.
ConfigFiles filesOf(const QMap<QString, QString>& files)
{
    ConfigFiles f;
    f.read = [files](const QString& path) -> std::optional<QString> {
        if (!files.contains(path))
            return std::nullopt;
        return files[path];
    };
    f.glob = [files](const QString& pattern) {
        const QRegularExpression re(QRegularExpression::wildcardToRegularExpression(pattern));
        QStringList found;
        for (const QString& path : files.keys())
            if (re.match(path).hasMatch())
                found << path;
        return found;
    };
    f.environment = [](const QString& name) {
        return name == QLatin1String("HOME") ? QStringLiteral("/home/u") : QStringLiteral("/xdg");
    };
    return f;
}

QStringList describe(const std::vector<ConfigBinding>& bindings)
{
    QStringList out;
    for (const auto& b : bindings)
        out << QStringLiteral("%1|%2%3|%4|%5|%6:%7")
                   .arg(b.mode, b.byCode ? QStringLiteral("code ") : QString(), b.flags.join(QLatin1Char(' ')),
                        b.combination, b.command, b.file)
                   .arg(b.line);
    return out;
}

TEST(SwayConfigScanner, ResolvesVariablesIncludesBlocksAndModes)
{
    const QString main = QStringLiteral("/home/u/.config/sway/config");
    struct Row {
        const char* name;
        QString text;
        QMap<QString, QString> files;
        QStringList expected;
    };
    const Row rows[] = {
        {"Debian's variables",
         "set $mod Mod4\nset $term foot\n# bindsym $mod+x nothing\n    bindsym $mod+Return exec $term\n",
         {},
         {"default||Mod4+Return|exec foot|" + main + ":4"}},
        {"the longest variable name wins",
         "set $m Mod1\nset $mod Mod4\nbindsym $mod+x exec $m\n",
         {},
         {"default||Mod4+x|exec Mod1|" + main + ":3"}},
        {"flags, bindcode and a continued line",
         "bindsym --release --no-repeat Mod4+x \\\n  exec a\nbindcode Mod4+36 exec b\n",
         {},
         {"default|--release --no-repeat|Mod4+x|exec a|" + main + ":1", "default|code |Mod4+36|exec b|" + main + ":3"}},
        {"a mode block, a bindsym block, a bar's buttons",
         "mode \"resize\" {\n bindsym Left resize shrink width 10px\n}\nbindsym {\n Mod4+a exec a\n}\n"
         "bar {\n bindsym button4 nop\n}\n",
         {},
         {"resize||Left|resize shrink width 10px|" + main + ":2", "default||Mod4+a|exec a|" + main + ":5"}},
        {"includes: relative glob in order, ~, the environment, each file once",
         "set $dir conf.d\ninclude $dir/*\ninclude ~/more\ninclude $XDG_CONFIG_HOME/x\ninclude /missing\n",
         {{"/home/u/.config/sway/conf.d/b", "bindsym Mod4+b exec b\n"},
          {"/home/u/.config/sway/conf.d/a", "bindsym Mod4+a exec a\ninclude ../config\n"},
          {"/home/u/more", "bindsym Mod4+m exec m\ninclude /home/u/more\n"},
          {"/xdg/x", "bindsym Mod4+x exec x\n"}},
         {"default||Mod4+a|exec a|/home/u/.config/sway/conf.d/a:1",
          "default||Mod4+b|exec b|/home/u/.config/sway/conf.d/b:1", "default||Mod4+m|exec m|/home/u/more:1",
          "default||Mod4+x|exec x|/xdg/x:1"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(describe(scanConfig(row.text, main, filesOf(row.files))), row.expected);
    }
}

TEST(SwayKeymap, TranslatesSwaysNotationBothWays)
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
