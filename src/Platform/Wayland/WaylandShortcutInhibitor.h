#pragma once

#include <memory>

class QWindow;
struct wl_display;
struct wl_event_queue;
struct wl_registry;
struct wl_seat;
struct zwp_keyboard_shortcuts_inhibit_manager_v1;
struct zwp_keyboard_shortcuts_inhibitor_v1;

namespace mosaro {

// Asks the compositor, through zwp_keyboard_shortcuts_inhibit_manager_v1, to pass every key to
// one of our windows while it has the keyboard focus, its own bindings included: the overlay's
// jump keys are the compositor's "move window" bindings by default, and the shortcut recorder
// must see whatever the user presses. The manager is bound on Qt's connection through a queue of
// our own, so Qt's dispatching never sees our objects. Without the protocol (an X11 session, a
// compositor that does not offer it) every call does nothing.
class WaylandShortcutInhibitor {
public:
    WaylandShortcutInhibitor();
    ~WaylandShortcutInhibitor();
    WaylandShortcutInhibitor(const WaylandShortcutInhibitor&) = delete;
    WaylandShortcutInhibitor& operator=(const WaylandShortcutInhibitor&) = delete;

    bool isAvailable() const { return m_manager != nullptr; }
    // A compositor that sets its shortcuts aside through its own channel: GNOME Shell asks the user
    // in a dialog before it honours the protocol, which would cover the panel.
    void setEnabled(bool enabled) { m_enabled = enabled; }

    // Inhibits the compositor's shortcuts for the window's current surface (it must be shown: a
    // hidden Qt window has none); a surface asked for before is released first.
    void inhibit(QWindow* window);
    void release();
    // Sends what Qt has queued on its connection now (Qt flushes at the end of the event loop's turn).
    void flushConnection();

    // One inhibitor for the whole application, bound on first use.
    static WaylandShortcutInhibitor& shared();

private:
    static void global(void* data, wl_registry* registry, unsigned name, const char* interface, unsigned version);
    static void globalRemove(void*, wl_registry*, unsigned) {}
    static void activated(void* data, zwp_keyboard_shortcuts_inhibitor_v1* inhibitor);
    static void deactivated(void* data, zwp_keyboard_shortcuts_inhibitor_v1* inhibitor);

    wl_display* m_display = nullptr;
    wl_event_queue* m_queue = nullptr;
    wl_registry* m_registry = nullptr;
    wl_seat* m_seat = nullptr;
    zwp_keyboard_shortcuts_inhibit_manager_v1* m_manager = nullptr;
    zwp_keyboard_shortcuts_inhibitor_v1* m_inhibitor = nullptr;
    bool m_enabled = true;
};

} // namespace mosaro
