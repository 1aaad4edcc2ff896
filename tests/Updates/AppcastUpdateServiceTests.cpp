#include "Updates/AppcastUpdateService.h"

#include "Diagnostics/Log/Log.h"
#include "support/ApplicationEnvironment.h"
#include "support/EventLoopWait.h"
#include "support/FakePermissionPlatform.h"
#include "support/FakeSystemInfo.h"
#include "support/InMemoryDefaultsStore.h"
#include "support/LocalHttpServer.h"
#include "support/LogLines.h"

#include "support/QtPrinters.h"
#include <QCoreApplication>

#include <gtest/gtest.h>

#include <memory>

using namespace mosaro;
using namespace mosaro::test;

MOSARO_APPLICATION_ENVIRONMENT(QCoreApplication);

namespace {

struct RecordingAnswers : UpdateAnswerView {
    std::vector<UpdateCheckAnswer> shown;
    void showAnswer(const UpdateCheckAnswer& answer) override { shown.push_back(answer); }
};

QByteArray feedWith(const std::vector<QByteArray>& versions)
{
    QByteArray items;
    for (const QByteArray& v : versions)
        items += "<item><title>Mosaro " + v + "</title><mosaro:version>" + v +
                 "</mosaro:version><link>https://mosaro.example/notes/" + v +
                 "</link><enclosure url=\"https://mosaro.example/mosaro_" + v + "_amd64.deb\" length=\"1\"/></item>\n";
    return "<?xml version=\"1.0\"?>\n<rss version=\"2.0\" "
           "xmlns:mosaro=\"https://brenmark.tech/xmlns/mosaro-appcast\"><channel><title>Mosaro</title>\n" +
           items + "</channel></rss>\n";
}

class AppcastUpdateServiceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        Log::Store::shared().clear();
        ASSERT_TRUE(server.listen());
        defaults.values[AppcastUpdateService::feedURLKey] = server.url("/appcast.xml");
        clock.time = QDateTime(QDate(2025, 3, 14), QTime(12, 0));
        service = std::make_unique<AppcastUpdateService>(
            AppcastUpdateService::Environment{defaults, scheduler, clock, answers, QStringLiteral("0.2.0")});
        QObject::connect(service.get(), &UpdateService::canCheckForUpdatesChanged,
                         [this](bool can) { canCheckChanges.push_back(can); });
        service->start();
    }
    void TearDown() override { Log::Store::shared().clear(); }

    bool checkAndWait()
    {
        const std::size_t before = answers.shown.size();
        service->checkForUpdates();
        return waitFor([&] { return answers.shown.size() > before && service->canCheckForUpdates(); });
    }
    // Fires the pending automatic check, as its timer would.
    void fireAutomaticCheck()
    {
        ASSERT_EQ(scheduler.timers.size(), 1u);
        auto callback = scheduler.timers.begin()->second.callback;
        scheduler.timers.clear();
        callback();
    }
    static QStringList lifecycleLines() { return loggedMessages(QStringLiteral("lifecycle"), true); }

    LocalHttpServer server;
    InMemoryDefaultsStore defaults;
    FakeScheduler scheduler;
    FakeClock clock;
    RecordingAnswers answers;
    std::unique_ptr<AppcastUpdateService> service;
    std::vector<bool> canCheckChanges;
};

TEST_F(AppcastUpdateServiceTest, NewerVersionIsOfferedWithItsNotesAndDownload)
{
    server.setResponse({200, feedWith({"0.1.0", "0.3.0", "0.2.1"})});
    ASSERT_TRUE(checkAndWait());
    ASSERT_EQ(answers.shown.size(), 1u);
    const UpdateCheckAnswer& answer = answers.shown[0];
    EXPECT_EQ(answer.kind, UpdateCheckAnswer::Kind::updateAvailable);
    EXPECT_EQ(answer.currentVersion, "0.2.0");
    ASSERT_TRUE(answer.update);
    EXPECT_EQ(answer.update->version, "0.3.0");
    EXPECT_EQ(answer.update->releaseNotes, QUrl("https://mosaro.example/notes/0.3.0"));
    EXPECT_EQ(answer.update->download, QUrl("https://mosaro.example/mosaro_0.3.0_amd64.deb"));

    EXPECT_EQ(server.requests(), QList<QByteArray>{"/appcast.xml"});
    EXPECT_EQ(server.lastHeader("User-Agent"), "Mosaro/0.2.0");
    // Can check, then not while the check ran, then again.
    EXPECT_EQ(canCheckChanges, (std::vector<bool>{true, false, true}));
    EXPECT_EQ(defaults.values.value(AppcastUpdateService::lastCheckTimeKey).toDouble(),
              double(clock.time.toSecsSinceEpoch()));
    EXPECT_TRUE(lifecycleLines().contains("info: manual update check: version 0.3.0 available (running 0.2.0)"));
}

// Whatever goes wrong ends the check in one short error a person can read, and the next check
// can start.
TEST_F(AppcastUpdateServiceTest, EachFailureEndsInAShortError)
{
    const QByteArray unreadable = "The update information from the server could not be read.";
    const QVariant feed = defaults.values.value(AppcastUpdateService::feedURLKey);
    const std::tuple<const char*, std::function<void()>, QByteArray> rows[] = {
        {"not a feed",
         [&] {
             server.setResponse({200, "<html><body>Welcome to nginx!</body></html>", "text/html"});
         },
         unreadable},
        {"http error",
         [&] {
             server.setResponse({404, "not here", "text/plain"});
         },
         "The update server answered with an error (HTTP 404)."},
        {"too large",
         [&] {
             server.setResponse({200, QByteArray(AppcastUpdateService::maximumFeedBytes + 4096, 'x')});
         },
         unreadable},
        {"not a web address",
         [&] { defaults.values[AppcastUpdateService::feedURLKey] = QStringLiteral("ftp://mosaro.example/a.xml"); },
         "The address of the update feed is not valid."},
        {"server gone",
         [&] {
             defaults.values[AppcastUpdateService::feedURLKey] = feed;
             server.close();
         },
         "Could not connect to the update server."},
    };
    std::size_t checks = 0;
    for (const auto& [name, arrange, error] : rows) {
        SCOPED_TRACE(name);
        arrange();
        ASSERT_TRUE(checkAndWait());
        ASSERT_EQ(answers.shown.size(), ++checks);
        EXPECT_EQ(answers.shown.back().kind, UpdateCheckAnswer::Kind::failed);
        EXPECT_EQ(answers.shown.back().error, QString::fromUtf8(error));
        EXPECT_TRUE(service->canCheckForUpdates());
    }
    EXPECT_EQ(server.requests().size(), 3);
    EXPECT_EQ(lifecycleLines().filter("error: manual update check failed: unreadable feed").size(), 1);
}

TEST_F(AppcastUpdateServiceTest, ASecondCheckWhileOneRunsIsRefused)
{
    server.setHolding(true);
    server.setResponse({200, feedWith({"0.2.0"})});
    service->checkForUpdates();
    EXPECT_FALSE(service->canCheckForUpdates());
    ASSERT_TRUE(waitFor([&] { return server.requests().size() == 1; }));

    service->checkForUpdates();
    EXPECT_TRUE(lifecycleLines().contains("info: update check requested while one is running — ignored"));
    server.release();
    ASSERT_TRUE(waitFor([&] { return service->canCheckForUpdates(); }));
    EXPECT_EQ(server.requests().size(), 1);
    ASSERT_EQ(answers.shown.size(), 1u); // exactly one answer
    EXPECT_EQ(answers.shown[0].kind, UpdateCheckAnswer::Kind::upToDate);
}

// Off until turned on, and kept in the defaults; then about once a day from the last check,
// speaking up only to offer a newer version.
TEST_F(AppcastUpdateServiceTest, AutomaticChecksRunAboutOnceADayFromTheLastCheck)
{
    EXPECT_FALSE(service->automaticallyChecksForUpdates());
    EXPECT_TRUE(scheduler.timers.empty());
    defaults.values[AppcastUpdateService::lastCheckTimeKey] =
        double(clock.time.addSecs(qint64(-2) * 3600).toSecsSinceEpoch());
    service->setAutomaticallyChecksForUpdates(true);
    EXPECT_EQ(defaults.values.value(AppcastUpdateService::automaticChecksKey), QVariant(true));
    ASSERT_EQ(scheduler.timers.size(), 1u);
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, 22 * 3600);
    EXPECT_EQ(service->nextAutomaticCheck(), clock.time.addSecs(qint64(22) * 3600));

    // A check that ran 3 days ago is due now, after the start-up pause.
    defaults.values[AppcastUpdateService::lastCheckTimeKey] = double(clock.time.addDays(-3).toSecsSinceEpoch());
    service->setAutomaticallyChecksForUpdates(true);
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, AppcastUpdateService::firstCheckDelaySeconds);

    // Up to date: nothing shown, the next check a day later.
    server.setResponse({200, feedWith({"0.2.0"})});
    fireAutomaticCheck();
    ASSERT_TRUE(waitFor([&] { return service->canCheckForUpdates() && !scheduler.timers.empty(); }));
    EXPECT_TRUE(answers.shown.empty());
    EXPECT_EQ(scheduler.timers.begin()->second.seconds, AppcastUpdateService::checkIntervalSeconds);

    // A newer version is offered.
    server.setResponse({200, feedWith({"0.4.0"})});
    fireAutomaticCheck();
    ASSERT_TRUE(waitFor([&] { return answers.shown.size() == 1 && !scheduler.timers.empty(); }));
    EXPECT_EQ(answers.shown[0].update->version, "0.4.0");

    // A failure shows nothing and is logged.
    server.close();
    fireAutomaticCheck();
    ASSERT_TRUE(waitFor([&] { return service->canCheckForUpdates() && !scheduler.timers.empty(); }));
    EXPECT_EQ(answers.shown.size(), 1u);
    EXPECT_EQ(lifecycleLines().filter("error: automatic update check failed: ").size(), 1);

    service->setAutomaticallyChecksForUpdates(false);
    EXPECT_TRUE(scheduler.timers.empty());
}

TEST_F(AppcastUpdateServiceTest, AnotherServiceCannotCheckBeforeItStarts)
{
    defaults.values.remove(AppcastUpdateService::feedURLKey);
    AppcastUpdateService idle({defaults, scheduler, clock, answers, QStringLiteral("0.2.0")});
    EXPECT_FALSE(idle.canCheckForUpdates());
    EXPECT_EQ(idle.feedURL(), AppcastUpdateService::defaultFeedURL());
    idle.setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(scheduler.timers.empty()); // scheduling starts with the service
}

} // namespace
