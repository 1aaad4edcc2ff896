#include "Platform/StoreLogReader.h"

#include "Diagnostics/Log/LogMessages.h"
#include "support/FakeSystemInfo.h"

#include "support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

class StoreLogReaderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        Log::Store::shared().setClock([this] { return now; });
    }
    void TearDown() override
    {
        Log::setRevealPrivate(false);
        Log::Store::shared().setClock({});
        Log::Store::shared().clear();
    }
    LogQuery query() const { return {now.addSecs(-300), Log::subsystem, Log::reportCategories()}; }

    QDateTime now = QDateTime(QDate(2025, 3, 14), QTime(12, 0));
};

TEST_F(StoreLogReaderTest, ReadsTheWindowOfTheAskedCategoriesRedacted)
{
    Log::lifecycle().info("old");
    now = now.addSecs(301);
    Log::setRevealPrivate(true);
    Log::overlay().info(LogMessages::commitMove, QStringLiteral("Bank statement"), QStringLiteral("(0, 0, 1, 1)"));
    Log::onboarding().info(LogMessages::showingOnboarding);
    const auto interval = Log::perf().beginInterval(LogMessages::commitMoveInterval);

    const auto read = StoreLogReader().entries(query());
    ASSERT_TRUE(read.hasValue());
    ASSERT_EQ(read->size(), 2u);
    EXPECT_EQ((*read)[0],
              (LogRecord{LogRecord::Kind::message, now, "overlay", "commit move: window=<private> → <private>"}));
    EXPECT_EQ((*read)[1], (LogRecord{LogRecord::Kind::signpost, now, "perf", "sc-002a commit-move"}));
    Log::perf().endInterval(interval);

    LogQuery other = query();
    other.subsystem = QStringLiteral("org.example.other");
    EXPECT_TRUE(StoreLogReader().entries(other)->empty());
}

TEST(FallbackLogReader, TakesTheSecondReaderOnlyWhenTheFirstSeesNothing)
{
    test::FakeLogReader first, second;
    const LogRecord a{LogRecord::Kind::message, QDateTime::currentDateTime(), "overlay", "from the journal"};
    const LogRecord b{LogRecord::Kind::message, QDateTime::currentDateTime(), "overlay", "from memory"};
    second.answer = std::vector<LogRecord>{b};
    const FallbackLogReader reader(first, second);
    const LogQuery query{};

    EXPECT_EQ(*reader.entries(query), std::vector<LogRecord>{b});
    first.answer = std::vector<LogRecord>{a};
    EXPECT_EQ(*reader.entries(query), std::vector<LogRecord>{a});
    first.answer = unexpected(LogReadError{"Permission denied"});
    EXPECT_EQ(reader.entries(query).error().description, "Permission denied");
}

} // namespace
