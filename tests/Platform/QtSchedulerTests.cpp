#include "Platform/QtScheduler.h"
#include "support/ApplicationEnvironment.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

using namespace mosaro;

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

namespace {

// Runs the event loop until the condition holds, counting iterations rather than time.
template <class F>
bool spin(F done, int iterations = 100000)
{
    for (int i = 0; i < iterations && !done(); ++i)
        QCoreApplication::processEvents();
    return done();
}

TEST(QtScheduler, FiresOnceOrRepeatedlyAndCancelsEvenFromInsideATick)
{
    QtScheduler scheduler;
    int once = 0, dropped = 0, ticks = 0;
    Scheduler::Token tick = 0;
    scheduler.scheduleOnce(0, [&] { ++once; });
    scheduler.cancel(scheduler.scheduleOnce(0, [&] { ++dropped; }));
    scheduler.cancel(12345); // unknown tokens are ignored
    tick = scheduler.scheduleRepeating(-1, [&] {
        if (++ticks == 3)
            scheduler.cancel(tick);
    });
    ASSERT_TRUE(spin([&] { return once == 1 && ticks == 3; }));
    spin([] { return false; }, 200);
    EXPECT_EQ(once, 1);
    EXPECT_EQ(dropped, 0);
    EXPECT_EQ(ticks, 3);
    EXPECT_EQ(scheduler.activeTimerCount(), 0u);
}

} // namespace
