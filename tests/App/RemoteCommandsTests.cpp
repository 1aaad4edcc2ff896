#include "App/RemoteCommands.h"
#include "support/FakeSingleInstance.h"

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

using Claim = SingleInstance::Claim;
using Delivery = SingleInstance::Delivery;

class RemoteCommandsTest : public ::testing::Test {
protected:
    FakeSingleInstance session;
};

// The end-to-end tests run the first Mosaro of a session, a second one and remote commands on a
// private bus; here, what a bus cannot be made to do there: answer no more, or fail.
TEST_F(RemoteCommandsTest, CommandsFailWithOneLineWhenNobodyCanHearThem)
{
    EXPECT_EQ(sendRemoteCommand(session, RemoteCommand::quit).exitCode, 0);
    EXPECT_EQ(session.claims, 0) << "a remote command never becomes the session's Mosaro";

    const struct {
        SingleInstance::SendResult answer;
        QString line;
    } cases[] = {
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

    // A later start whose running Mosaro went away between the claim and the hand-over.
    session.claimAnswer = Claim::alreadyRunning;
    session.sendAnswer = {Delivery::noInstance, {}};
    const auto gone = claimSession(session, [](RemoteCommand) {});
    EXPECT_FALSE(gone.keepRunning);
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_EQ(session.sent.back(), RemoteCommand::showSettings);
}

} // namespace
