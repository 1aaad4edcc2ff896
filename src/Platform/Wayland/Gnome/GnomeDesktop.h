#pragma once

#include "Platform/Accessibility.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/HotKeyHandlers.h"
#include "Platform/HotKeyService.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Screen.h"
#include "Platform/System.h"
#include "Platform/Wayland/Gnome/GnomeExtension.h"
#include "Platform/Wayland/Gnome/GnomeShellChannel.h"
#include "Platform/Wayland/WaylandKeymap.h"
#include "Platform/Wayland/WaylandTrustNotice.h"

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace mosaro {

// Between the Shell's coordinates (top-left of the screen all monitors make, y down) and Mosaro's:
// accessibility coordinates start at the primary monitor's top-left, screen frames at its
// bottom-left with y up.
struct GnomeCoordinates {
    Rect primary; // the primary monitor, Shell coordinates
    Rect toAccessibility(const Rect& shell) const;
    Rect fromAccessibility(const Rect& frame) const;
    Rect toScreen(const Rect& shell) const;
    Rect fromScreen(const Rect& screen) const;
};

// GNOME Shell's monitors as displays, in the Shell's order, with the work area the top bar and
// docks leave as the visible frame. The display key is the monitor's product name, else its
// connector. One reading serves a turn of the event loop; MonitorsChanged forgets it.
class GnomeScreenList : public ScreenList {
public:
    explicit GnomeScreenList(Gnome::ShellChannel& channel);
    ~GnomeScreenList() override;
    std::vector<ScreenRef> screens() const override;
    // The primary monitor.
    ScreenRef mainScreen() const override;
    GnomeCoordinates coordinates() const;
    void invalidate() const { m_readTurn.reset(); }

private:
    std::vector<ScreenRef> read() const;

    Gnome::ShellChannel& m_channel;
    mutable std::vector<Gnome::MonitorRecord> m_monitors;
    mutable std::map<QString, std::shared_ptr<Screen>> m_cache; // by connector, for identity
    mutable std::vector<ScreenRef> m_last;
    std::unique_ptr<QObject> m_turnWatch;
    std::uint64_t m_turn = 0;
    mutable std::optional<std::uint64_t> m_readTurn;
};

// Windows through the extension. The window the trigger found comes with the trigger's press; a
// window element is its id, and its frame is the one last read or the one the extension settled
// it at. The three writes are three placements: the position at the current size (applied at
// once), the size at that position (waits for the client), and the position again only when the
// settled frame is elsewhere. A frame the Shell settles differently from what was asked is its
// answer: logged, and the write counts as done.
class GnomeAccessibility : public Accessibility {
public:
    GnomeAccessibility(Gnome::ShellChannel& channel, const GnomeScreenList& screens);

    bool isProcessTrusted() override;
    std::optional<std::int32_t> frontmostApplicationProcessID() override;
    std::int32_t currentProcessID() override;
    AXElementRef createApplicationElement(std::int32_t processID) override;
    AXError setMessagingTimeout(const AXElementRef& element, float seconds) override;
    AXError copyAttributeValue(const AXElementRef& element, const QString& attribute,
                               std::optional<AXValue>& value) override;
    AXError isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable) override;
    AXError setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value) override;

    // Runs before each placement: the panel, closed, must be gone from over the window.
    std::function<void()> beforePlacement;

private:
    AXError place(std::uint64_t id, const Rect& asked);

    Gnome::ShellChannel& m_channel;
    const GnomeScreenList& m_screens;
    std::optional<Gnome::WindowRecord> m_focused; // as read at the trigger, frames kept up to date
};

// "Trusted" on GNOME is Mosaro's extension answering with Mosaro's version. Asking for access
// installs the variant that fits the running Shell into the user's folder, enables it, and shows
// what is left to do; when the answer turns into "no", one line says why on the notice stream.
class GnomeAccessibilityTrust : public AccessibilityTrust {
public:
    GnomeAccessibilityTrust(Gnome::ShellChannel& channel, QDBusConnection bus, QString mosaroVersion,
                            std::FILE* notices = stderr);
    bool isProcessTrustedWithOptions(bool prompt) override;
    // The extension's state now, read from the bus and the user's folder.
    Gnome::ExtensionState state();
    QString shellVersion() const { return m_shellVersion; }
    std::function<void()> showPrompt;

private:
    void install();

    Gnome::ShellChannel& m_channel;
    QDBusConnection m_bus;
    QString m_mosaroVersion;
    WaylandTrustNotice m_notice;
    QString m_shellVersion;
};
// Everything known of the extension, the Shell's version with it.
Gnome::ExtensionFacts readExtensionFacts(Gnome::ShellChannel* channel, const QDBusConnection& bus,
                                         const QString& mosaroVersion, QString* shellVersion);

// GTK accelerators ("<Super><Shift>Right") and the XKB notation of the key tables ("Mod4+Shift+Right").
std::optional<QString> xkbTextOfAccelerator(const QString& accelerator);
QString acceleratorOfXkbText(const QString& text);

// The trigger as the extension's grabbed accelerator, whose presses arrive as Triggered. The
// extension holds one accelerator: the latest registration. A combination one of the Shell's own
// shortcuts has (read from its keybinding settings through the extension) is refused, as is one
// mutter refuses to grab. The grab is made again when the extension comes back.
class GnomeHotKeyService final : public HotKeyService {
public:
    GnomeHotKeyService(Gnome::ShellChannel& channel, std::shared_ptr<const Wayland::Keymap> keymap);
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
    // What the Shell's own shortcut of the combination does ("Switch to workspace 1"), if it has one.
    std::optional<QString> desktopBinding(std::uint32_t keyCode, std::uint32_t modifiers) override;
    bool holds(std::uint32_t keyCode, std::uint32_t modifiers) const;
    std::optional<QString> accelerator(std::uint32_t keyCode, std::uint32_t modifiers) const;

private:
    struct Registration {
        EventHotKeyID id;
        Wayland::KeyCombination combination;
        QString accelerator;
    };
    OSStatus grab(const Registration& registration);
    void pressed();

    Gnome::ShellChannel& m_channel;
    std::shared_ptr<const Wayland::Keymap> m_keymap;
    std::map<EventHotKeyRef, Registration> m_registrations;
    std::optional<EventHotKeyRef> m_grabbed;
    HotKeyHandlers m_handlers;
    EventHotKeyRef m_nextRef = 1;
};

// The desktop's bell sound, played by the extension when the user has the audible bell on.
class GnomeBeeper : public Beeper {
public:
    explicit GnomeBeeper(Gnome::ShellChannel& channel) : m_channel(channel) {}
    void beep() override { m_channel.beep(); }

private:
    Gnome::ShellChannel& m_channel;
};

// The extension's signals as the overlay's notifications: a workspace switch is an active-space
// change, a monitor change a display-configuration change; a panel that lost the keyboard is
// reported to `onPanelLost`.
class GnomeDesktopWatcher {
public:
    GnomeDesktopWatcher(Gnome::ShellChannel& channel, GnomeScreenList& screens, NotificationCenter& workspaceCenter,
                        NotificationCenter& defaultCenter);
    std::function<void()> onPanelLost;

private:
    std::unique_ptr<QObject> m_context;
};

} // namespace mosaro
