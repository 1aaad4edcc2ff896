#pragma once

#include "Platform/HotKeyHandlers.h"
#include "Platform/HotKeyService.h"
#include "Platform/Wayland/Sway/SwayConfig.h"
#include "Platform/Wayland/Sway/SwayIpc.h"
#include "Platform/Wayland/WaylandKeymap.h"

#include <map>
#include <memory>
#include <optional>

namespace mosaro {

// System-wide hotkeys as run-time sway bindings: `bindsym --no-repeat --inhibited <keys> nop <tag>`,
// whose presses arrive as binding events on the channel. `--inhibited` keeps the trigger working
// while Mosaro's own panel inhibits the compositor's shortcuts. A combination the user's
// configuration already binds in the default mode is refused (hotKeyExists), never overwritten:
// a run-time bindsym would silently replace the user's binding, and removing ours at exit would
// then delete theirs. A configuration reload drops run-time bindings; ours are added again then.
// Only presses are delivered: sway reports no release of a binding.
class SwayHotKeyService final : public HotKeyService {
public:
    SwayHotKeyService(Sway::Ipc& ipc, std::shared_ptr<const Wayland::Keymap> keymap,
                      Sway::ConfigFiles files = Sway::diskConfigFiles());
    ~SwayHotKeyService() override;
    SwayHotKeyService(const SwayHotKeyService&) = delete;
    SwayHotKeyService& operator=(const SwayHotKeyService&) = delete;

    OSStatus registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                 EventHotKeyRef& out) override;
    OSStatus unregisterEventHotKey(EventHotKeyRef ref) override;
    OSStatus installEventHandler(Handler handler, const std::vector<EventTypeSpec>& types,
                                 EventHandlerRef& out) override
    {
        return m_handlers.install(std::move(handler), types, out);
    }
    OSStatus addEventTypesToHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) override
    {
        return m_handlers.change(handler, types, true);
    }
    OSStatus removeEventTypesFromHandler(EventHandlerRef handler, const std::vector<EventTypeSpec>& types) override
    {
        return m_handlers.change(handler, types, false);
    }

    // The command the user's configuration binds the combination to, for the recorder.
    std::optional<QString> desktopBinding(std::uint32_t keyCode, std::uint32_t modifiers) override
    {
        const auto binding = userBinding(keyCode, modifiers);
        return binding ? std::optional<QString>(binding->command) : std::nullopt;
    }

    // The user's own binding of a combination in the default mode, if the configuration has one:
    // for the refusal, `--check`, the window-manager help and the recorder's conflict check.
    std::optional<Sway::ConfigBinding> userBinding(std::uint32_t keyCode, std::uint32_t modifiers);
    // Whether a combination is bound by Mosaro right now.
    bool holds(std::uint32_t keyCode, std::uint32_t modifiers) const;

private:
    struct Registration {
        EventHotKeyID id;
        Wayland::KeyCombination combination;
        QString keys; // "Mod4+Return"
        bool bound = false;
    };
    OSStatus bind(EventHotKeyRef ref, Registration& registration);
    void unbind(Registration& registration);
    QString tag(EventHotKeyRef ref) const;
    void handle(std::uint32_t type, const QByteArray& payload);
    std::vector<Sway::ConfigBinding> userBindings();

    Sway::Ipc& m_ipc;
    std::shared_ptr<const Wayland::Keymap> m_keymap;
    Sway::ConfigFiles m_files;
    std::map<EventHotKeyRef, Registration> m_registrations;
    HotKeyHandlers m_handlers;
    EventHotKeyRef m_nextRef = 1;
    int m_eventHandler = 0;
};

} // namespace mosaro
