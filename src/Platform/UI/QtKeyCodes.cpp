#include "Platform/UI/QtKeyCodes.h"

#include "Platform/KeyCodeMap.h"

#include <QKeyEvent>

#include <xkbcommon/xkbcommon.h>

namespace mosaro {

namespace {

// The default layout's keymap, made once; null where XKB has no data.
xkb_keymap* referenceKeymap()
{
    static xkb_keymap* keymap = [] {
        xkb_context* context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
        if (!context)
            return static_cast<xkb_keymap*>(nullptr);
        xkb_keymap* map = xkb_keymap_new_from_names(context, nullptr, XKB_KEYMAP_COMPILE_NO_FLAGS);
        xkb_context_unref(context);
        return map;
    }();
    return keymap;
}

bool gives(xkb_keymap* keymap, xkb_keycode_t key, xkb_keysym_t symbol)
{
    const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap, key, 0);
    for (xkb_level_index_t level = 0; level < levels; ++level) {
        const xkb_keysym_t* symbols = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(keymap, key, 0, level, &symbols);
        for (int i = 0; i < count; ++i)
            if (symbols[i] == symbol)
                return true;
    }
    return false;
}

} // namespace

std::optional<std::uint16_t> portableKeyCode(const QKeyEvent& event)
{
    xkb_keycode_t key = event.nativeScanCode();
    const xkb_keysym_t symbol = event.nativeVirtualKey();
    if (xkb_keymap* keymap = referenceKeymap(); keymap && symbol != XKB_KEY_NoSymbol && !gives(keymap, key, symbol)) {
        for (xkb_keycode_t k = xkb_keymap_min_keycode(keymap); k <= xkb_keymap_max_keycode(keymap); ++k) {
            if (gives(keymap, k, symbol)) {
                key = k;
                break;
            }
        }
    }
    if (key < x11KeycodeOffset)
        return std::nullopt;
    return macKeyCodeForEvdev(key - x11KeycodeOffset);
}

} // namespace mosaro
