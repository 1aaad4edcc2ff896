#include "Diagnostics/Log/Log.h"
#include "Permission/PermissionGate.h"
#include "support/FakePermissionPlatform.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

class PermissionGateTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        PermissionGate::resetRecordedStateForTesting();
        Log::Store::shared().clear();
    }
    bool flag() const { return defaults.values.value(PermissionGate::promptFlagKey).toBool(); }

    FakeAccessibilityTrust trust;
    InMemoryDefaultsStore defaults;
    FakeUrlOpener opener;
    PermissionGate gate{trust, defaults, opener};
};

TEST_F(PermissionGateTest, UntrustedIsNotDeterminedUntilPromptedThenDeniedAndQuiet)
{
    EXPECT_EQ(gate.check(false), PermissionState::notDetermined());
    EXPECT_FALSE(defaults.values.contains("tech.brenmark.mosaro.hasPromptedAccessibility"));
    EXPECT_EQ(gate.check(true), PermissionState::denied(true));
    EXPECT_TRUE(flag());
    EXPECT_EQ(trust.promptArguments, (std::vector<bool>{false, true}));
    // Later checks, from this gate or another one, repeat the state without logging.
    EXPECT_EQ(gate.check(false), PermissionState::denied(true));
    EXPECT_EQ(PermissionGate(trust, defaults, opener).check(false), PermissionState::denied(true));
    EXPECT_EQ(loggedMessages("permission"),
              (QStringList{"permission state → notDetermined", "permission state → denied(canPromptAgain: true)"}));
    EXPECT_NE(PermissionState::denied(true), PermissionState::denied(false));
}

TEST_F(PermissionGateTest, TrustIgnoresTheFlagAndOnlyRequestAccessSetsItWhenTrusted)
{
    trust.trusted = true;
    EXPECT_EQ(gate.check(true), PermissionState::granted());
    EXPECT_FALSE(defaults.values.contains(PermissionGate::promptFlagKey));
    EXPECT_EQ(loggedMessages("permission"), QStringList{"permission state → granted"});

    gate.requestAccess();
    EXPECT_TRUE(flag());
    EXPECT_EQ(trust.promptArguments.back(), true);
    EXPECT_EQ(gate.check(false), PermissionState::granted());
    gate.openAccessibilitySettings();
    EXPECT_EQ(opener.opened,
              std::vector<QString>{"x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility"});
    EXPECT_EQ(loggedMessages("permission").size(), 1);

    // Access revoked after a prompt: denied, never notDetermined again.
    trust.trusted = false;
    EXPECT_EQ(toString(gate.check(false)), "denied(canPromptAgain: true)");
}

} // namespace
