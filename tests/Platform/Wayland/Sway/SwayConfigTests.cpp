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

} // namespace
