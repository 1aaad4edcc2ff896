#pragma once

#include "Overlay/HotkeyAction.h"

#include <QString>
#include <vector>

namespace mosaro {

struct ShortcutRow {
    QString label;
    HotkeyAction action;
};

struct ShortcutSection {
    QString title;
    QString note; // empty for none
    std::vector<ShortcutRow> rows;
};

// The Shortcuts pane's sections in order; together their rows name every action once, in the
// actions' own order.
const std::vector<ShortcutSection>& shortcutSections();

// "Reset to Defaults": the trigger back to its default through the package (its hotkey follows),
// and every overlay action's stored key removed so that only its built-in binding applies.
void resetShortcutsToDefaults();

} // namespace mosaro
