#include "App/Wayland/SwayPlatform.h"

#include "App/Wayland/WaylandConnectionWatch.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/HostTexts.h"
#include "Platform/NotificationCenter.h"
#include "Platform/UI/DesktopShortcuts.h"
#include "Platform/Wayland/Sway/SwayAccessibility.h"
#include "Platform/Wayland/Sway/SwayDesktop.h"
#include "Platform/Wayland/Sway/SwayHotKeyService.h"
#include "Platform/Wayland/Sway/SwayIpc.h"
#include "Platform/Wayland/Sway/SwayPanelRules.h"
#include "Platform/Wayland/WaylandBeeper.h"
#include "Platform/Wayland/WaylandKeymap.h"
#include "Platform/Wayland/WaylandPanelHost.h"
#include "Platform/Wayland/WaylandShortcutInhibitor.h"

#include <QWidget>

#include <cstdio>
#include <unistd.h>

namespace mosaro {

namespace {

// Declared in the order they are built; destroyed in reverse, the panel before the channel.
class SwayPlatform final : public DesktopPlatform {
public:
    explicit SwayPlatform(const QString& socket)
        : m_ipc(socket), m_screens(m_ipc), m_accessibility(m_ipc), m_trust(m_ipc), m_hotKeys(m_ipc, m_keymap),
          m_layout(m_keymap),
          m_watcher(m_ipc, m_screens, NotificationCenter::workspaceCenter(), NotificationCenter::defaultCenter()),
          m_panelRules(m_ipc, m_screens, m_accessibility, QString::fromLatin1(WaylandPanelWindow::title)),
          m_panelHost(m_screens, WaylandPanelHook{[this] { m_panelRules.prepare(); },
                                                  [this](const Rect& frame) { m_panelRules.place(frame); },
                                                  [this] { m_panelRules.returnKeyboard(); },
                                                  {}})
    {
        // Where sway versions differ, this is the one place that knows. Each event type is
        // subscribed on its own: sway 1.7 refuses a list holding a type it does not know, and it
        // has no `output` event (1.10 has; on 1.7 the watcher reads output changes from the
        // workspace events they cause). The socket's name and get_config's missing includes
        // (1.7 lists none) are read, not assumed, so both versions take the same path.
        m_ipc.subscribe({Sway::EventType::workspace, Sway::EventType::window, Sway::EventType::binding,
                         Sway::EventType::shutdown, Sway::EventType::output});
        if (const auto version = m_ipc.request(Sway::MessageType::getVersion))
            m_version = Sway::versionText(*version).value_or(QString());
        m_ipc.onGone = [this] {
            if (onConnectionLost)
                onConnectionLost();
            // The termination path has run (what is saved is whole). Qt cannot take its Wayland
            // connection down without the compositor (its display waits for its reader thread
            // for ever), so nothing more is run.
            std::fflush(nullptr);
            ::_exit(1);
        };
        m_watcher.isOwnFocusChange = [this](const QByteArray& event) { return m_panelRules.isPanelFocusChange(event); };
        m_trust.showPrompt = [this] {
            if (showHelp)
                showHelp();
        };
        // The recorder sees every combination, sway's own bindings included.
        DesktopShortcuts::inhibitFor = [](QWindow* window) { WaylandShortcutInhibitor::shared().inhibit(window); };
        DesktopShortcuts::restore = [] { WaylandShortcutInhibitor::shared().release(); };
        // No client may raise itself on Wayland: sway focuses our window when asked.
        m_application.activate = [this](QWidget* window) {
            m_ipc.run(
                QStringLiteral("[pid=%1 title=%2] focus").arg(::getpid()).arg(Sway::exactTitle(window->windowTitle())));
        };
    }

    ScreenList& screens() override { return m_screens; }
    Accessibility& accessibility() override { return m_accessibility; }
    AccessibilityTrust& trust() override { return m_trust; }
    Beeper& beeper() override { return m_beeper; }
    HotKeyService& hotKeys() override { return m_hotKeys; }
    KeyboardLayout& keyboardLayout() override { return m_layout; }
    PanelHost& panelHost() override { return m_panelHost; }
    QtDesktopApplication& application() override { return m_application; }

    QString sessionDescription() override
    {
        return m_version.isEmpty() ? QStringLiteral("Wayland, sway") : QStringLiteral("Wayland, sway ") + m_version;
    }

    QString describeDesktop() override
    {
        if (!m_trust.isProcessTrustedWithOptions(false))
            return QStringLiteral("sway does not answer on its IPC socket %1, so no window can be moved.")
                .arg(m_ipc.socketPath());
        QString status = QStringLiteral("sway %1 answers on its IPC socket.").arg(m_version);
        const auto trigger = KeyboardShortcuts::getShortcut(nameFor(HotkeyAction::trigger));
        if (!trigger)
            return status;
        const auto binding =
            m_hotKeys.userBinding(std::uint32_t(trigger->carbonKeyCode), std::uint32_t(trigger->carbonModifiers));
        if (!binding)
            return status;
        return status + QStringLiteral(" Your sway configuration binds %1 to “%2” (%3, line %4), so Mosaro leaves "
                                       "it alone and has no trigger: choose another trigger in Mosaro's settings "
                                       "(Shortcuts), or remove that binding and reload sway.")
                            .arg(trigger->description(), binding->command, binding->file)
                            .arg(binding->line);
    }

    bool holdsHotKey(std::uint32_t keyCode, std::uint32_t modifiers) override
    {
        return m_hotKeys.holds(keyCode, modifiers);
    }

    ~SwayPlatform() override
    {
        DesktopShortcuts::inhibitFor = nullptr;
        DesktopShortcuts::restore = nullptr;
    }

private:
    // Compiled once: the trigger's key names and the recorder's both come from it.
    const std::shared_ptr<const Wayland::Keymap> m_keymap = Wayland::Keymap::create();
    Sway::Ipc m_ipc;
    SwayScreenList m_screens;
    SwayAccessibility m_accessibility;
    SwayAccessibilityTrust m_trust;
    WaylandBeeper m_beeper;
    SwayHotKeyService m_hotKeys;
    WaylandKeyboardLayout m_layout;
    QtDesktopApplication m_application;
    SwayDesktopWatcher m_watcher;
    SwayPanelRules m_panelRules;
    WaylandPanelHost m_panelHost;
    QString m_version;
    // Said through the channel, which logs its one line and calls onConnectionLost.
    WaylandConnectionWatch m_connectionWatch{[this] { m_ipc.declareGone(); }};
};

} // namespace

std::unique_ptr<DesktopPlatform> makeSwayPlatform(const QString& socket)
{
    setHostSession(HostSession::sway);
    return std::make_unique<SwayPlatform>(socket);
}

} // namespace mosaro
