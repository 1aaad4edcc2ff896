#include "App/Wayland/KWinPlatform.h"

#include "App/Wayland/WaylandPlatform.h"
#include "Diagnostics/Log/Log.h"
#include "KeyboardShortcuts/KeyboardShortcuts.h"
#include "Overlay/HotkeyAction.h"
#include "Platform/HostTexts.h"
#include "Platform/KeyEvent.h"
#include "Platform/NotificationCenter.h"
#include "Platform/UI/DesktopShortcuts.h"
#include "Platform/Wayland/KWin/KWinDesktop.h"
#include "Platform/Wayland/KWin/KWinScripting.h"
#include "Platform/Wayland/WaylandBeeper.h"
#include "Platform/Wayland/WaylandKeymap.h"
#include "Platform/Wayland/WaylandPanelHost.h"
#include "Platform/Wayland/WaylandShortcutInhibitor.h"

#include <QDBusServiceWatcher>
#include <QJsonObject>
#include <QKeySequence>
#include <QTimer>
#include <QWidget>

namespace mosaro {

namespace {

constexpr const char* goneMessage = "KWin has left the session bus";
constexpr const char* panelNotShownMessage = "KWin's script did not show the panel: %{public}s";

// Declared in the order they are built; destroyed in reverse: the panel and the hotkeys before
// the channel, which unloads the script last.
class KWinPlatform final : public DesktopPlatform {
public:
    KWinPlatform()
        : m_screens(m_kwin), m_accessibility(m_kwin), m_trust(m_kwin),
          m_hotKeys(m_kwin, [this](std::uint32_t code, std::uint32_t modifiers) { return kdeKey(code, modifiers); }),
          m_layout(m_keymap), m_watcher(m_kwin, m_screens, NotificationCenter::workspaceCenter(),
                                        NotificationCenter::defaultCenter(), [this] { m_panelHost.keyboardLost(); }),
          m_panelHost(m_screens,
                      WaylandPanelHook{[this] { m_freshMapping = true; },
                                       [this](const Rect& frame) { placePanel(frame); }, [this] { returnKeyboard(); },
                                       [this](const KeyEvent& key) { return m_hotKeys.takeKey(key); },
                                       /*keepMappedForATurn=*/true, /*maskInput=*/true}),
          m_kwinWatch(QStringLiteral("org.kde.KWin"), m_kwin.bus(), QDBusServiceWatcher::WatchForUnregistration)
    {
        m_kwin.load({});
        m_kwin.onTrigger = [this](const QJsonObject& fired) {
            if (const auto outputs = KWin::outputs(fired.value(QStringLiteral("outputs"))))
                m_screens.take(*outputs);
            m_accessibility.setShortcutWindow(KWin::window(fired.value(QStringLiteral("window"))), true);
            m_hotKeys.fire(fired.value(QStringLiteral("shortcut")).toString());
            m_accessibility.setShortcutWindow(std::nullopt, false);
        };
        QObject::connect(&m_kwinWatch, &QDBusServiceWatcher::serviceUnregistered, &m_kwinWatch, [this] {
            Log::lifecycle().error(goneMessage);
            if (onConnectionLost)
                onConnectionLost();
        });
        m_trust.showPrompt = [this] {
            if (showHelp)
                showHelp();
        };
        // The recorder sees every combination, KDE's own shortcuts included.
        DesktopShortcuts::inhibitFor = [](QWindow* window) { WaylandShortcutInhibitor::shared().inhibit(window); };
        DesktopShortcuts::restore = [] { WaylandShortcutInhibitor::shared().release(); };
        // No client may raise itself on Wayland: the script activates our window when asked.
        m_application.activate = [this](QWidget* window) {
            m_kwin.send({{QStringLiteral("op"), QStringLiteral("activateOwn")},
                         {QStringLiteral("caption"), window->windowTitle()}});
        };
    }

    ~KWinPlatform() override
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

    // "Wayland, KWin 5.27.5 (script loaded, every key to the panel, 2 outputs)": what this session
    // can do, in the report's one line.
    QString sessionDescription() override
    {
        const QString version = m_kwin.version();
        QStringList can;
        can << (m_kwin.loaded() ? QStringLiteral("script loaded")
                                : QStringLiteral("script not loaded: ") + m_kwin.problem());
        can << (WaylandShortcutInhibitor::shared().isAvailable() ? QStringLiteral("every key to the panel")
                                                                 : QStringLiteral("KWin's shortcuts keep their keys"));
        can << QStringLiteral("%1 outputs").arg(m_screens.screens().size());
        return (version.isEmpty() ? QStringLiteral("Wayland, KWin") : QStringLiteral("Wayland, KWin ") + version) +
               QStringLiteral(" (") + can.join(QStringLiteral(", ")) + QLatin1Char(')');
    }

    QString describeDesktop() override
    {
        if (!m_trust.isProcessTrustedWithOptions(false))
            return QStringLiteral("Mosaro's script is not running in KWin (%1), so no window can be moved.")
                .arg(m_kwin.problem());
        QString status = QStringLiteral("KWin %1 runs Mosaro's script.").arg(m_kwin.version());
        const auto held = triggerHeldByDesktop(m_hotKeys);
        if (!held)
            return status;
        return status + QStringLiteral(" KDE already uses %1 for %2, so Mosaro leaves it alone and has no trigger: "
                                       "choose another trigger in Mosaro's settings (Shortcuts), or change that "
                                       "shortcut in KDE's System Settings (Shortcuts).")
                            .arg(held->keys, held->binding);
    }

    bool holdsHotKey(std::uint32_t keyCode, std::uint32_t modifiers) override
    {
        return m_hotKeys.holds(keyCode, modifiers);
    }

private:
    std::optional<int> kdeKey(std::uint32_t code, std::uint32_t modifiers) const
    {
        return m_keymap ? KWin::kdeKey(*m_keymap, code, modifiers) : std::nullopt;
    }

    void placePanel(const Rect& frame)
    {
        // Asked for once the window is shown (later in this turn of the event loop), so that KWin
        // has the new mapping by the time the script looks for it.
        ++m_showings;
        const Rect r = m_screens.toKWin(frame);
        const bool fresh = std::exchange(m_freshMapping, false);
        QTimer::singleShot(0, &m_kwinWatch, [this, r, fresh] { placePanelAt(r, fresh); });
    }

    // A fresh mapping is a new window in KWin, not the one the script placed last.
    void placePanelAt(const Rect& r, bool fresh)
    {
        m_kwin.send({{QStringLiteral("op"), QStringLiteral("panel")},
                     {QStringLiteral("frame"), QJsonObject{{QStringLiteral("x"), r.x},
                                                           {QStringLiteral("y"), r.y},
                                                           {QStringLiteral("width"), r.width},
                                                           {QStringLiteral("height"), r.height}}},
                     {QStringLiteral("waitMs"), 500},
                     {QStringLiteral("fresh"), fresh}},
                    [](const std::optional<QJsonObject>& answer) {
                        if (answer && answer->contains(QStringLiteral("error")))
                            Log::lifecycle().error(panelNotShownMessage,
                                                   answer->value(QStringLiteral("error")).toString());
                        else if (answer && !answer->value(QStringLiteral("active")).toBool())
                            Log::lifecycle().error(panelNotShownMessage, QStringLiteral("not active"));
                    });
    }

    void returnKeyboard()
    {
        // KWin gives the keyboard back to the window it had before by itself; this makes sure, at the
        // next turn of the event loop: after a commit's placement, and not at all when a showing
        // follows at once (a jump to another display), whose panel would lose the keyboard to it.
        const auto target = m_accessibility.target();
        if (!target)
            return;
        QTimer::singleShot(0, &m_kwinWatch, [this, id = *target, showings = m_showings] {
            if (showings == m_showings)
                m_kwin.send({{QStringLiteral("op"), QStringLiteral("activate")}, {QStringLiteral("id"), id}});
        });
    }

    KWinScripting m_kwin;
    // Compiled once: KDE's key ints of the trigger and the recorder's key names both come from it.
    const std::shared_ptr<const Wayland::Keymap> m_keymap = Wayland::Keymap::create();
    KWinScreenList m_screens;
    KWinAccessibility m_accessibility;
    KWinAccessibilityTrust m_trust;
    WaylandBeeper m_beeper;
    KWinHotKeyService m_hotKeys;
    WaylandKeyboardLayout m_layout;
    QtDesktopApplication m_application;
    KWinDesktopWatcher m_watcher;
    WaylandPanelHost m_panelHost;
    QDBusServiceWatcher m_kwinWatch;
    bool m_freshMapping = false; // the panel's window maps anew at this showing
    int m_showings = 0;          // panel placements so far
};

} // namespace

std::unique_ptr<DesktopPlatform> makeKWinPlatform()
{
    setHostSession(HostSession::kwin);
    return std::make_unique<KWinPlatform>();
}

} // namespace mosaro
