#include "KeyboardShortcuts/HotkeyRegistry.h"

#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"

namespace mosaro {

void HotkeyRegistry::subscribeTrigger(std::function<void()> action)
{
    if (isTriggerRegistered)
        return;
    isTriggerRegistered = true;
    KeyboardShortcuts::onKeyDown(nameFor(HotkeyAction::trigger), std::move(action));
}

} // namespace mosaro
