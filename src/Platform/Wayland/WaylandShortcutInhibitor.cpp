#include "Platform/Wayland/WaylandShortcutInhibitor.h"

#include "Diagnostics/Log/Log.h"

#include "keyboard-shortcuts-inhibit-client.h"

#include <QGuiApplication>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>

#include <cstring>

namespace mosaro {

namespace {
constexpr const char* missingMessage =
    "the compositor offers no keyboard-shortcuts-inhibit protocol; its own bindings keep their keys";
constexpr const char* activeMessage = "the compositor passes every key to our window";
constexpr const char* inactiveMessage = "the compositor takes its own shortcuts back";
} // namespace

WaylandShortcutInhibitor::WaylandShortcutInhibitor()
{
    auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (!app || QGuiApplication::platformName() != QLatin1String("wayland"))
        return;
    QPlatformNativeInterface* native = QGuiApplication::platformNativeInterface();
    if (!native)
        return;
    m_display = static_cast<wl_display*>(native->nativeResourceForIntegration("wl_display"));
    m_seat = static_cast<wl_seat*>(native->nativeResourceForIntegration("wl_seat"));
    if (!m_display || !m_seat)
        return;
    m_queue = wl_display_create_queue(m_display);
    auto* wrapper = static_cast<wl_display*>(wl_proxy_create_wrapper(m_display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(wrapper), m_queue);
    m_registry = wl_display_get_registry(wrapper);
    wl_proxy_wrapper_destroy(wrapper);
    static const wl_registry_listener listener{&WaylandShortcutInhibitor::global,
                                               &WaylandShortcutInhibitor::globalRemove};
    wl_registry_add_listener(m_registry, &listener, this);
    wl_display_roundtrip_queue(m_display, m_queue);
    if (!m_manager)
        Log::overlay().info(missingMessage);
}

WaylandShortcutInhibitor::~WaylandShortcutInhibitor()
{
    release();
    if (m_manager)
        zwp_keyboard_shortcuts_inhibit_manager_v1_destroy(m_manager);
    if (m_registry)
        wl_registry_destroy(m_registry);
    if (m_queue)
        wl_event_queue_destroy(m_queue);
}

void WaylandShortcutInhibitor::global(void* data, wl_registry* registry, unsigned name, const char* interface,
                                      unsigned /*version*/)
{
    auto* self = static_cast<WaylandShortcutInhibitor*>(data);
    if (std::strcmp(interface, zwp_keyboard_shortcuts_inhibit_manager_v1_interface.name) == 0 && !self->m_manager)
        self->m_manager = static_cast<zwp_keyboard_shortcuts_inhibit_manager_v1*>(
            wl_registry_bind(registry, name, &zwp_keyboard_shortcuts_inhibit_manager_v1_interface, 1));
}

void WaylandShortcutInhibitor::inhibit(QWindow* window)
{
    if (!m_manager || !window || !m_enabled)
        return;
    release();
    auto* surface = static_cast<wl_surface*>(
        QGuiApplication::platformNativeInterface()->nativeResourceForWindow("surface", window));
    if (!surface)
        return;
    // On Qt's own queue, which Qt dispatches as events come (ours only when we read it): whether
    // the compositor honours the inhibitor shows in the log as it happens.
    auto* manager = static_cast<zwp_keyboard_shortcuts_inhibit_manager_v1*>(wl_proxy_create_wrapper(m_manager));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(manager), nullptr);
    m_inhibitor = zwp_keyboard_shortcuts_inhibit_manager_v1_inhibit_shortcuts(manager, surface, m_seat);
    wl_proxy_wrapper_destroy(manager);
    static const zwp_keyboard_shortcuts_inhibitor_v1_listener listener{&WaylandShortcutInhibitor::activated,
                                                                       &WaylandShortcutInhibitor::deactivated};
    zwp_keyboard_shortcuts_inhibitor_v1_add_listener(m_inhibitor, &listener, this);
    wl_display_flush(m_display);
}

void WaylandShortcutInhibitor::release()
{
    if (!m_inhibitor)
        return;
    zwp_keyboard_shortcuts_inhibitor_v1_destroy(m_inhibitor);
    m_inhibitor = nullptr;
    wl_display_flush(m_display);
}

void WaylandShortcutInhibitor::activated(void*, zwp_keyboard_shortcuts_inhibitor_v1*)
{
    Log::overlay().debug(activeMessage);
}

void WaylandShortcutInhibitor::deactivated(void*, zwp_keyboard_shortcuts_inhibitor_v1*)
{
    Log::overlay().debug(inactiveMessage);
}

void WaylandShortcutInhibitor::flushConnection()
{
    if (m_display)
        wl_display_flush(m_display);
}

WaylandShortcutInhibitor& WaylandShortcutInhibitor::shared()
{
    // Never destroyed: at exit Qt's connection, which its objects live on, is already gone.
    static auto* inhibitor = new WaylandShortcutInhibitor;
    return *inhibitor;
}

} // namespace mosaro
