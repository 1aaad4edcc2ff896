#pragma once

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace mosaro {

// The system-wide hotkey service, shaped like the classic event-manager hotkey calls:
// register a key code with a modifier mask under an id, and receive pressed/released events
// through one installed handler.
using OSStatus = std::int32_t;
namespace HotKeyStatus {
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus paramErr = -50;
inline constexpr OSStatus eventNotHandled = -9874;
inline constexpr OSStatus eventParameterNotFound = -9870;
inline constexpr OSStatus hotKeyExists = -9878;
inline constexpr OSStatus hotKeyInvalid = -9879;
} // namespace HotKeyStatus

inline constexpr std::uint32_t fourCharCode(const char (&s)[5])
{
    return (std::uint32_t(std::uint8_t(s[0])) << 24) | (std::uint32_t(std::uint8_t(s[1])) << 16) |
           (std::uint32_t(std::uint8_t(s[2])) << 8) | std::uint32_t(std::uint8_t(s[3]));
}

inline constexpr std::uint32_t kEventClassKeyboard = fourCharCode("keyb");
namespace HotKeyEventKind {
inline constexpr std::uint32_t hotKeyPressed = 5;
inline constexpr std::uint32_t hotKeyReleased = 6;
} // namespace HotKeyEventKind

struct EventHotKeyID {
    std::uint32_t signature = 0;
    std::uint32_t id = 0;
    friend bool operator==(const EventHotKeyID&, const EventHotKeyID&) = default;
};

struct EventTypeSpec {
    std::uint32_t eventClass = kEventClassKeyboard;
    std::uint32_t eventKind = 0;
    friend bool operator==(const EventTypeSpec&, const EventTypeSpec&) = default;
};

using EventHotKeyRef = std::uint64_t;  // 0 = none
using EventHandlerRef = std::uint64_t; // 0 = none

// One delivered event: a hotkey pressed or released. An id the event does not carry reads as
// eventParameterNotFound.
class HotKeyEvent {
public:
    virtual ~HotKeyEvent() = default;
    virtual std::uint32_t eventClass() const = 0;
    virtual std::uint32_t kind() const = 0;
    virtual OSStatus hotKeyID(EventHotKeyID& out) const = 0;
};

class HotKeyService {
public:
    using Handler = std::function<OSStatus(const HotKeyEvent* event)>;
    virtual ~HotKeyService() = default;

    virtual OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                         EventHotKeyRef& out) = 0;
    virtual OSStatus unregisterEventHotKey(EventHotKeyRef ref) = 0;
    // Installs the handler with an initial list of event types it receives.
    virtual OSStatus installEventHandler(Handler handler, const std::vector<EventTypeSpec>& types,
                                         EventHandlerRef& out) = 0;
    virtual OSStatus addEventTypesToHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) = 0;
    virtual OSStatus removeEventTypesFromHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) = 0;

    // The desktop's own binding of a combination, as its configuration writes it, where the
    // desktop's bindings can be read (a compositor's configuration): a system shortcut of the
    // desktop for the recorder's conflict check.
    virtual std::optional<QString> desktopBinding(std::uint32_t /*keyCode*/, std::uint32_t /*modifiers*/)
    {
        return std::nullopt;
    }
};

} // namespace mosaro
