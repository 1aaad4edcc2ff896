#include "KeyboardShortcuts/CarbonKeyboardShortcuts.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"

#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <vector>

namespace mosaro::KeyboardShortcuts {

namespace {

struct HotKey {
    Shortcut shortcut;
    std::uint32_t carbonHotKeyId = 0;
    EventHotKeyRef carbonHotKey = 0; // 0 while suspended
    CarbonKeyboardShortcuts::Callback onKeyDown;
    CarbonKeyboardShortcuts::Callback onKeyUp;
};

struct State {
    bool isEnabled = true;
    bool isMenuTracking = false;
    std::optional<EventHandlerRef> eventHandler;
    std::int64_t hotKeyIdCounter = 0;
    std::map<std::uint32_t, HotKey> hotKeys;
};

State& state()
{
    static State s;
    return s;
}

const std::vector<EventTypeSpec>& hotKeyEventTypes()
{
    static const std::vector<EventTypeSpec> types{{kEventClassKeyboard, HotKeyEventKind::hotKeyPressed},
                                                  {kEventClassKeyboard, HotKeyEventKind::hotKeyReleased}};
    return types;
}

bool fitsUInt32(std::int64_t value)
{
    return value >= 0 && value <= std::numeric_limits<std::uint32_t>::max();
}

QString whyRefused(OSStatus status)
{
    switch (status) {
    case HotKeyStatus::hotKeyExists:
        return QStringLiteral("another program holds this combination");
    case HotKeyStatus::hotKeyInvalid:
        return QStringLiteral("no key on this keyboard produces it");
    case HotKeyStatus::paramErr:
        return QStringLiteral("the display connection is closed");
    default:
        return QStringLiteral("refused");
    }
}

// On standard output as before, and in the log, where a desktop session keeps it: a trigger
// that another program holds is otherwise silently dead.
void reportRegistrationError(const Shortcut& shortcut, OSStatus status)
{
    const QString combination = shortcut.description();
    std::cout << "Error registering hotkey " << combination.toStdString() << ": " << status << "\n" << std::flush;
    Log::lifecycle().error(LogMessages::hotkeyRefused, combination, status, whyRefused(status));
}

// Asks the platform for the hotkey under the record's own id; true when it now has a reference.
bool registerWithPlatform(HotKey& record)
{
    HotKeyService* service = environment().hotKeys;
    if (!service)
        return false;
    EventHotKeyRef ref = 0;
    const OSStatus status = service->registerEventHotKey(static_cast<std::uint32_t>(record.shortcut.carbonKeyCode),
                                                         static_cast<std::uint32_t>(record.shortcut.carbonModifiers),
                                                         EventHotKeyID{hotKeySignature, record.carbonHotKeyId}, ref);
    if (status != HotKeyStatus::noErr || ref == 0) {
        reportRegistrationError(record.shortcut, status);
        return false;
    }
    record.carbonHotKey = ref;
    return true;
}

void suspendAll()
{
    HotKeyService* service = environment().hotKeys;
    for (auto& [id, record] : state().hotKeys) {
        if (record.carbonHotKey != 0 && service)
            service->unregisterEventHotKey(record.carbonHotKey);
        record.carbonHotKey = 0;
    }
}

} // namespace

void CarbonKeyboardShortcuts::registerShortcut(const Shortcut& shortcut, Callback onKeyDown, Callback onKeyUp)
{
    State& s = state();
    const std::int64_t id = ++s.hotKeyIdCounter;
    if (!fitsUInt32(shortcut.carbonKeyCode) || !fitsUInt32(shortcut.carbonModifiers) || !fitsUInt32(id)) {
        Log::lifecycle().error("hotkey not registered: key code %ld, modifiers %ld or id %ld out of range",
                               shortcut.carbonKeyCode, shortcut.carbonModifiers, id);
        return;
    }

    HotKey record{shortcut, static_cast<std::uint32_t>(id), 0, std::move(onKeyDown), std::move(onKeyUp)};
    if (!registerWithPlatform(record))
        return;
    s.hotKeys[record.carbonHotKeyId] = std::move(record);

    HotKeyService* service = environment().hotKeys;
    if (!s.eventHandler && service) {
        EventHandlerRef handler = 0;
        const OSStatus status = service->installEventHandler(
            [](const HotKeyEvent* event) { return CarbonKeyboardShortcuts::handleEvent(event); }, {}, handler);
        if (status == HotKeyStatus::noErr) {
            s.eventHandler = handler;
            updateMode();
        }
    }
}

void CarbonKeyboardShortcuts::unregisterShortcut(const Shortcut& shortcut)
{
    HotKeyService* service = environment().hotKeys;
    auto& hotKeys = state().hotKeys;
    for (auto it = hotKeys.begin(); it != hotKeys.end();) {
        if (it->second.shortcut == shortcut) {
            if (it->second.carbonHotKey != 0 && service)
                service->unregisterEventHotKey(it->second.carbonHotKey);
            it = hotKeys.erase(it);
        } else {
            ++it;
        }
    }
}

OSStatus CarbonKeyboardShortcuts::handleEvent(const HotKeyEvent* event)
{
    if (!event)
        return HotKeyStatus::eventNotHandled;
    const auto& hotKeys = state().hotKeys;
    const std::uint32_t kind = event->kind();

    if (kind != HotKeyEventKind::hotKeyPressed && kind != HotKeyEventKind::hotKeyReleased)
        return HotKeyStatus::eventNotHandled;
    EventHotKeyID id;
    if (const OSStatus status = event->hotKeyID(id); status != HotKeyStatus::noErr)
        return status;
    const auto it = hotKeys.find(id.id);
    if (id.signature != hotKeySignature || it == hotKeys.end())
        return HotKeyStatus::eventNotHandled;

    // A copy: the action may change the registrations while it runs.
    const HotKey match = it->second;
    const Callback& callback = kind == HotKeyEventKind::hotKeyPressed ? match.onKeyDown : match.onKeyUp;
    if (callback)
        callback(match.shortcut);
    return HotKeyStatus::noErr;
}

bool CarbonKeyboardShortcuts::isEnabled()
{
    return state().isEnabled;
}

void CarbonKeyboardShortcuts::setEnabled(bool enabled)
{
    if (state().isEnabled == enabled)
        return;
    state().isEnabled = enabled;
    updateMode();
}

bool CarbonKeyboardShortcuts::isMenuTracking()
{
    return state().isMenuTracking;
}

void CarbonKeyboardShortcuts::setMenuTracking(bool tracking)
{
    if (state().isMenuTracking == tracking)
        return;
    state().isMenuTracking = tracking;
    updateMode();
}

void CarbonKeyboardShortcuts::updateMode()
{
    State& s = state();
    HotKeyService* service = environment().hotKeys;
    if (!s.eventHandler || !service)
        return;
    const EventHandlerRef handler = *s.eventHandler;

    if (s.isEnabled && !s.isMenuTracking) {
        for (auto it = s.hotKeys.begin(); it != s.hotKeys.end();) {
            if (it->second.carbonHotKey == 0 && !registerWithPlatform(it->second))
                it = s.hotKeys.erase(it);
            else
                ++it;
        }
        service->addEventTypesToHandler(handler, hotKeyEventTypes());
    } else {
        // Switched off, or one of our menus holds the keyboard: our passive grabs could not fire
        // then and the menu gets every key, so the hotkeys rest until it closes.
        suspendAll();
        service->removeEventTypesFromHandler(handler, hotKeyEventTypes());
    }
}

void CarbonKeyboardShortcuts::resetForTesting()
{
    state() = State{};
}

} // namespace mosaro::KeyboardShortcuts
