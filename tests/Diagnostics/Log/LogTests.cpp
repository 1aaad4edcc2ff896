#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <string>

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

// One argument through one conversion, as printf would narrow and spell it, with privacy.
TEST(LogCompose, ConversionsNarrowLikePrintfAndKeepTextsPrivate)
{
    using Log::Arg;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        const char* format;
        Arg arg;
        const char* expected;
    } rows[] = {
        {"%{public}s failed", Arg(QStringLiteral("AXSize")), "AXSize failed"},
        {"window=%{private}s", Arg(QStringLiteral("Secret")), "window=<private>"},
        {"display=%s", Arg(QStringLiteral("(0, 0, 1, 1)")), "display=<private>"},
        {"%d", Arg(QStringLiteral("secret")), "<private>"},
        {"%{public}.3s", Arg(QStringLiteral("display")), "dis"},
        {"a=%{bool}d", Arg(true), "a=true"},
        {"%{bool,public}d", Arg(false), "false"},
        {"%{bool}d", Arg(nan), "true"},
        {"c=%d", Arg(true), "c=1"},
        {"%ld×%ld", Arg(std::int64_t(4)), "4×<missing>"},
        {"%hu", Arg(std::int64_t(65536 + 36)), "36"},
        {"%u", Arg(std::int64_t(-1)), "4294967295"},
        {"%lu", Arg(std::int64_t(-1)), "18446744073709551615"},
        {"%hhu", Arg(std::int64_t(300)), "44"},
        {"%d", Arg(std::int64_t(2147483648)), "-2147483648"},
        {"%ld", Arg(std::numeric_limits<std::uint64_t>::max()), "-1"},
        {"%ld", Arg(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
        {"%lx", Arg(std::int64_t(-2)), "fffffffffffffffe"},
        {"%d", Arg(nan), "nan"},
        {"%d", Arg(-inf), "-inf"},
        {"%d", Arg(-2.9), "-2"},
        {"%d", Arg(1e300), "2147483647"},
        {"%lu", Arg(1e300), "18446744073709551615"},
        {"%u", Arg(-5.0), "0"},
        {"%hd", Arg(40000.0), "32767"},
        {"%.2f", Arg(2.0 / 3.0), "0.67"},
        {"%e", Arg(12345.678), "1.234568e+04"},
        {"%g", Arg(1e20), "1e+20"},
        {"%f", Arg(std::int64_t(-3)), "-3.000000"},
        {"%F", Arg(-inf), "-INF"},
        {"%.1f", Arg(-0.0), "-0.0"},
        {"%a", Arg(1.0), "0x1p+0"},
        {"[%-5d]", Arg(std::int64_t(42)), "[42   ]"},
        {"[%05d]", Arg(std::int64_t(-42)), "[-0042]"},
        {"[%+d]", Arg(std::int64_t(7)), "[+7]"},
        {"[%.3d]", Arg(std::int64_t(7)), "[007]"},
        {"[%#x]", Arg(std::int64_t(255)), "[0xff]"},
        {"%s", Arg(0.25), "0.25"},
        {"100%% of %d", Arg(std::int64_t(1)), "100% of 1"},
        // Not a conversion: shown as written, no argument used; a cut specification keeps its tail.
        {"%k %d", Arg(std::int64_t(1)), "%k 1"},
        {"x=%{public", Arg(std::int64_t(1)), "x=%{public"},
        {"x=%5", Arg(std::int64_t(1)), "x=%5"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Log::compose(row.format, {row.arg}), row.expected) << row.format;
    EXPECT_EQ(Log::compose("%s", {Arg(QStringLiteral("x"))}, /*revealPrivate*/ true), "x");
    // Widths are capped so that no format asks for unbounded text.
    EXPECT_EQ(Log::compose("%999999999999d", {Arg(std::int64_t(1))}).size(), 1024);
    EXPECT_EQ(Log::compose("%f", {Arg(1e308)}).size(), 309 + 7);
}

TEST(LogCompose, TextDoesNotDependOnTheProcessLocale)
{
    using Log::Arg;
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"})
        if (std::setlocale(LC_ALL, name) != nullptr)
            break;
    EXPECT_EQ(Log::compose("%.2f %g %d", {Arg(1234.5), Arg(0.5), Arg(std::int64_t(1000000))}), "1234.50 0.5 1000000");
    std::setlocale(LC_ALL, before.c_str());
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

TEST_F(LogTest, EntryCountGivesWayToTheLastFiveMinutes)
{
    QDateTime t = QDateTime::fromSecsSinceEpoch(1'000'000);
    Log::Store::shared().setClock([&] { return t; });
    Log::Store::shared().setCapacity(100);
    // Ten minutes at one entry a second: past the cap, only what is older than five minutes goes.
    for (int i = 0; i < 600; ++i) {
        Log::lifecycle().info("n=%d", i);
        t = t.addSecs(1);
    }
    auto entries = Log::Store::shared().entries();
    EXPECT_EQ(entries.size(), 301u);
    EXPECT_EQ(entries.front().message, "n=299");
    EXPECT_EQ(entries.back().message, "n=599");
    EXPECT_EQ(Log::Store::shared().entriesSince(t.addSecs(-30)).size(), 30u);

    // An hour later the old entries are outside the window: lowering the cap trims them at once.
    t = t.addSecs(3600);
    Log::lifecycle().info("later");
    Log::Store::shared().setCapacity(3);
    entries = Log::Store::shared().entries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].message, "n=598");
    EXPECT_EQ(entries[2].message, "later");

    Log::Store::shared().setCapacity(Log::Store::defaultCapacity);
    Log::Store::shared().setClock({});
}

TEST_F(LogTest, BytesAreBoundedWhateverWindowsCallThemselves)
{
    const QString title(qsizetype(64) * 1024, u'x'); // a 64 KiB window title
    for (int i = 0; i < 5000; ++i) {
        Log::overlay().info(LogMessages::overlayShow, title, QStringLiteral("(0, 0, 1280, 800)"));
        Log::overlay().info(LogMessages::commitMove, title, QStringLiteral("(0, 0, 640, 400)"));
    }
    const auto entries = Log::Store::shared().entries();
    EXPECT_LE(Log::Store::shared().byteSize(), Log::Store::defaultByteLimit);
    EXPECT_GT(Log::Store::shared().byteSize(), Log::Store::defaultByteLimit / 2);
    // All of it is the newest; the five minutes do not fit, and the limit holds anyway.
    ASSERT_LT(entries.size(), 10000u);
    EXPECT_EQ(entries.back().format, QString::fromUtf8(LogMessages::commitMove));
    std::size_t counted = 0;
    for (const auto& e : entries) {
        counted += Log::Store::footprint(e);
        EXPECT_EQ(std::get<QString>(e.args[0]).toUtf8().size(), 1024 + 3); // cut, then "…"
    }
    EXPECT_EQ(counted, Log::Store::shared().byteSize());

    // A smaller limit trims the oldest right away; clear() gives every byte back.
    Log::Store::shared().setByteLimit(std::size_t(64) * 1024);
    EXPECT_LE(Log::Store::shared().byteSize(), 64u * 1024);
    EXPECT_EQ(Log::Store::shared().entries().back().format, QString::fromUtf8(LogMessages::commitMove));
    Log::Store::shared().clear();
    EXPECT_EQ(Log::Store::shared().byteSize(), 0u);
    Log::Store::shared().setByteLimit(Log::Store::defaultByteLimit);
}

TEST(LogArguments, LongTextsAreCutAtAWholeCharacterWithinTheLimit)
{
    EXPECT_EQ(Log::truncatedArgument(QString(1024, u'a')), QString(1024, u'a'));
    EXPECT_EQ(Log::truncatedArgument(QString(1025, u'a')), QString(1024, u'a') + QStringLiteral("…"));
    // Two-, three- and four-byte characters are never split.
    EXPECT_EQ(Log::truncatedArgument(QString(600, u'é')), QString(512, u'é') + QStringLiteral("…"));
    const QString euros = QStringLiteral("ab") + QString(400, u'€'); // 2 + 3 * 340 = 1022 bytes fit
    EXPECT_EQ(Log::truncatedArgument(euros), euros.left(342) + QStringLiteral("…"));
    QString emoji;
    for (int i = 0; i < 300; ++i)
        emoji += QStringLiteral("😀");
    const QString cut = Log::truncatedArgument(emoji);
    EXPECT_EQ(cut, emoji.left(512) + QStringLiteral("…"));
    EXPECT_EQ(cut.toUtf8().size(), 1024 + 3);
    // An unpaired surrogate counts as a three-byte replacement and does not end the text early.
    const QString odd = QString(QChar(0xD800)) + QString(1100, u'a');
    EXPECT_EQ(Log::truncatedArgument(odd).size(), 1 + 1021 + 1);
}

TEST_F(LogTest, PrivateDataSwitchRevealsOnlyWhereTheUserReadsTheLog)
{
    Log::overlay().info(LogMessages::overlayShow, QStringLiteral("Secret plans"), QStringLiteral("(0, 0, 1, 1)"));
    Log::setRevealPrivate(true);
    Log::overlay().info(LogMessages::overlayShow, QStringLiteral("Secret plans"), QStringLiteral("(0, 0, 1, 1)"));
    const auto entries = Log::Store::shared().entries();
    ASSERT_EQ(entries.size(), 2u);
    // The store's message, which the diagnostics report uses, never shows them.
    for (const auto& e : entries)
        EXPECT_EQ(e.message, "overlay show: window=<private> display=<private>");
    EXPECT_EQ(Log::shownMessage(entries[0]), "overlay show: window=Secret plans display=(0, 0, 1, 1)");
    Log::setRevealPrivate(false);
    EXPECT_EQ(Log::shownMessage(entries[0]), entries[0].message);

    EXPECT_FALSE(Log::enablePrivateDataIfRequested({"mosaro", "--verbose"}));
    EXPECT_TRUE(Log::enablePrivateDataIfRequested({"mosaro", "--log-private"}));
    Log::setRevealPrivate(false);
    qputenv("MOSARO_LOG_PRIVATE", "0");
    EXPECT_FALSE(Log::enablePrivateDataIfRequested({"mosaro"}));
    qputenv("MOSARO_LOG_PRIVATE", "1");
    EXPECT_TRUE(Log::enablePrivateDataIfRequested({"mosaro"}));
    qunsetenv("MOSARO_LOG_PRIVATE");
    Log::setRevealPrivate(false);
}

} // namespace
