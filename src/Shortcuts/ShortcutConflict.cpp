#include "Shortcuts/ShortcutConflict.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Platform/HostTexts.h"
#include "Platform/HotKeyService.h"
#include "Platform/KeyEvent.h"

namespace mosaro {

const std::array<SystemShortcut, 16>& systemShortcutTable()
{
    constexpr std::uint64_t command = ModifierFlag::command;
    static const std::array<SystemShortcut, 16> table{{
        {"Spotlight", 49, command},
        {"App switcher", 48, command},
        {"Quit application", 12, command},
        {"Close window", 13, command},
        {"Minimize window", 46, command},
        {"Hide application", 4, command},
        {"Force Quit", 53, command | ModifierFlag::option},
        {"Settings / Preferences", 43, command},
        {"Cut", 7, command},
        {"Copy", 8, command},
        {"Paste", 9, command},
        {"Select all", 0, command},
        {"Undo", 6, command},
        {"Redo", 6, command | ModifierFlag::shift},
        {"Mission Control", 99, 0},
        {"Show Desktop (F11)", 103, 0},
    }};
    return table;
}

std::optional<ShortcutConflict> findShortcutConflict(std::int64_t keyCode, std::int64_t carbonModifiers,
                                                     const KeyboardShortcuts::Name& excluded)
{
    const std::uint64_t flags = KeyboardShortcuts::appKitFromCarbon(carbonModifiers) & ModifierFlag::comparedMask;
    for (const auto& entry : systemShortcutTable()) {
        if (entry.keyCode == keyCode && entry.modifiers == flags)
            return ShortcutConflict::withSystemShortcut(QString::fromUtf8(entry.name));
    }
    // Then what the desktop's own configuration binds.
    if (HotKeyService* hotKeys = KeyboardShortcuts::environment().hotKeys) {
        if (auto binding = hotKeys->desktopBinding(std::uint32_t(keyCode), std::uint32_t(carbonModifiers)))
            return ShortcutConflict::withSystemShortcut(*binding);
    }
    if (const auto action = actionHoldingShortcut(keyCode, carbonModifiers, excluded))
        return ShortcutConflict::withAction(*action);
    return std::nullopt;
}

std::optional<HotkeyAction> actionHoldingShortcut(std::int64_t keyCode, std::int64_t carbonModifiers,
                                                  const KeyboardShortcuts::Name& excluded)
{
    const std::uint64_t flags = KeyboardShortcuts::appKitFromCarbon(carbonModifiers) & ModifierFlag::comparedMask;
    for (HotkeyAction action : allHotkeyActions()) {
        const auto name = nameFor(action);
        if (name == excluded)
            continue;
        const auto stored = KeyboardShortcuts::getShortcut(name);
        if (!stored || stored->carbonKeyCode != keyCode)
            continue;
        if ((KeyboardShortcuts::appKitFromCarbon(stored->carbonModifiers) & ModifierFlag::comparedMask) == flags)
            return action;
    }
    return std::nullopt;
}

ConflictAlert conflictAlertText(const ShortcutConflict& conflict, const KeyboardShortcuts::Shortcut& captured,
                                const QString& rowLabel)
{
    const QString shortcut = captured.description();
    QString informative;
    if (conflict.kind == ShortcutConflict::Kind::anotherAction) {
        const QString title = displayTitle(conflict.action);
        informative = shortcut + QStringLiteral(" is already assigned to “") + title + QStringLiteral("” in Mosaro. ") +
                      QStringLiteral("Using it for ") + rowLabel + QStringLiteral(" will leave “") + title +
                      QStringLiteral("” without a binding.");
    } else {
        informative = shortcut + QStringLiteral(" is also used by ") + hostText(HostText::systemShortcutOwner) +
                      QStringLiteral(" for ") + conflict.systemShortcutName + QStringLiteral(". ") +
                      QStringLiteral("Using it for ") + rowLabel +
                      QStringLiteral(" here may interfere with that system shortcut.");
    }
    return {QStringLiteral("Shortcut conflict"), informative, {QStringLiteral("Use Anyway"), QStringLiteral("Cancel")}};
}

} // namespace mosaro
