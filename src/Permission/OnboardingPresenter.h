#pragma once

#include "Permission/PermissionGate.h"

#include <functional>
#include <memory>

namespace mosaro {

// The welcome window as the presenter drives it.
class OnboardingWindow {
public:
    virtual ~OnboardingWindow() = default;
    std::function<void()> onContinue;  // "Allow Accessibility Access"
    std::function<void()> onSkip;      // "Not now"
    std::function<void()> onWillClose; // however the window closes
    // Centred, titled and closable, brought to the front with the keyboard focus.
    virtual void show() = 0;
    virtual void close() = 0;
};

class OnboardingWindowFactory {
public:
    virtual ~OnboardingWindowFactory() = default;
    virtual std::unique_ptr<OnboardingWindow> makeOnboardingWindow() = 0;
};

// Whether the application shows up as a regular application (in the task switcher and the
// dock, where the desktop has one) or only through its tray icon.
class ActivationPolicy {
public:
    enum class Kind {
        regular,
        accessory
    };
    virtual ~ActivationPolicy() = default;
    virtual void setActivationPolicy(Kind kind) = 0;
    virtual void activateIgnoringOtherApps() = 0;
};

// What the welcome window's main button does: asks the platform to prompt when the user was
// never asked, else opens the platform's settings page for the permission.
void continueFromWelcome(PermissionGate& gate);

// Shows the welcome window at launch when permission is missing, and on demand.
class OnboardingPresenter {
public:
    static OnboardingPresenter& shared();

    void configure(PermissionGate* gate, OnboardingWindowFactory* windows, ActivationPolicy* policy);
    void showIfNeeded(std::function<void()> continueAction);
    void show(std::function<void()> continueAction);
    bool isOpen() const { return m_window != nullptr; }
    void resetForTesting();

private:
    void closeWindow();
    void windowWillClose();

    PermissionGate* m_gate = nullptr;
    OnboardingWindowFactory* m_windows = nullptr;
    ActivationPolicy* m_policy = nullptr;
    std::unique_ptr<OnboardingWindow> m_window;
    std::unique_ptr<OnboardingWindow> m_closed;
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
};

} // namespace mosaro
