#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct xkb_context;
struct xkb_keymap;

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

// A key with its modifiers as the hotkey service takes them: a virtual key code and a shortcut
// modifier mask (command, shift, option, control).
struct KeyCombination {
    std::uint16_t keyCode = 0;
    std::uint32_t modifiers = 0;
    friend bool operator==(const KeyCombination&, const KeyCombination&) = default;
};

// Key names and codes of one keyboard layout, between sway's notation and the portable key codes.
class Keymap {
public:
    // An empty layout takes the XKB_DEFAULT_* environment, as sway does for its keyboards.
    static std::unique_ptr<Keymap> create(const QString& layout = {}, const QString& variant = {});
    ~Keymap();
    Keymap(const Keymap&) = delete;
    Keymap& operator=(const Keymap&) = delete;

    // "Mod4+Shift+q" of a bindsym (key names) or "Mod4+36" of a bindcode (XKB key codes);
    // nothing for mouse buttons, unknown names and modifiers Mosaro's shortcuts cannot hold.
    std::optional<KeyCombination> combination(const QString& text, bool byCode) const;
    // The bindsym text of a combination, e.g. "Mod4+Return"; nothing for a key the layout lacks.
    std::optional<QString> bindsymText(KeyCombination combination) const;
    // What the key prints with no modifier held; nothing for keys that print nothing.
    std::optional<QString> printed(std::uint16_t keyCode) const;

private:
    Keymap(xkb_context* context, xkb_keymap* keymap) : m_context(context), m_keymap(keymap) {}
    std::optional<std::uint16_t> keyForSymbol(std::uint32_t keysym) const;
    xkb_context* m_context;
    xkb_keymap* m_keymap;
};

} // namespace mosaro::Sway
