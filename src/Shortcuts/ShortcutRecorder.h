#pragma once

#include "KeyboardShortcuts/Shortcut.h"
#include "Overlay/HotkeyAction.h"
#include "Shortcuts/ShortcutConflict.h"

#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

namespace mosaro {

// The platform-free half of a shortcut row: what the control shows, what a captured key turns
// into, and how a capture or a clear reaches the store.

QString recorderControlText(HotkeyAction action, const std::optional<KeyboardShortcuts::Shortcut>& currentShortcut,
                            bool isRecording, std::uint64_t liveModifiers);

// A key-down while recording; only Shift, Control, Option and Command are kept.
KeyboardShortcuts::Shortcut capturedShortcut(std::uint16_t keyCode, std::uint64_t modifierFlags);
// Modifiers held while recording, reduced the same way.
std::uint64_t liveModifiersFrom(std::uint64_t modifierFlags);

// Checks the capture for conflicts, asks `confirm` when there is one, then stores it: the trigger
// through the package (so its hotkey follows), every other action by a direct write.
// Returns false when the user cancelled; nothing is stored then.
bool applyCapturedShortcut(HotkeyAction action, const KeyboardShortcuts::Shortcut& shortcut,
                           const std::function<bool(const ShortcutConflict&)>& confirm);

// The row's clear button.
void clearRecordedShortcut(HotkeyAction action);

} // namespace mosaro
