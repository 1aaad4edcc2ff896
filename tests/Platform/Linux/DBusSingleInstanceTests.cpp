#include "Platform/Linux/DBusSingleInstance.h"
#include "support/ApplicationEnvironment.h"
#include "support/EventLoopWait.h"
#include "support/PrivateSessionBus.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QProcess>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

namespace {

using Claim = SingleInstance::Claim;

// Two processes of the session, as two connections to one private bus.
class DBusSingleInstanceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(bus.ok()) << bus.error().toStdString(); }
    void TearDown() override
    {
        for (const QString& name : connections)
            QDBusConnection::disconnectFromBus(name);
    }

    QDBusConnection connect()
    {
        const QString name = QStringLiteral("mosaro-test-%1").arg(connections.size());
        connections << name;
        return QDBusConnection::connectToBus(bus.address(), name);
    }

    PrivateSessionBus bus;
    QStringList connections;
};

// The interface as a shell script calls it (the README's example), and as a sender beside the
// running one in one process does; claiming, handing over and an empty bus are the launches'.
TEST_F(DBusSingleInstanceTest, CallsFromGdbusAndFromItsOwnProcessReachTheRunningOne)
{
    DBusSingleInstance running(connect());
    std::vector<RemoteCommand> received;
    ASSERT_EQ(running.claim([&](RemoteCommand c) { received.push_back(c); }), Claim::primary);
    QProcess gdbus;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), bus.address());
    gdbus.setProcessEnvironment(env);
    gdbus.start(QStringLiteral("gdbus"), {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                                          QStringLiteral("tech.brenmark.mosaro"), QStringLiteral("--object-path"),
                                          QStringLiteral("/tech/brenmark/mosaro"), QStringLiteral("--method"),
                                          QStringLiteral("tech.brenmark.mosaro.ShowAbout")});
    ASSERT_TRUE(waitFor([&] { return gdbus.state() == QProcess::NotRunning; }));
    EXPECT_EQ(gdbus.exitCode(), 0) << gdbus.readAllStandardError().toStdString();
    ASSERT_TRUE(waitFor([&] { return received.size() == 1; }));
    EXPECT_EQ(received.front(), RemoteCommand::showAbout);

    // A sender in the running one's own process is answered while it waits.
    DBusSingleInstance beside(connect());
    EXPECT_EQ(beside.send(RemoteCommand::trigger).delivery, SingleInstance::Delivery::delivered);
    ASSERT_TRUE(waitFor([&] { return received.size() == 2; }));
    EXPECT_EQ(received.back(), RemoteCommand::trigger);
}

} // namespace
