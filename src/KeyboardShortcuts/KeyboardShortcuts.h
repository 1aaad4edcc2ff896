#pragma once

#include "KeyboardShortcuts/Key.h"
#include "KeyboardShortcuts/Modifiers.h"
#include "KeyboardShortcuts/Name.h"
#include "KeyboardShortcuts/Shortcut.h"

#include <QString>
#include <functional>
#include <optional>
#include <vector>

namespace mosaro {
class DefaultsStore;
class HotKeyService;
class KeyboardLayout;
class NotificationCenter;
} // namespace mosaro

// The shortcut package: named shortcuts kept in the defaults store, and system-wide hotkeys
// that follow them. Its state is process-wide and main-thread only.
namespace mosaro::KeyboardShortcuts {

// The platform services the package works through. A missing store reads as "nothing stored"
// and ignores writes; a missing hotkey service registers nothing; a missing centre means the
// application's default centre.
struct Environment {
    DefaultsStore* defaults = nullptr;
    HotKeyService* hotKeys = nullptr;
    KeyboardLayout* layout = nullptr;
    NotificationCenter* center = nullptr;
};

void configure(Environment environment);
const Environment& environment();
// Drops handlers, registrations, hotkey records, counters, the event handler, the flags and the
// set of created names, and removes the menu-tracking observers (so call it while the
// configured centre still exists).
void resetForTesting();

inline const QString shortcutByNameDidChange = QStringLiteral("KeyboardShortcuts_shortcutByNameDidChange");
inline const QString userDefaultsPrefix = QStringLiteral("KeyboardShortcuts_");

QString userDefaultsKey(const Name& name);

// The compact JSON text a shortcut is stored as, and its strict reverse.
QString encodeShortcut(const Shortcut& shortcut);
std::optional<Shortcut> decodeShortcut(const QString& text);

// The first use of a name: installs the menu-tracking observers once, and writes (and so
// registers) the name's default when nothing at all is stored under its key.
void registerName(const Name& name);

std::optional<Shortcut> getShortcut(const Name& name);
void setShortcut(const std::optional<Shortcut>& shortcut, const Name& name);
// Any value under the key counts, the false marker included.
bool hasStoredValue(const Name& name);
// Writes the key directly: no hotkey and no change notification.
void storeActionShortcut(const std::optional<Shortcut>& shortcut, const Name& name);

void reset(const std::vector<Name>& names);
template <class... More>
void reset(const Name& first, const More&... more)
{
    reset(std::vector<Name>{first, more...});
}

void onKeyDown(const Name& name, std::function<void()> action);
void onKeyUp(const Name& name, std::function<void()> action);

void enable(const std::vector<Name>& names);
template <class... More>
void enable(const Name& first, const More&... more)
{
    enable(std::vector<Name>{first, more...});
}
void disable(const std::vector<Name>& names);
template <class... More>
void disable(const Name& first, const More&... more)
{
    disable(std::vector<Name>{first, more...});
}

bool isEnabled();
void setEnabled(bool enabled);

} // namespace mosaro::KeyboardShortcuts
