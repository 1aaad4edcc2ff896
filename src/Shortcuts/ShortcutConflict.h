#pragma once

#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/Shortcut.h"
#include "Overlay/HotkeyAction.h"

#include <QString>
#include <QStringList>
#include <array>
#include <cstdint>
#include <functional>
#include <optional>

namespace mosaro {

// Why a captured shortcut needs the user's confirmation.
struct ShortcutConflict {
    enum class Kind {
        anotherAction,
        systemShortcut
    };
    Kind kind = Kind::systemShortcut;
    HotkeyAction action = HotkeyAction::trigger; // anotherAction
    QString systemShortcutName;                  // systemShortcut

    static ShortcutConflict withAction(HotkeyAction a) { return {Kind::anotherAction, a, {}}; }
    static ShortcutConflict withSystemShortcut(QString name) { return {Kind::systemShortcut, {}, std::move(name)}; }

    friend bool operator==(const ShortcutConflict& a, const ShortcutConflict& b)
    {
        if (a.kind != b.kind)
            return false;
        return a.kind == Kind::anotherAction ? a.action == b.action : a.systemShortcutName == b.systemShortcutName;
    }
};

// A well-known desktop shortcut; modifiers are key-event flags reduced to the compared four.
struct SystemShortcut {
    const char* name;
    std::int64_t keyCode;
    std::uint64_t modifiers;
};

const std::array<SystemShortcut, 16>& systemShortcutTable();

// A system shortcut first, then another action's stored shortcut (never the excluded name's);
// built-in overlay bindings do not count.
// The first action, in declaration order and other than the excluded one, whose stored shortcut
// has this key and these modifiers.
std::optional<HotkeyAction> actionHoldingShortcut(std::int64_t keyCode, std::int64_t carbonModifiers,
                                                  const KeyboardShortcuts::Name& excluded);
std::optional<ShortcutConflict> findShortcutConflict(std::int64_t keyCode, std::int64_t carbonModifiers,
                                                     const KeyboardShortcuts::Name& excluded);

struct ConflictAlert {
    QString messageText;
    QString informativeText;
    QStringList buttons; // the first one means "use anyway"
};

ConflictAlert conflictAlertText(const ShortcutConflict& conflict, const KeyboardShortcuts::Shortcut& captured,
                                const QString& rowLabel);

} // namespace mosaro
