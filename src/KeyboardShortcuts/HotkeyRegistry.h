#pragma once

#include "KeyboardShortcuts/Name.h"

#include <functional>

namespace mosaro {

// Makes sure the overlay's trigger action is subscribed once, however often the presenter starts.
// The trigger's name belongs to the overlay's bindings; the presenter hands it over.
class HotkeyRegistry {
public:
    bool isTriggerRegistered = false;

    // Subscribes the action to the trigger's key-down unless a subscription was already made.
    void subscribeTrigger(const KeyboardShortcuts::Name& trigger, std::function<void()> action);
};

} // namespace mosaro
