#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

// The user's own key bindings, read from sway's configuration the way sway reads it: `set $var`,
// `include` (globs, `~`, environment variables, paths relative to the including file), blocks
// (`mode "name" { ... }`, `bindsym { ... }`), line continuations and comments. Only bindings of
// the default mode are live everywhere; those of other modes are kept with their mode's name.
namespace mosaro::Sway {

struct ConfigBinding {
    QString mode = QStringLiteral("default");
    bool byCode = false; // bindcode rather than bindsym
    QStringList flags;   // "--no-repeat", "--release", ...
    QString combination; // variables resolved: "Mod4+Return"
    QString command;     // "exec foot"
    QString file;
    int line = 0;
    bool isGlobal() const { return mode == QLatin1String("default"); }
};

// Where the scanner gets files from: the disk in the product, a table in tests.
struct ConfigFiles {
    std::function<std::optional<QString>(const QString& path)> read;
    // The existing paths an include pattern names, sorted; the pattern is absolute, `~` and
    // environment variables already expanded.
    std::function<QStringList(const QString& pattern)> glob;
    std::function<QString(const QString& name)> environment;
};
ConfigFiles diskConfigFiles();

// `text` is the main file's content (as get_config returns it), `path` where it lives.
std::vector<ConfigBinding> scanConfig(const QString& text, const QString& path, const ConfigFiles& files);

} // namespace mosaro::Sway
