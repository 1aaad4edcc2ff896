#pragma once

#include "KeyboardShortcuts/HotkeyRegistry.h"
#include "Overlay/OverlayPresenter.h"
#include "Permission/PermissionGate.h"
#include "Platform/Accessibility.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/DefaultsStore.h"
#include "WindowControl/AXWindowManipulator.h"

#include <functional>
#include <memory>
#include <optional>

namespace mosaro {

// The desktop as the application shell sees it.
class DesktopSession {
public:
    virtual ~DesktopSession() = default;
    virtual bool isActive() const = 0;
    virtual bool hasVisibleTitledWindow() const = 0;
    // Gives the focus back to the previously active application.
    virtual void hide() = 0;
};

struct AppEnvironment {
    Accessibility& accessibility;
    AccessibilityTrust& trust;
    DefaultsStore& defaults;
    UrlOpener& urlOpener;
    Scheduler& scheduler;
    DesktopSession& desktop;
    OverlayPlatform overlay;
    // Shows the welcome window when permission is missing; given the continue action.
    std::function<void(std::function<void()>)> showOnboardingIfNeeded;
};

// Builds the long-lived services at launch in a fixed order and tears the overlay down at exit.
class AppDelegate {
public:
    explicit AppDelegate(AppEnvironment environment);
    ~AppDelegate();

    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    OverlayPresenter* presenter() const { return m_presenter.get(); }
    PermissionGate* permissionGate() const { return m_gate.get(); }

private:
    void windowWillClose(const Notification& note);

    AppEnvironment m_env;
    HotkeyRegistry m_registry;
    std::unique_ptr<PermissionGate> m_gate;
    std::unique_ptr<AXWindowManipulator> m_manipulator;
    std::unique_ptr<AXWindowManipulator> m_resolverManipulator;
    std::shared_ptr<OverlayPresenter> m_presenter;
    std::optional<NotificationCenter::Token> m_windowCloseObserver;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace mosaro
