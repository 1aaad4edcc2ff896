#include "Shortcuts/ShortcutRecorder.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Platform/KeyEvent.h"

namespace mosaro {

QString recorderControlText(HotkeyAction action, const std::optional<KeyboardShortcuts::Shortcut>& currentShortcut,
                            bool isRecording, std::uint64_t liveModifiers)
{
    if (isRecording) {
        const std::uint64_t held = liveModifiersFrom(liveModifiers);
        if (held != 0)
            return KeyboardShortcuts::symbolicRepresentation(held) + QChar(0x2026);
        return QStringLiteral("Type shortcut…");
    }
    if (currentShortcut)
        return currentShortcut->description();
    if (const auto builtIn = builtInBinding(action))
        return builtIn->description();
    return QStringLiteral("Click to record");
}

KeyboardShortcuts::Shortcut capturedShortcut(std::uint16_t keyCode, std::uint64_t modifierFlags)
{
    return KeyboardShortcuts::Shortcut(KeyboardShortcuts::Key(keyCode), liveModifiersFrom(modifierFlags));
}

std::uint64_t liveModifiersFrom(std::uint64_t modifierFlags)
{
    return modifierFlags & ModifierFlag::comparedMask;
}

namespace {
void store(HotkeyAction action, const std::optional<KeyboardShortcuts::Shortcut>& shortcut)
{
    if (action == HotkeyAction::trigger)
        KeyboardShortcuts::setShortcut(shortcut, nameFor(action));
    else
        KeyboardShortcuts::storeActionShortcut(shortcut, nameFor(action));
}
} // namespace

bool applyCapturedShortcut(HotkeyAction action, const KeyboardShortcuts::Shortcut& shortcut,
                           const std::function<bool(const ShortcutConflict&)>& confirm)
{
    const auto conflict = findShortcutConflict(shortcut.carbonKeyCode, shortcut.carbonModifiers, nameFor(action));
    if (conflict) {
        if (!confirm || !confirm(*conflict))
            return false;
        // Every other action holding these keys is left without a binding, as the alert says
        // for one of them; otherwise the earlier one in the decoding order would silently win.
        // The alert may have named a system shortcut instead, so look at all of them.
        while (const auto other =
                   actionHoldingShortcut(shortcut.carbonKeyCode, shortcut.carbonModifiers, nameFor(action)))
            store(*other, std::nullopt);
    }
    store(action, shortcut);
    return true;
}

void clearRecordedShortcut(HotkeyAction action)
{
    store(action, std::nullopt);
}

} // namespace mosaro
