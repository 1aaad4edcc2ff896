#include "App/Wayland/GnomePlatform.h"

#include "App/Wayland/WaylandConnectionWatch.h"
#include "App/Wayland/WaylandPlatform.h"
#include "Diagnostics/Log/Log.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/BuildInfo.h"
#include "Platform/HostTexts.h"
#include "Platform/NotificationCenter.h"
#include "Platform/UI/DesktopShortcuts.h"
#include "Platform/Wayland/Gnome/GnomeDesktop.h"
#include "Platform/Wayland/WaylandKeymap.h"
#include "Platform/Wayland/WaylandPanelHost.h"
#include "Platform/Wayland/WaylandShortcutInhibitor.h"

#include <QDBusConnection>
#include <QTimer>
#include <QWidget>

namespace mosaro {

namespace {

constexpr const char* goneMessage = "GNOME Shell has gone away: the Wayland connection broke";

// Declared in the order they are built; destroyed in reverse, the panel before the channel.
class GnomePlatform final : public DesktopPlatform {
public:
    GnomePlatform()
        : m_version(BuildBundleInfo().shortVersion().value_or(QString())),
          m_channel(QDBusConnection::sessionBus(), m_version), m_screens(m_channel),
          m_accessibility(m_channel, m_screens), m_trust(m_channel, QDBusConnection::sessionBus(), m_version),
          m_hotKeys(m_channel, m_keymap), m_beeper(m_channel), m_layout(m_keymap),
          m_watcher(m_channel, m_screens, NotificationCenter::workspaceCenter(), NotificationCenter::defaultCenter()),
          m_panelHost(m_screens,
                      WaylandPanelHook{nullptr,
                                       [this](const Rect& frame) {
                                           m_channel.showPanel(QString::fromLatin1(WaylandPanelWindow::title),
                                                               m_screens.coordinates().fromScreen(frame));
                                       },
                                       [this] {
                                           // A jump to another display releases and asks again at
                                           // once: the target must not take the focus in between.
                                           QTimer::singleShot(0, &m_channel, [this] {
                                               if (!m_panelHost.isAsked())
                                                   m_channel.hidePanel(true);
                                           });
                                       },
                                       nullptr, /*keepMappedForATurn=*/true})
    {
        // Registered before anything asks; the extension may come later, and is then registered
        // as soon as it owns its name.
        if (Gnome::extensionVersion(QDBusConnection::sessionBus()) == m_version)
            m_channel.registerClient();
        m_watcher.onPanelLost = [this] { m_panelHost.keyboardLost(); };
        // The keyboard goes back to the window before it is placed: the focus change is a
        // configure of its own, which a busy client would otherwise answer after the new size.
        m_accessibility.beforePlacement = [this] {
            m_panelHost.finishHiding();
            if (!m_panelHost.isAsked())
                m_channel.hidePanel(true);
        };
        m_trust.showPrompt = [this] {
            if (showHelp)
                showHelp();
        };
        // The extension sets the Shell's shortcuts aside; the Wayland protocol would make the
        // Shell ask the user first, in a dialog over the panel.
        WaylandShortcutInhibitor::shared().setEnabled(false);
        DesktopShortcuts::inhibitFor = [this](QWindow*) { m_channel.setShortcutsInhibited(true); };
        DesktopShortcuts::restore = [this] { m_channel.setShortcutsInhibited(false); };
        // No client may raise itself on Wayland: the Shell focuses our window when asked.
        m_application.activate = [this](QWidget* window) { m_channel.activate(window->windowTitle()); };
    }

    ~GnomePlatform() override
    {
        DesktopShortcuts::inhibitFor = nullptr;
        DesktopShortcuts::restore = nullptr;
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
        const Gnome::ExtensionState state = m_trust.state();
        return QStringLiteral("Wayland, GNOME Shell %1, extension %2")
            .arg(m_trust.shellVersion(), Gnome::describe(state));
    }

    QString describeDesktop() override
    {
        const Gnome::ExtensionState state = m_trust.state();
        QString status = QStringLiteral("GNOME Shell %1; Mosaro's extension: %2. ")
                             .arg(m_trust.shellVersion(), Gnome::describe(state)) +
                         hostText(Gnome::advice(state));
        if (state != Gnome::ExtensionState::enabled)
            return status;
        const auto held = triggerHeldByDesktop(m_hotKeys);
        if (!held)
            return status;
        return status + QStringLiteral(" GNOME binds %1 to “%2”, so Mosaro leaves it alone and has no trigger: choose "
                                       "another trigger in Mosaro's settings (Shortcuts), or change that shortcut in "
                                       "GNOME's Settings (Keyboard → Keyboard Shortcuts).")
                            .arg(held->keys, held->binding);
    }

    bool holdsHotKey(std::uint32_t keyCode, std::uint32_t modifiers) override
    {
        return m_hotKeys.holds(keyCode, modifiers);
    }

private:
    // The Shell gives its keyboards the XKB default layout unless the user chose input sources;
    // compiled once for the trigger's key names and the recorder's.
    const std::shared_ptr<const Wayland::Keymap> m_keymap = Wayland::Keymap::create();
    QString m_version;
    Gnome::ShellChannel m_channel;
    GnomeScreenList m_screens;
    GnomeAccessibility m_accessibility;
    GnomeAccessibilityTrust m_trust;
    GnomeHotKeyService m_hotKeys;
    GnomeBeeper m_beeper;
    WaylandKeyboardLayout m_layout;
    QtDesktopApplication m_application;
    GnomeDesktopWatcher m_watcher;
    WaylandPanelHost m_panelHost;
    WaylandConnectionWatch m_connectionWatch{[this] {
        Log::lifecycle().error(goneMessage);
        if (onConnectionLost)
            onConnectionLost();
    }};
};

} // namespace

std::unique_ptr<DesktopPlatform> makeGnomePlatform()
{
    setHostSession(HostSession::gnome);
    return std::make_unique<GnomePlatform>();
}

} // namespace mosaro
