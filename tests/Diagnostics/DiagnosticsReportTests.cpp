#include "Diagnostics/DiagnosticsReport.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Platform/StoreLogReader.h"
#include "Preferences/PreferencesFile.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeScreens.h"
#include "support/FakeSystemInfo.h"

#include "support/QtPrinters.h"
#include <QFile>
#include <QTemporaryDir>
#include <functional>

#include <gtest/gtest.h>

using namespace mosaro;
using namespace mosaro::test;

namespace {

class DiagnosticsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        bundle.shortVersionValue = QStringLiteral("0.1.0");
        bundle.buildVersionValue = QStringLiteral("42");
        os.text = QStringLiteral("Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64");
        hardware.values = {{QStringLiteral("hw.model"), QByteArray("ThinkPad X1 Carbon Gen 11")},
                           {QStringLiteral("hw.machine"), QByteArray("x86_64")}};
        screens.add({0, 0, 1512, 982}, {0, 0, 1512, 950}, QStringLiteral("Built-in Retina Display"), 2.0);
        trust.trusted = true;
        TearDown(); // a log store as a fresh process has it
    }
    void TearDown() override
    {
        Log::Store::shared().clear();
        Log::Store::shared().setClock({});
        Log::setRevealPrivate(false);
    }

    Diagnostics diagnostics(const LogReader& reader)
    {
        return Diagnostics({bundle, os, hardware, screens, trust, preferencesPath(), reader, clock, pasteboard,
                            urlOpener, QStringLiteral("support@brenmark.tech")});
    }
    Diagnostics diagnostics() { return diagnostics(log); }

    QString preferencesPath() const { return dir.filePath(QStringLiteral("preferences.json")); }

    QTemporaryDir dir;
    FakeBundleInfo bundle;
    FakeOperatingSystemInfo os;
    FakeHardwareInfo hardware;
    FakeScreens screens;
    FakeAccessibilityTrust trust;
    FakeLogReader log;
    FakeClock clock;
    FakePasteboard pasteboard;
    FakeUrlOpener urlOpener;
};

// ---- the summary ----

// One summary line after each change to what it reads, in order (the changes add up).
TEST_F(DiagnosticsTest, EachSummaryLineFollowsWhatItReads)
{
    Preferences prefs;
    prefs.proSettings.globalGrid = {6, 4};
    prefs.proSettings.margin = 8;
    prefs.proSettings.perDisplayMode = true;
    prefs.proSettings.perDisplayGrids.overrides = {{QStringLiteral("DELL U2720Q"), {4, 2}},
                                                   {QStringLiteral("HDMI-1"), {2, 2}}};
    const struct {
        const char* name;
        std::function<void()> change;
        int line;
        QString expected;
    } rows[] = {
        {"no version values", [&] { bundle.shortVersionValue.reset(), bundle.buildVersionValue.reset(); }, 0,
         "App:      Mosaro — (—)"},
        {"no build number", [&] { bundle.shortVersionValue = QStringLiteral("0.1.0"); }, 0,
         "App:      Mosaro 0.1.0 (—)"},
        {"no model", [&] { hardware.values.erase(QStringLiteral("hw.model")); }, 2, "Hardware: ? (x86_64)"},
        {"empty model", [&] { hardware.values[QStringLiteral("hw.model")] = QByteArray(); }, 2, "Hardware: ? (x86_64)"},
        {"cut at NUL, repaired",
         [&] {
             hardware.values[QStringLiteral("hw.model")] = QByteArray("Mac14,7\0garbage", 15);
             hardware.values[QStringLiteral("hw.machine")] = QByteArray("arm\xff"
                                                                        "64");
         },
         2, QStringLiteral("Hardware: Mac14,7 (arm\uFFFD64)")},
        {"displays in order, whole points, decimal scale",
         [&] {
             screens.add({1512, 0, 1920.75, 1080.5}, QStringLiteral("DELL U2720Q"));
             screens.add({-1280, 0, 1280, 1024}, {}, QStringLiteral("HDMI-1"), 1.25);
         },
         3,
         "Displays: [0] 1512×982 @2.0x \"Built-in Retina Display\"; [1] 1920×1080 @1.0x \"DELL U2720Q\"; "
         "[2] 1280×1024 @1.25x \"HDMI-1\""},
        {"no displays", [&] { screens.list.clear(); }, 3, "Displays: none reported"},
        {"not trusted", [&] { trust.trusted = false; }, 4, "AX perm:  NOT granted"},
        {"per-display grids", [&] { ASSERT_TRUE(savePreferences(prefs, preferencesPath()).hasValue()); }, 5,
         "Grid:     6×4, margin 8px, per-display ON (2 override(s))"},
        {"overrides but the mode off",
         [&] {
             prefs.proSettings.perDisplayMode = false;
             ASSERT_TRUE(savePreferences(prefs, preferencesPath()).hasValue());
         },
         5, "Grid:     6×4, margin 8px, per-display OFF"},
        {"unreadable preferences",
         [&] {
             QFile file(preferencesPath());
             ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("{ this is not json") > 0);
         },
         5, "Grid:     3×2, margin 0px, per-display OFF"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        row.change();
        const QStringList lines = diagnostics().diagnosticsSummary().split(u'\n');
        ASSERT_EQ(lines.size(), 6);
        EXPECT_EQ(lines[row.line], row.expected);
    }
}

// ---- the log block ----

// Signposts alone are no entries; a log that cannot be read gives its error.
TEST_F(DiagnosticsTest, WithoutEntriesOrUnreadableTheLogBlockSaysWhy)
{
    log.answer = std::vector<LogRecord>{{LogRecord::Kind::signpost, clock.time, "perf", "sc-001 show-overlay"}};
    EXPECT_EQ(diagnostics().recentLogText(), "(no Mosaro log entries in the last 5 min)");
    log.answer = unexpected(LogReadError{QStringLiteral("Permission denied")});
    EXPECT_EQ(diagnostics().recentLogText(), "(could not read unified log: Permission denied)");
}

TEST_F(DiagnosticsTest, ProcessLogOfTheLastFiveMinutesWithoutOnboardingAndPrivateTexts)
{
    QDateTime now(QDate(2025, 3, 14), QTime(15, 9, 26, 535));
    Log::Store::shared().setClock([&now] { return now; });
    clock.time = now.addSecs(301);
    Log::overlay().info(LogMessages::overlayDismiss); // older than five minutes at report time
    now = now.addSecs(2);
    Log::setRevealPrivate(true); // the report redacts whatever the switch says
    Log::overlay().info(LogMessages::overlayShow, QStringLiteral("Secret Document.txt"), QStringLiteral("(0, 0)"));
    Log::onboarding().info(LogMessages::showingOnboarding);
    const auto interval = Log::perf().beginInterval(LogMessages::showOverlayInterval);
    Log::perf().endInterval(interval, "ok");
    Log::lifecycle().info(LogMessages::presenterStarted);

    StoreLogReader reader;
    EXPECT_EQ(diagnostics(reader).recentLogText(),
              "15:09:28.535 [overlay] overlay show: window=<private> display=<private>\n"
              "15:09:28.535 [lifecycle] presenter.start() called; trigger hotkey should be live");
}

// Every summary value starts in the eleventh column; trust is read without prompting.
TEST_F(DiagnosticsTest, ReportIsHeaderSummaryAndLogWithoutTrailingNewline)
{
    clock.time = QDateTime(QDate(2025, 3, 14), QTime(15, 9, 26, 535));
    log.answer = std::vector<LogRecord>{{LogRecord::Kind::message, clock.time.addSecs(-2), "lifecycle", "hello"}};
    EXPECT_EQ(diagnostics().diagnosticsReport(), "Mosaro Diagnostics\n====================\n"
                                                 "App:      Mosaro 0.1.0 (42)\n"
                                                 "macOS:    Debian GNU/Linux 12 (bookworm), kernel 6.1.0-18-amd64\n"
                                                 "Hardware: ThinkPad X1 Carbon Gen 11 (x86_64)\n"
                                                 "Displays: [0] 1512×982 @2.0x \"Built-in Retina Display\"\n"
                                                 "AX perm:  granted\n"
                                                 "Grid:     3×2, margin 0px, per-display OFF\n"
                                                 "\n--- Recent log (subsystem tech.brenmark.mosaro, last 5 min) ---\n"
                                                 "15:09:24.535 [lifecycle] hello");
    EXPECT_EQ(trust.promptArguments, std::vector<bool>{false});
}

// ---- copying and the mail ----

QString expectedBody()
{
    QString rule;
    for (int i = 0; i < 40; ++i)
        rule += QStringLiteral("%E2%94%80");
    return QStringLiteral("Describe%20what%20happened,%20and%20what%20you%20expected%20instead:%0A%0A%0A"
                          "Steps%20to%20reproduce:%0A1.%0A%0A") +
           rule +
           QStringLiteral("%0ADiagnostics%20have%20been%20copied%20to%20your%20clipboard%20%E2%80%94%20please%20"
                          "paste%20them%0Abelow%20this%20line%20(they%20contain%20no%20personal%20information):%0A");
}

TEST_F(DiagnosticsTest, BugReportCopiesTheReportAndOpensTheMailByteForByte)
{
    Diagnostics d = diagnostics();
    d.reportBug();
    EXPECT_EQ(pasteboard.contents, d.diagnosticsReport());
    ASSERT_EQ(urlOpener.opened.size(), 1u);
    EXPECT_EQ(urlOpener.opened[0], "mailto:support@brenmark.tech"
                                   "?subject=Mosaro%20bug%20report%20%E2%80%94%200.1.0%20(42)&body=" +
                                       expectedBody());
}

TEST(BugReportMail, EncodesNonAsciiAndItemSeparatorsInTheValues)
{
    EXPECT_EQ(DiagnosticsText::bugReportMailURL(QStringLiteral("help@example.org"), QStringLiteral("2.0 ß&x=1+y")),
              "mailto:help@example.org?subject=Mosaro%20bug%20report%20%E2%80%94%202.0%20%C3%9F%26x%3D1+y&body=" +
                  expectedBody());
    EXPECT_EQ(DiagnosticsText::bugReportMailURL(QStringLiteral(" "), QStringLiteral("1")), std::nullopt);
}

} // namespace
