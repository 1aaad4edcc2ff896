#pragma once

#include "Platform/KeyboardLayout.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

struct xkb_context;
struct xkb_keymap;

namespace mosaro::Wayland {

// A key with its modifiers as the hotkey service takes them: a virtual key code and a shortcut
// modifier mask (command, shift, option, control).
struct KeyCombination {
    std::uint16_t keyCode = 0;
    std::uint32_t modifiers = 0;
    friend bool operator==(const KeyCombination&, const KeyCombination&) = default;
};

// Key names and codes of one keyboard layout, between XKB's notation ("Mod4+Shift+q", as sway's
// bindings and KDE's and GNOME's key names use it) and the portable key codes.
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

} // namespace mosaro::Wayland

namespace mosaro {

// Key names from the layout the compositor gives its keyboards (the XKB_DEFAULT_* environment, as
// sway and KWin read it), since a Wayland client sees a keymap only while it has the keyboard focus.
class WaylandKeyboardLayout final : public KeyboardLayout {
public:
    explicit WaylandKeyboardLayout(std::shared_ptr<const Wayland::Keymap> keymap) : m_keymap(std::move(keymap)) {}
    std::optional<QString> translateForDisplay(std::uint16_t keyCode) const override
    {
        return m_keymap ? m_keymap->printed(keyCode) : std::nullopt;
    }

private:
    std::shared_ptr<const Wayland::Keymap> m_keymap;
};

} // namespace mosaro
