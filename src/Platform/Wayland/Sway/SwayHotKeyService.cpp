#include "Platform/Wayland/Sway/SwayHotKeyService.h"

#include "Diagnostics/Log/Log.h"

#include <unistd.h>

#include <algorithm>

namespace mosaro {

namespace {

constexpr const char* heldByUserMessage =
    "sway already binds %{public}s to \"%{public}s\" (%{public}s:%d); Mosaro leaves it alone";
constexpr const char* bindFailedMessage = "sway did not take the binding %{public}s: %{public}s";
constexpr const char* rebindMessage = "sway reloaded its configuration; binding %{public}s again";
constexpr const char* bindingFlags = "--no-repeat --inhibited";

} // namespace

SwayHotKeyService::SwayHotKeyService(Sway::Ipc& ipc, std::shared_ptr<const Wayland::Keymap> keymap,
                                     Sway::ConfigFiles files)
    : m_ipc(ipc), m_keymap(std::move(keymap)), m_files(std::move(files))
{
    m_eventHandler =
        m_ipc.addEventHandler([this](std::uint32_t type, const QByteArray& payload) { handle(type, payload); });
}

SwayHotKeyService::~SwayHotKeyService()
{
    m_ipc.removeEventHandler(m_eventHandler);
    // Only what Mosaro added goes; the user's bindings were never touched.
    for (auto& [ref, registration] : m_registrations)
        unbind(registration);
}

QString SwayHotKeyService::tag(EventHotKeyRef ref) const
{
    return QStringLiteral("mosaro-hotkey-%1-%2").arg(getpid()).arg(ref);
}

std::vector<Sway::ConfigBinding> SwayHotKeyService::userBindings()
{
    const auto config = m_ipc.request(Sway::MessageType::getConfig);
    const auto text = config ? Sway::configText(*config) : std::nullopt;
    if (!text)
        return {};
    // sway 1.7 gives the main file only; the files it includes are read here, relative to it.
    const auto version = m_ipc.request(Sway::MessageType::getVersion);
    const QString path = (version ? Sway::loadedConfigPath(*version) : std::nullopt).value_or(QString());
    return Sway::scanConfig(*text, path, m_files);
}

std::optional<Sway::ConfigBinding> SwayHotKeyService::userBinding(std::uint32_t keyCode, std::uint32_t modifiers)
{
    if (!m_keymap || keyCode > 0xFFFF)
        return std::nullopt;
    const Wayland::KeyCombination wanted{std::uint16_t(keyCode), modifiers};
    for (const auto& binding : userBindings()) {
        if (binding.isGlobal() && m_keymap->combination(binding.combination, binding.byCode) == wanted)
            return binding;
    }
    return std::nullopt;
}

bool SwayHotKeyService::holds(std::uint32_t keyCode, std::uint32_t modifiers) const
{
    return std::any_of(m_registrations.begin(), m_registrations.end(), [&](const auto& entry) {
        const Registration& r = entry.second;
        return r.bound && r.combination == Wayland::KeyCombination{std::uint16_t(keyCode), modifiers};
    });
}

OSStatus SwayHotKeyService::bind(EventHotKeyRef ref, Registration& registration)
{
    if (const auto held = userBinding(registration.combination.keyCode, registration.combination.modifiers)) {
        Log::lifecycle().error(heldByUserMessage, registration.keys, held->command, held->file, held->line);
        return HotKeyStatus::hotKeyExists;
    }
    const auto results =
        m_ipc.run(QStringLiteral("bindsym %1 %2 nop %3").arg(QLatin1String(bindingFlags), registration.keys, tag(ref)));
    if (!results || results->empty() || !results->front().success) {
        const QString why = !results ? Sway::describe(results.error())
                                     : (results->empty() ? QStringLiteral("no answer") : results->front().error);
        Log::lifecycle().error(bindFailedMessage, registration.keys, why);
        return results ? HotKeyStatus::hotKeyInvalid : HotKeyStatus::paramErr;
    }
    registration.bound = true;
    return HotKeyStatus::noErr;
}

void SwayHotKeyService::unbind(Registration& registration)
{
    if (registration.bound && !m_ipc.isGone())
        m_ipc.run(QStringLiteral("unbindsym %1 %2").arg(QLatin1String(bindingFlags), registration.keys));
    registration.bound = false;
}

OSStatus SwayHotKeyService::registerEventHotKey(std::uint32_t keyCode, std::uint32_t modifiers, EventHotKeyID id,
                                                EventHotKeyRef& out)
{
    out = 0;
    if (keyCode > 0xFFFF || !m_keymap)
        return HotKeyStatus::hotKeyInvalid;
    Registration registration;
    registration.id = id;
    registration.combination = {std::uint16_t(keyCode), modifiers};
    const auto keys = m_keymap->bindsymText(registration.combination);
    if (!keys)
        return HotKeyStatus::hotKeyInvalid;
    registration.keys = *keys;
    for (const auto& [ref, existing] : m_registrations) {
        if (existing.combination == registration.combination)
            return HotKeyStatus::hotKeyExists;
    }
    const EventHotKeyRef ref = m_nextRef++;
    if (const OSStatus status = bind(ref, registration); status != HotKeyStatus::noErr)
        return status;
    out = ref;
    m_registrations.emplace(ref, std::move(registration));
    return HotKeyStatus::noErr;
}

OSStatus SwayHotKeyService::unregisterEventHotKey(EventHotKeyRef ref)
{
    auto it = m_registrations.find(ref);
    if (it == m_registrations.end())
        return HotKeyStatus::paramErr;
    unbind(it->second);
    m_registrations.erase(it);
    return HotKeyStatus::noErr;
}

void SwayHotKeyService::handle(std::uint32_t type, const QByteArray& payload)
{
    if (type == Sway::EventType::workspace && Sway::eventChange(payload) == QLatin1String("reload")) {
        for (auto& [ref, registration] : m_registrations) {
            if (!registration.bound)
                continue;
            Log::lifecycle().info(rebindMessage, registration.keys);
            registration.bound = false;
            bind(ref, registration);
        }
        return;
    }
    if (type != Sway::EventType::binding)
        return;
    const auto command = Sway::bindingCommand(payload);
    if (!command || !command->startsWith(QLatin1String("nop ")))
        return;
    const QString pressed = command->mid(4).trimmed();
    for (const auto& [ref, registration] : m_registrations) {
        if (registration.bound && pressed == tag(ref)) {
            const EventHotKeyID id = registration.id;
            m_handlers.dispatch(HotKeyEventKind::hotKeyPressed, HotKeyIDEvent(HotKeyEventKind::hotKeyPressed, id));
            return;
        }
    }
}

} // namespace mosaro
