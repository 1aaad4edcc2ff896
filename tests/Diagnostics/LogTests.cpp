#include "Diagnostics/Log.h"
#include "Diagnostics/LogMessages.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

class LogTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        Log::setMinimumLevel(Log::Level::info);
        Log::setSignpostsEnabled(true);
    }
    void TearDown() override { Log::setMinimumLevel(Log::Level::info); }
};

TEST(LogCompose, FormatsEveryConversionWithPrivacy)
{
    using Log::Arg;
    EXPECT_EQ(Log::compose("AX set %{public}s failed: %d", {Arg(QStringLiteral("AXSize")), Arg(std::int64_t(-25200))}),
              "AX set AXSize failed: -25200");
    EXPECT_EQ(Log::compose("overlay show: window=%{private}s display=%s",
                           {Arg(QStringLiteral("Secret")), Arg(QStringLiteral("(0, 0, 1, 1)"))}),
              "overlay show: window=<private> display=<private>");
    EXPECT_EQ(Log::compose("a=%{bool}d b=%{bool,public}d c=%d", {Arg(true), Arg(false), Arg(true)}),
              "a=true b=false c=1");
    EXPECT_EQ(Log::compose("persisted global resize: %ld×%ld", {Arg(std::int64_t(4)), Arg(std::int64_t(3))}),
              "persisted global resize: 4×3");
    EXPECT_EQ(Log::compose("keyCode=%hu", {Arg(std::int64_t(65536 + 36))}), "keyCode=36");
    EXPECT_EQ(Log::compose("100%% of %s", {Arg(QStringLiteral("x"))}, /*revealPrivate*/ true), "100% of x");
    EXPECT_EQ(Log::compose("%d and %d", {Arg(std::int64_t(1))}), "1 and <missing>");
}

TEST_F(LogTest, KeepsCategoryLevelFormatAndArguments)
{
    Log::windowmanager().error(LogMessages::axSetFailed, QStringLiteral("AXSize"), -25200);
    const auto entries = Log::Store::shared().entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].category, "windowmanager");
    EXPECT_EQ(entries[0].level, Log::Level::error);
    EXPECT_EQ(entries[0].format, QString::fromUtf8(LogMessages::axSetFailed));
    EXPECT_EQ(entries[0].message, "AX set AXSize failed: -25200");
    ASSERT_EQ(entries[0].args.size(), 2u);
    EXPECT_EQ(std::get<QString>(entries[0].args[0]), "AXSize");
    EXPECT_EQ(std::get<std::int64_t>(entries[0].args[1]), -25200);
}

TEST_F(LogTest, DisabledLevelsNeverFormatTheirArguments)
{
    int evaluated = 0;
    auto expensive = [&] {
        ++evaluated;
        return QStringLiteral("navigate(right)");
    };
    Log::overlay().debug(LogMessages::keyDown, 124, false, false, false, expensive);
    EXPECT_EQ(evaluated, 0);
    EXPECT_TRUE(Log::Store::shared().entries().empty());

    Log::setMinimumLevel(Log::Level::debug);
    Log::overlay().debug(LogMessages::keyDown, 124, false, false, false, expensive);
    EXPECT_EQ(evaluated, 1);
    ASSERT_EQ(Log::Store::shared().entries().size(), 1u);
    EXPECT_EQ(Log::Store::shared().entries()[0].message,
              "keyDown keyCode=124 shift=false cmd=false opt=false → <private>");
}

TEST_F(LogTest, SignpostsRecordNamedIntervalsWithEndMessages)
{
    const auto state = Log::perf().beginInterval(LogMessages::showOverlayInterval);
    Log::perf().endInterval(state, "no-window");
    const auto entries = Log::Store::shared().entries();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].kind, Log::Entry::Kind::signpostBegin);
    EXPECT_EQ(entries[1].kind, Log::Entry::Kind::signpostEnd);
    EXPECT_EQ(entries[1].signpostName, "sc-001 show-overlay");
    EXPECT_EQ(entries[1].message, "no-window");
    EXPECT_EQ(entries[0].signpostID, entries[1].signpostID);
    EXPECT_EQ(entries[1].category, "perf");

    Log::setSignpostsEnabled(false);
    Log::perf().endInterval(Log::perf().beginInterval("x"), "ok");
    EXPECT_EQ(Log::Store::shared().entries().size(), 2u);
}

TEST_F(LogTest, StoreKeepsOnlyTheNewestEntriesAndFiltersByTime)
{
    QDateTime t = QDateTime::fromSecsSinceEpoch(1'000'000);
    Log::Store::shared().setClock([&] { return t; });
    Log::Store::shared().setCapacity(3);
    for (int i = 0; i < 5; ++i) {
        Log::lifecycle().info("n=%d", i);
        t = t.addSecs(10);
    }
    auto entries = Log::Store::shared().entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries.front().message, "n=2");
    EXPECT_EQ(Log::Store::shared().entriesSince(QDateTime::fromSecsSinceEpoch(1'000'030)).size(), 2u);
    Log::Store::shared().setCapacity(20000);
    Log::Store::shared().setClock({});
}

TEST(LogCategories, ReportReadsSixCategoriesWithoutOnboarding)
{
    EXPECT_EQ(Log::reportCategories(),
              (QStringList{"lifecycle", "overlay", "permission", "preferences", "windowmanager", "perf"}));
    EXPECT_EQ(Log::onboarding().category(), "onboarding");
}

} // namespace
