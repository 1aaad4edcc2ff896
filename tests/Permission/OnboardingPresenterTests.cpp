#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Permission/OnboardingPresenter.h"
#include "support/FakePermissionPlatform.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

struct FakeWelcome : OnboardingWindow {
    explicit FakeWelcome(std::vector<std::string>* lines) : journal(lines) {}
    void show() override { journal->push_back("shown"); }
    void close() override
    {
        journal->push_back("closed");
        if (onWillClose)
            onWillClose();
    }
    std::vector<std::string>* journal;
};

struct FakeWelcomeFactory : OnboardingWindowFactory {
    std::unique_ptr<OnboardingWindow> makeOnboardingWindow() override
    {
        auto window = std::make_unique<FakeWelcome>(&journal);
        last = window.get();
        return window;
    }
    std::vector<std::string> journal;
    FakeWelcome* last = nullptr;
};

struct FakePolicy : ActivationPolicy {
    void setActivationPolicy(Kind kind) override { policies.push_back(kind); }
    void activateIgnoringOtherApps() override { ++activations; }
    std::vector<Kind> policies;
    int activations = 0;
};

class OnboardingPresenterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        PermissionGate::resetRecordedStateForTesting();
        onboarding.resetForTesting();
        gate = std::make_unique<PermissionGate>(trust, defaults, urls);
        onboarding.configure(gate.get(), &windows, &policy);
    }
    void TearDown() override { onboarding.resetForTesting(); }

    OnboardingPresenter& onboarding = OnboardingPresenter::shared();
    FakeAccessibilityTrust trust;
    InMemoryDefaultsStore defaults;
    FakeUrlOpener urls;
    FakeWelcomeFactory windows;
    FakePolicy policy;
    std::unique_ptr<PermissionGate> gate;
};

TEST_F(OnboardingPresenterTest, ContinueClosesThenRunsTheActionAndTheWindowCanShowAgain)
{
    trust.trusted = true;
    onboarding.showIfNeeded([] {});
    EXPECT_FALSE(onboarding.isOpen());
    EXPECT_TRUE(loggedMessages(QStringLiteral("onboarding")).contains(LogMessages::onboardingSkipped));
    EXPECT_TRUE(policy.policies.empty());

    trust.trusted = false;
    int continued = 0;
    onboarding.showIfNeeded([&] {
        EXPECT_FALSE(onboarding.isOpen()); // closed before the action runs
        ++continued;
    });
    ASSERT_TRUE(onboarding.isOpen());
    EXPECT_TRUE(loggedMessages(QStringLiteral("onboarding")).contains(LogMessages::showingOnboarding));
    EXPECT_EQ(policy.policies, std::vector{ActivationPolicy::Kind::regular});
    EXPECT_EQ(policy.activations, 1);

    onboarding.showIfNeeded([] {}); // already open: nothing
    EXPECT_EQ(windows.journal, std::vector<std::string>{"shown"});

    windows.last->onContinue();
    EXPECT_EQ(continued, 1);
    EXPECT_FALSE(onboarding.isOpen());
    EXPECT_EQ(policy.policies.back(), ActivationPolicy::Kind::accessory);

    // Closing by the close box behaves like "Not now".
    trust.trusted = true;
    onboarding.show([&] { ++continued; });
    windows.last->close();
    EXPECT_FALSE(onboarding.isOpen());
    EXPECT_EQ(continued, 1);
    EXPECT_EQ(windows.journal, (std::vector<std::string>{"shown", "closed", "shown", "closed"}));
    EXPECT_EQ(policy.policies.size(), 4u);
}

} // namespace
