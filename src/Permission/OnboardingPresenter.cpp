#include "Permission/OnboardingPresenter.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

namespace mosaro {

void continueFromWelcome(PermissionGate& gate)
{
    if (gate.check(false).kind == PermissionState::Kind::notDetermined)
        gate.requestAccess();
    else
        gate.openAccessibilitySettings();
}

OnboardingPresenter& OnboardingPresenter::shared()
{
    static OnboardingPresenter presenter;
    return presenter;
}

void OnboardingPresenter::configure(PermissionGate* gate, OnboardingWindowFactory* windows, ActivationPolicy* policy)
{
    m_gate = gate;
    m_windows = windows;
    m_policy = policy;
}

void OnboardingPresenter::showIfNeeded(std::function<void()> continueAction)
{
    if (m_window || !m_gate)
        return;
    if (!m_gate->check(false).isGranted()) {
        Log::onboarding().info(LogMessages::showingOnboarding);
        show(std::move(continueAction));
    } else {
        Log::onboarding().info(LogMessages::onboardingSkipped);
    }
}

void OnboardingPresenter::show(std::function<void()> continueAction)
{
    if (!m_windows)
        return;
    std::weak_ptr<bool> alive = m_alive;
    m_window = m_windows->makeOnboardingWindow();
    m_window->onContinue = [this, alive, continueAction = std::move(continueAction)] {
        if (!alive.lock())
            return;
        // Closing drops this callback and its captures: keep what is needed after it.
        const std::function<void()> action = continueAction;
        OnboardingPresenter* const self = this;
        self->closeWindow();
        if (action)
            action();
    };
    m_window->onSkip = [this, alive] {
        if (alive.lock())
            closeWindow();
    };
    m_window->onWillClose = [this, alive] {
        if (alive.lock())
            windowWillClose();
    };
    if (m_policy) {
        m_policy->setActivationPolicy(ActivationPolicy::Kind::regular);
        m_policy->activateIgnoringOtherApps();
    }
    m_window->show();
}

void OnboardingPresenter::closeWindow()
{
    if (m_window)
        m_window->close(); // announces itself through onWillClose
}

void OnboardingPresenter::windowWillClose()
{
    if (!m_window)
        return;
    // The window may still be inside its own close handling: keep it until the next one.
    m_closed = std::move(m_window);
    m_closed->onContinue = nullptr;
    m_closed->onSkip = nullptr;
    m_closed->onWillClose = nullptr;
    if (m_policy)
        m_policy->setActivationPolicy(ActivationPolicy::Kind::accessory);
}

void OnboardingPresenter::resetForTesting()
{
    m_window.reset();
    m_closed.reset();
    m_gate = nullptr;
    m_windows = nullptr;
    m_policy = nullptr;
    m_alive = std::make_shared<bool>(true);
}

} // namespace mosaro
