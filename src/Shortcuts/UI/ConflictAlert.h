#pragma once

#include "KeyboardShortcuts/Shortcut.h"
#include "Shortcuts/ShortcutConflict.h"

#include <QString>

class QWidget;

namespace mosaro {

// Asks, in a modal warning, whether to use a shortcut that something else already has. True
// means "Use Anyway" (the default button); "Cancel" and Escape give false.
bool confirmConflict(QWidget* parent, const ShortcutConflict& conflict, const KeyboardShortcuts::Shortcut& captured,
                     const QString& rowLabel);

} // namespace mosaro
