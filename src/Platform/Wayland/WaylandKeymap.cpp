#include "Platform/Wayland/WaylandKeymap.h"

#include "Platform/KeyCodeMap.h"
#include "Platform/KeyEvent.h"

#include <QStringList>

#include <xkbcommon/xkbcommon.h>

#include <algorithm>

namespace mosaro::Wayland {

namespace {

struct ModifierName {
    const char* name;
    std::uint32_t carbon; // 0: a modifier Mosaro's shortcuts cannot hold
};
// XKB's modifier names, as sway's bindings write them, compared without case.
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

} // namespace mosaro::Wayland
