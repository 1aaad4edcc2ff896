#include "App/RemoteCommands.h"
#include "Diagnostics/Log/Log.h"
#include "support/FakeSingleInstance.h"
#include "support/LogLines.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

using Claim = SingleInstance::Claim;
using Delivery = SingleInstance::Delivery;

class RemoteCommandsTest : public ::testing::Test {
protected:
    void SetUp() override { Log::Store::shared().clear(); }
    FakeSingleInstance session;
};

TEST_F(RemoteCommandsTest, TheFirstMosaroOfASessionRunsAndReceivesCommands)
{
    std::vector<RemoteCommand> received;
    const auto outcome = claimSession(session, [&](RemoteCommand c) { received.push_back(c); });
    EXPECT_TRUE(outcome.keepRunning);
    EXPECT_TRUE(session.sent.empty());
    ASSERT_TRUE(session.handler);
    session.handler(RemoteCommand::trigger);
    EXPECT_EQ(received, std::vector<RemoteCommand>{RemoteCommand::trigger});
    EXPECT_TRUE(loggedMessages(QStringLiteral("lifecycle")).isEmpty());
}

TEST_F(RemoteCommandsTest, ALaterPlainStartAsksForTheSettingsAndLeavesWithSuccess)
{
    session.claimAnswer = Claim::alreadyRunning;
    const auto outcome = claimSession(session, [](RemoteCommand) {});
    EXPECT_FALSE(outcome.keepRunning);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_TRUE(outcome.errorText.isEmpty());
    EXPECT_EQ(session.sent, std::vector<RemoteCommand>{RemoteCommand::showSettings});

    // The running one went away between the two steps.
    session.sent.clear();
    session.sendAnswer = {Delivery::noInstance, {}};
    const auto gone = claimSession(session, [](RemoteCommand) {});
    EXPECT_FALSE(gone.keepRunning);
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(gone.errorText, QStringLiteral("mosaro: Mosaro is not running in this session"));
}

TEST_F(RemoteCommandsTest, WithoutASessionBusMosaroRunsAloneAndSaysSoOnce)
{
    session.claimAnswer = Claim::unavailable;
    const auto outcome = claimSession(session, [](RemoteCommand) {});
    EXPECT_TRUE(outcome.keepRunning);
    EXPECT_EQ(loggedMessages(QStringLiteral("lifecycle")),
              QStringList{QStringLiteral("no session bus (%1): running alone, single instance and remote commands "
                                         "are unavailable")
                              .arg(session.reason)});
}

TEST_F(RemoteCommandsTest, RemoteCommandsFailWithOneLineWhenNobodyCanHearThem)
{
    EXPECT_EQ(sendRemoteCommand(session, RemoteCommand::quit).exitCode, 0);
    EXPECT_EQ(session.sent, std::vector<RemoteCommand>{RemoteCommand::quit});
    EXPECT_EQ(session.claims, 0) << "a remote command never becomes the session's Mosaro";

    const struct {
        SingleInstance::SendResult answer;
        QString line;
    } cases[] = {
        {{Delivery::noInstance, {}}, "mosaro: Mosaro is not running in this session"},
        {{Delivery::unavailable, {}},
         "mosaro: no session bus (" + session.reason + "): remote commands are unavailable"},
        {{Delivery::failed, "Did not receive a reply"},
         "mosaro: the running Mosaro did not answer: Did not receive a reply"},
    };
    for (const auto& c : cases) {
        session.sendAnswer = c.answer;
        const auto outcome = sendRemoteCommand(session, RemoteCommand::trigger);
        EXPECT_FALSE(outcome.keepRunning);
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.errorText, c.line);
    }
}

} // namespace
