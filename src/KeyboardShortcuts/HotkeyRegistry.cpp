#include "KeyboardShortcuts/HotkeyRegistry.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"

namespace mosaro {

void HotkeyRegistry::subscribeTrigger(const KeyboardShortcuts::Name& trigger, std::function<void()> action)
{
    if (isTriggerRegistered)
        return;
    isTriggerRegistered = true;
    KeyboardShortcuts::onKeyDown(trigger, std::move(action));
}

} // namespace mosaro
