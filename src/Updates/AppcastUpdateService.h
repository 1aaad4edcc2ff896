#pragma once

#include "Platform/DefaultsStore.h"
#include "Platform/System.h"
#include "Updates/UpdateAnswer.h"
#include "Updates/UpdateService.h"

#include <QNetworkAccessManager>
#include <QPointer>
#include <QString>

class QNetworkReply;

namespace mosaro {

// Checks an appcast feed over HTTP(S). A check the user asks for always ends in one answer
// shown to the user. Automatic checks run about once a day while the application runs, only
// once the user has turned them on; they show an answer only when they find a newer version,
// and their failures are only logged. The setting, the time of the last check and the feed's
// address live in the defaults store.
class AppcastUpdateService final : public UpdateService {
    Q_OBJECT
public:
    struct Environment {
        DefaultsStore& defaults;
        Scheduler& scheduler;
        const Clock& clock;
        UpdateAnswerView& answers;
        QString currentVersion; // the running release, compared with the feed's versions
    };

    inline static const QString automaticChecksKey =
        QStringLiteral("tech.brenmark.mosaro.automaticallyChecksForUpdates");
    inline static const QString lastCheckTimeKey = QStringLiteral("tech.brenmark.mosaro.lastUpdateCheckTime");
    inline static const QString feedURLKey = QStringLiteral("tech.brenmark.mosaro.updateFeedURL");

    static constexpr double checkIntervalSeconds = 24 * 60 * 60;
    // The first automatic check waits this long after start, so launching stays quiet.
    static constexpr double firstCheckDelaySeconds = 60;
    static constexpr int transferTimeoutMs = 20000;
    static constexpr qint64 maximumFeedBytes = qint64(1024) * 1024;

    // The feed this build checks unless the defaults store names another (MOSARO_UPDATE_FEED_URL).
    static QString defaultFeedURL();

    explicit AppcastUpdateService(Environment environment, QObject* parent = nullptr);
    ~AppcastUpdateService() override;

    void start() override;
    bool canCheckForUpdates() const override;
    void checkForUpdates() override;
    bool automaticallyChecksForUpdates() const override;
    void setAutomaticallyChecksForUpdates(bool enabled) override;

    // The address checked: the defaults store's, else the build's default.
    QString feedURL() const;
    // When the next automatic check is due, or nothing while automatic checks are off.
    std::optional<QDateTime> nextAutomaticCheck() const { return m_nextAutomaticCheck; }

private:
    void beginCheck(bool userInitiated);
    void finishCheck(QNetworkReply* reply);
    void conclude(const UpdateCheckAnswer& answer);
    void scheduleAutomaticCheck();
    void cancelAutomaticCheck();
    void setRunning(bool running);

    Environment m_env;
    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply;
    bool m_started = false;
    bool m_running = false;
    bool m_userInitiated = false;
    Scheduler::Token m_timer = 0;
    std::optional<QDateTime> m_nextAutomaticCheck;
};

} // namespace mosaro
