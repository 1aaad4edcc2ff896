#include "Platform/Wayland/Sway/SwayConfig.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <glob.h>
#include <set>

namespace mosaro::Sway {

namespace {

constexpr int maxIncludeDepth = 16;
constexpr int maxFiles = 256;
constexpr qint64 maxFileSize = 4 << 20;
constexpr const char* unreadableMessage = "sway configuration: cannot read %{public}s";

// Splits a command line into words the way sway does: blanks separate, double or single quotes
// group and are removed, a backslash keeps the next character.
QStringList splitWords(const QString& line)
{
    QStringList words;
    QString word;
    bool inWord = false;
    QChar quote;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (c == QLatin1Char('\\') && i + 1 < line.size()) {
            word += line[++i];
            inWord = true;
        } else if (!quote.isNull()) {
            if (c == quote)
                quote = QChar();
            else
                word += c;
        } else if (c == QLatin1Char('"') || c == QLatin1Char('\'')) {
            quote = c;
            inWord = true;
        } else if (c.isSpace()) {
            if (inWord)
                words << word;
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words << word;
    return words;
}

struct Scanner {
    const ConfigFiles& files;
    std::vector<std::pair<QString, QString>> variables; // longest name first, as sway matches them
    std::set<QString> seen;
    std::vector<ConfigBinding> bindings;
    int fileCount = 0;

    QString substitute(const QString& text) const
    {
        QString out;
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (text[i] == QLatin1Char('$')) {
                const auto match = std::find_if(variables.begin(), variables.end(), [&](const auto& v) {
                    return QStringView(text).mid(i).startsWith(v.first);
                });
                if (match != variables.end()) {
                    out += match->second;
                    i += match->first.size() - 1;
                    continue;
                }
            }
            out += text[i];
        }
        return out;
    }

    void setVariable(const QString& name, const QString& value)
    {
        std::erase_if(variables, [&](const auto& v) { return v.first == name; });
        variables.emplace_back(name, value);
        std::stable_sort(variables.begin(), variables.end(),
                         [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
    }

    // `~`, $VARIABLES of the environment, and a path relative to the including file.
    QStringList includePaths(const QString& pattern, const QString& from) const
    {
        QString path = pattern;
        if (path == QLatin1String("~") || path.startsWith(QLatin1String("~/")))
            path = files.environment(QStringLiteral("HOME")) + path.mid(1);
        static const QRegularExpression environmentVariable(QStringLiteral("\\$\\{?([A-Za-z_][A-Za-z0-9_]*)\\}?"));
        QString expanded;
        qsizetype last = 0;
        for (auto it = environmentVariable.globalMatch(path); it.hasNext();) {
            const auto m = it.next();
            expanded += path.mid(last, m.capturedStart() - last) + files.environment(m.captured(1));
            last = m.capturedEnd();
        }
        expanded += path.mid(last);
        if (QDir::isRelativePath(expanded))
            expanded = QFileInfo(from).absolutePath() + QLatin1Char('/') + expanded;
        return files.glob(QDir::cleanPath(expanded));
    }

    void scanFile(const QString& text, const QString& path, int depth)
    {
        ++fileCount;
        seen.insert(QDir::cleanPath(path));
        QStringList blocks;
        const QStringList lines = text.split(QLatin1Char('\n'));
        for (qsizetype n = 0; n < lines.size(); ++n) {
            const int lineNumber = int(n + 1);
            QString line = lines[n].trimmed();
            // A backslash at the end joins the next line.
            while (line.endsWith(QLatin1Char('\\')) && n + 1 < lines.size()) {
                line.chop(1);
                line += QLatin1Char(' ') + lines[++n].trimmed();
            }
            if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
                continue;
            if (line == QLatin1String("}")) {
                if (!blocks.isEmpty())
                    blocks.removeLast();
                continue;
            }
            if (line.endsWith(QLatin1Char('{'))) {
                line.chop(1);
                blocks << line.trimmed();
                continue;
            }
            handle(blocks.isEmpty() ? line : blocks.join(QLatin1Char(' ')) + QLatin1Char(' ') + line, path, lineNumber,
                   depth);
        }
    }

    void handle(const QString& line, const QString& path, int lineNumber, int depth)
    {
        QStringList words = splitWords(line);
        if (words.isEmpty())
            return;
        const QString command = words.takeFirst();
        if (command == QLatin1String("set")) {
            if (words.size() >= 2 && words[0].startsWith(QLatin1Char('$')))
                setVariable(words[0], substitute(words.mid(1).join(QLatin1Char(' '))));
            return;
        }
        for (QString& word : words)
            word = substitute(word);
        if (command == QLatin1String("include")) {
            if (!words.isEmpty())
                include(words.join(QLatin1Char(' ')), path, depth);
            return;
        }
        QString mode = QStringLiteral("default");
        if (command == QLatin1String("mode")) {
            while (!words.isEmpty() && words.first().startsWith(QLatin1String("--")))
                words.removeFirst();
            if (words.size() < 2)
                return;
            mode = words.takeFirst();
            const QString inner = words.takeFirst();
            if (inner != QLatin1String("bindsym") && inner != QLatin1String("bindcode"))
                return;
            addBinding(inner, words, mode, path, lineNumber);
        } else if (command == QLatin1String("bindsym") || command == QLatin1String("bindcode")) {
            addBinding(command, words, mode, path, lineNumber);
        }
    }

    void addBinding(const QString& kind, QStringList words, const QString& mode, const QString& path, int lineNumber)
    {
        ConfigBinding binding;
        binding.mode = mode;
        binding.byCode = kind == QLatin1String("bindcode");
        while (!words.isEmpty() && words.first().startsWith(QLatin1String("--")))
            binding.flags << words.takeFirst();
        // An empty combination ("") binds nothing; sway refuses the line.
        if (words.isEmpty() || words.first().isEmpty())
            return;
        binding.combination = words.takeFirst();
        binding.command = words.join(QLatin1Char(' '));
        binding.file = path;
        binding.line = lineNumber;
        bindings.push_back(std::move(binding));
    }

    void include(const QString& pattern, const QString& from, int depth)
    {
        // No path holds a NUL; sway's own expansion refuses it too.
        if (depth >= maxIncludeDepth || pattern.contains(QChar(0)))
            return;
        for (const QString& path : includePaths(pattern, from)) {
            // sway reads each file once, whatever includes it again.
            if (seen.count(QDir::cleanPath(path)) || fileCount >= maxFiles)
                continue;
            const auto text = files.read(path);
            if (!text) {
                Log::windowmanager().info(unreadableMessage, path);
                continue;
            }
            scanFile(*text, path, depth + 1);
        }
    }
};

} // namespace

ConfigFiles diskConfigFiles()
{
    ConfigFiles files;
    files.read = [](const QString& path) -> std::optional<QString> {
        QFile file(path);
        if (!QFileInfo(path).isFile() || file.size() > maxFileSize || !file.open(QIODevice::ReadOnly))
            return std::nullopt;
        return QString::fromUtf8(file.read(maxFileSize));
    };
    files.glob = [](const QString& pattern) {
        QStringList paths;
        glob_t found{};
        if (::glob(pattern.toLocal8Bit().constData(), 0, nullptr, &found) == 0) {
            for (std::size_t i = 0; i < found.gl_pathc; ++i)
                paths << QString::fromLocal8Bit(found.gl_pathv[i]);
        }
        globfree(&found);
        return paths;
    };
    files.environment = [](const QString& name) { return qEnvironmentVariable(name.toLocal8Bit().constData()); };
    return files;
}

std::vector<ConfigBinding> scanConfig(const QString& text, const QString& path, const ConfigFiles& files)
{
    Scanner scanner{files, {}, {}, {}, 0};
    scanner.scanFile(text, path, 0);
    return std::move(scanner.bindings);
}

namespace {

struct ModifierName {
    const char* name;
    std::uint32_t carbon; // 0: a modifier Mosaro's shortcuts cannot hold
};
// sway's own names, compared without case.
constexpr ModifierName modifierNames[] = {
    {"Shift", std::uint32_t(CarbonModifier::shift)},
    {"Lock", 0},
    {"Ctrl", std::uint32_t(CarbonModifier::control)},
    {"Control", std::uint32_t(CarbonModifier::control)},
    {"Alt", std::uint32_t(CarbonModifier::option)},
    {"Mod1", std::uint32_t(CarbonModifier::option)},
    {"Mod2", 0},
    {"Mod3", 0},
    {"Mod4", std::uint32_t(CarbonModifier::command)},
    {"Mod5", 0},
};

} // namespace

std::unique_ptr<Keymap> Keymap::create(const QString& layout, const QString& variant)
{
    xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context)
        return nullptr;
    const QByteArray layoutName = layout.toUtf8();
    const QByteArray variantName = variant.toUtf8();
    xkb_rule_names names{};
    names.layout = layout.isEmpty() ? nullptr : layoutName.constData();
    names.variant = variant.isEmpty() ? nullptr : variantName.constData();
    xkb_keymap* keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        xkb_context_unref(context);
        return nullptr;
    }
    return std::unique_ptr<Keymap>(new Keymap(context, keymap));
}

Keymap::~Keymap()
{
    xkb_keymap_unref(m_keymap);
    xkb_context_unref(m_context);
}

std::optional<std::uint16_t> Keymap::keyForSymbol(std::uint32_t keysym) const
{
    // The first key of the first layout that gives the symbol on any level.
    const xkb_keycode_t last = xkb_keymap_max_keycode(m_keymap);
    for (xkb_keycode_t key = xkb_keymap_min_keycode(m_keymap); key <= last; ++key) {
        const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(m_keymap, key, 0);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            const xkb_keysym_t* symbols = nullptr;
            const int count = xkb_keymap_key_get_syms_by_level(m_keymap, key, 0, level, &symbols);
            if (std::find(symbols, symbols + std::max(count, 0), keysym) == symbols + std::max(count, 0))
                continue;
            if (key >= x11KeycodeOffset) {
                if (const auto code = macKeyCodeForEvdev(key - x11KeycodeOffset))
                    return code;
            }
        }
    }
    return std::nullopt;
}

std::optional<KeyCombination> Keymap::combination(const QString& text, bool byCode) const
{
    const QStringList parts = text.split(QLatin1Char('+'));
    if (parts.isEmpty() || parts.last().isEmpty())
        return std::nullopt;
    KeyCombination result;
    for (qsizetype i = 0; i + 1 < parts.size(); ++i) {
        const auto m = std::find_if(std::begin(modifierNames), std::end(modifierNames), [&](const ModifierName& n) {
            return parts[i].compare(QLatin1String(n.name), Qt::CaseInsensitive) == 0;
        });
        if (m == std::end(modifierNames) || m->carbon == 0)
            return std::nullopt;
        result.modifiers |= m->carbon;
    }
    const QString key = parts.last();
    if (byCode) {
        bool ok = false;
        const uint code = key.toUInt(&ok);
        if (!ok || code < x11KeycodeOffset)
            return std::nullopt;
        const auto mac = macKeyCodeForEvdev(code - x11KeycodeOffset);
        if (!mac)
            return std::nullopt;
        result.keyCode = *mac;
        return result;
    }
    const QByteArray name = key.toUtf8();
    xkb_keysym_t keysym = xkb_keysym_from_name(name.constData(), XKB_KEYSYM_NO_FLAGS);
    if (keysym == XKB_KEY_NoSymbol)
        keysym = xkb_keysym_from_name(name.constData(), XKB_KEYSYM_CASE_INSENSITIVE);
    if (keysym == XKB_KEY_NoSymbol)
        return std::nullopt;
    const auto code = keyForSymbol(keysym);
    if (!code)
        return std::nullopt;
    result.keyCode = *code;
    return result;
}

std::optional<QString> Keymap::bindsymText(KeyCombination combination) const
{
    const auto evdev = evdevForMacKeyCode(combination.keyCode);
    if (!evdev)
        return std::nullopt;
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(m_keymap, *evdev + x11KeycodeOffset, 0, 0, &symbols) < 1)
        return std::nullopt;
    char name[64];
    if (xkb_keysym_get_name(symbols[0], name, sizeof name) <= 0)
        return std::nullopt;
    QString text;
    const std::pair<std::uint32_t, const char*> order[] = {{std::uint32_t(CarbonModifier::command), "Mod4+"},
                                                           {std::uint32_t(CarbonModifier::control), "Ctrl+"},
                                                           {std::uint32_t(CarbonModifier::option), "Mod1+"},
                                                           {std::uint32_t(CarbonModifier::shift), "Shift+"}};
    for (const auto& [bit, prefix] : order) {
        if (combination.modifiers & bit)
            text += QLatin1String(prefix);
    }
    return text + QString::fromUtf8(name);
}

std::optional<QString> Keymap::printed(std::uint16_t keyCode) const
{
    const auto evdev = evdevForMacKeyCode(keyCode);
    if (!evdev)
        return std::nullopt;
    const xkb_keysym_t* symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(m_keymap, *evdev + x11KeycodeOffset, 0, 0, &symbols) < 1)
        return std::nullopt;
    const char32_t character = xkb_keysym_to_utf32(symbols[0]);
    if (character < 0x20 || character == 0x7F)
        return std::nullopt;
    return QString::fromUcs4(&character, 1);
}

} // namespace mosaro::Sway
