#include "App/AppDelegate.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Permission/AccessibilityStatusMonitor.h"

namespace mosaro {

namespace M = LogMessages;

AppDelegate::AppDelegate(AppEnvironment environment) : m_env(std::move(environment))
{}

AppDelegate::~AppDelegate()
{
    if (m_windowCloseObserver)
        m_env.overlay.defaultCenter.removeObserver(*m_windowCloseObserver);
}

void AppDelegate::applicationDidFinishLaunching()
{
    Log::lifecycle().info(M::didFinishLaunching);
    m_registry.isTriggerRegistered = false;
    m_gate = std::make_unique<PermissionGate>(m_env.trust, m_env.defaults, m_env.urlOpener);
    m_manipulator = std::make_unique<AXWindowManipulator>(m_env.accessibility, m_env.overlay.screens);
    m_resolverManipulator = std::make_unique<AXWindowManipulator>(m_env.accessibility, m_env.overlay.screens);
    m_presenter = std::make_shared<OverlayPresenter>(
        *m_manipulator, m_registry, *m_gate, FocusedWindowResolver(*m_resolverManipulator, m_env.overlay.screens),
        std::make_shared<OverlayViewModel>(), m_env.overlay);
    m_presenter->start();
    Log::lifecycle().info(M::presenterStarted);

    std::weak_ptr<bool> alive = m_alive;
    m_windowCloseObserver = m_env.overlay.defaultCenter.addObserver(PlatformNotifications::windowWillClose, nullptr,
                                                                    [this, alive](const Notification& note) {
                                                                        if (alive.lock())
                                                                            windowWillClose(note);
                                                                    });

    auto& monitor = AccessibilityStatusMonitor::shared();
    monitor.configure(m_gate.get(), &m_env.scheduler);
    monitor.start();

    if (m_env.showOnboardingIfNeeded) {
        PermissionGate* gate = m_gate.get();
        m_env.showOnboardingIfNeeded([gate, alive] {
            if (!alive.lock())
                return;
            if (gate->check(false).kind == PermissionState::Kind::notDetermined)
                gate->requestAccess();
            else
                gate->openAccessibilitySettings();
        });
    }
}

void AppDelegate::windowWillClose(const Notification& note)
{
    // The overlay panel has no title bar, so closing it never hides the application.
    if (!note.userInfo.value(PlatformNotifications::windowIsTitledKey).toBool())
        return;
    std::weak_ptr<bool> alive = m_alive;
    m_env.scheduler.scheduleOnce(0.1, [this, alive] {
        if (!alive.lock())
            return;
        if (m_env.desktop.isActive() && !m_env.desktop.hasVisibleTitledWindow())
            m_env.desktop.hide();
    });
}

void AppDelegate::applicationWillTerminate()
{
    Log::lifecycle().info(M::willTerminate);
    if (m_presenter) {
        m_presenter->stop();
        m_presenter.reset();
    }
    if (m_windowCloseObserver) {
        m_env.overlay.defaultCenter.removeObserver(*m_windowCloseObserver);
        m_windowCloseObserver.reset();
    }
}

} // namespace mosaro
