#include "App/X11/X11Platform.h"

#include "App/X11/DesktopCheck.h"
#include "App/X11/TerminationGuard.h"
#include "Platform/HostTexts.h"
#include "Platform/NotificationCenter.h"
#include "Platform/X11/X11Accessibility.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Beeper.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11DesktopWatcher.h"
#include "Platform/X11/X11HotKeyService.h"
#include "Platform/X11/X11PanelHost.h"
#include "Platform/X11/X11ScreenList.h"
#include "Platform/X11/XkbKeyboardLayout.h"

#include <QCoreApplication>

namespace mosaro {

namespace {

// Declared in the order they are built; destroyed in reverse.
class X11Platform final : public DesktopPlatform {
public:
    explicit X11Platform(std::unique_ptr<X11Connection> x11)
        : m_connection(std::move(x11)), m_screens(*m_connection), m_accessibility(*m_connection),
          m_trust(*m_connection), m_beeper(*m_connection), m_hotKeys(*m_connection), m_layout(*m_connection),
          m_watcher(*m_connection, NotificationCenter::workspaceCenter(), NotificationCenter::defaultCenter()),
          m_panelHost(*m_connection, m_screens, &m_hotKeys), m_guard(*m_connection, [this] {
              if (onConnectionLost)
                  onConnectionLost();
          })
    {
        m_screens.onDisplaysChanged = [this] { m_watcher.displaysChanged(); };
        // A window the manager holds inside the free area it did not fit has landed; the display
        // list knows that area.
        m_accessibility.mover().setHoldingAreas([this] { return m_screens.xHoldingAreas(); });
        m_trust.showPrompt = [this] {
            if (showHelp)
                showHelp();
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
        const QString manager = windowManagerStatus(*m_connection).name;
        return manager.isEmpty() ? QStringLiteral("X11") : QStringLiteral("X11, ") + manager;
    }
    QString describeDesktop() override { return describeWindowManager(*m_connection); }
    bool holdsHotKey(std::uint32_t keyCode, std::uint32_t modifiers) override
    {
        return m_hotKeys.holds(keyCode, modifiers);
    }

private:
    std::unique_ptr<X11Connection> m_connection;
    X11ScreenList m_screens;
    X11Accessibility m_accessibility;
    X11AccessibilityTrust m_trust;
    X11Beeper m_beeper;
    X11HotKeyService m_hotKeys;
    XkbKeyboardLayout m_layout;
    QtDesktopApplication m_application;
    X11DesktopWatcher m_watcher;
    X11PanelHost m_panelHost;
    TerminationGuard m_guard;
};

} // namespace

bool probeX11Display(QString* error)
{
    X11Connection probe;
    if (probe.isConnected())
        return true;
    const QString display = qEnvironmentVariable("DISPLAY");
    const int code = probe.connection() ? xcb_connection_has_error(probe.connection()) : 0;
    if (error)
        *error = display.isEmpty() ? QStringLiteral("cannot open display")
                                   : QStringLiteral("cannot open display %1 (%2)")
                                         .arg(display, X11Connection::describeConnectionError(code));
    return false;
}

std::unique_ptr<DesktopPlatform> makeX11Platform(QString* error)
{
    auto connection = std::make_unique<X11Connection>();
    if (!connection->isConnected()) {
        if (error)
            *error = QStringLiteral("cannot connect to the X display %1").arg(qEnvironmentVariable("DISPLAY"));
        return nullptr;
    }
    connection->attachToEventLoop();
    setHostSession(HostSession::x11);
    return std::make_unique<X11Platform>(std::move(connection));
}

} // namespace mosaro
