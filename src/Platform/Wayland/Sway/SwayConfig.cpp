#include "Platform/Wayland/Sway/SwayConfig.h"

#include "Diagnostics/Log/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

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

} // namespace mosaro::Sway
