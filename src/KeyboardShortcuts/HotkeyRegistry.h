#pragma once

#include <functional>

namespace mosaro {

// Makes sure the overlay's trigger action is subscribed once, however often the presenter starts.
class HotkeyRegistry {
public:
    bool isTriggerRegistered = false;

    // Subscribes the action to the trigger's key-down unless a subscription was already made.
    void subscribeTrigger(std::function<void()> action);
};

} // namespace mosaro
