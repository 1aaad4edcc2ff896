#include "Updates/AppcastUpdateService.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#include <algorithm>

#ifndef MOSARO_UPDATE_FEED_URL
#error "MOSARO_UPDATE_FEED_URL is set by the build"
#endif

namespace mosaro {

namespace {

const char* kindWord(bool userInitiated)
{
    return userInitiated ? "manual" : "automatic";
}

// One short sentence for the user; the log gets the details.
QString describeFailure(QNetworkReply::NetworkError error, int httpStatus)
{
    if (httpStatus >= 400)
        return QStringLiteral("The update server answered with an error (HTTP %1).").arg(httpStatus);
    switch (error) {
    case QNetworkReply::ConnectionRefusedError:
        return QStringLiteral("Could not connect to the update server.");
    case QNetworkReply::HostNotFoundError:
        return QStringLiteral("The update server could not be found.");
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: // the transfer timeout cancels the request
        return QStringLiteral("The update server did not answer in time.");
    case QNetworkReply::RemoteHostClosedError:
        return QStringLiteral("The update server closed the connection.");
    case QNetworkReply::SslHandshakeFailedError:
    case QNetworkReply::InsecureRedirectError:
        return QStringLiteral("A secure connection to the update server could not be made.");
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
        return QStringLiteral("The network is not available.");
    default:
        return QStringLiteral("The update server could not be reached.");
    }
}

const QString unreadableFeed = QStringLiteral("The update information from the server could not be read.");

} // namespace

QString AppcastUpdateService::defaultFeedURL()
{
    return QStringLiteral(MOSARO_UPDATE_FEED_URL);
}

AppcastUpdateService::AppcastUpdateService(Environment environment, QObject* parent)
    : UpdateService(parent), m_env(std::move(environment))
{
    m_network.setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
}

AppcastUpdateService::~AppcastUpdateService()
{
    cancelAutomaticCheck();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
}

void AppcastUpdateService::start()
{
    if (m_started)
        return;
    m_started = true;
    Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
    scheduleAutomaticCheck();
}

bool AppcastUpdateService::canCheckForUpdates() const
{
    return m_started && !m_running;
}

void AppcastUpdateService::checkForUpdates()
{
    beginCheck(/*userInitiated*/ true);
}

bool AppcastUpdateService::automaticallyChecksForUpdates() const
{
    // Off until the user turns it on: Mosaro works offline by default.
    return m_env.defaults.boolean(automaticChecksKey);
}

void AppcastUpdateService::setAutomaticallyChecksForUpdates(bool enabled)
{
    m_env.defaults.setBool(automaticChecksKey, enabled);
    scheduleAutomaticCheck();
}

QString AppcastUpdateService::feedURL() const
{
    const auto stored = m_env.defaults.string(feedURLKey);
    return stored && !stored->trimmed().isEmpty() ? stored->trimmed() : defaultFeedURL();
}

void AppcastUpdateService::beginCheck(bool userInitiated)
{
    if (m_running) {
        Log::lifecycle().info(LogMessages::updateCheckBusy);
        return;
    }
    const QUrl url(feedURL(), QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != QLatin1String("https") && url.scheme() != QLatin1String("http"))) {
        Log::lifecycle().error(LogMessages::updateCheckFailed, kindWord(userInitiated),
                               QStringLiteral("not an http(s) address: %1").arg(feedURL()));
        m_userInitiated = userInitiated;
        conclude({UpdateCheckAnswer::Kind::failed, m_env.currentVersion, std::nullopt,
                  QStringLiteral("The address of the update feed is not valid.")});
        return;
    }

    Log::lifecycle().info(LogMessages::updateCheckStarted, kindWord(userInitiated), url.toString());
    QNetworkRequest request(url);
    request.setTransferTimeout(transferTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Mosaro/%1").arg(m_env.currentVersion));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    m_userInitiated = userInitiated;
    m_reply = m_network.get(request);
    QNetworkReply* reply = m_reply;
    // A feed is a few kilobytes; a server that sends far more is not a feed server.
    connect(reply, &QNetworkReply::downloadProgress, this, [reply](qint64 received, qint64) {
        if (received > maximumFeedBytes) {
            reply->setProperty("mosaroTooLarge", true);
            reply->abort();
        }
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finishCheck(reply); });
    setRunning(true);
}

void AppcastUpdateService::finishCheck(QNetworkReply* reply)
{
    reply->deleteLater();
    m_reply = nullptr;
    const char* kind = kindWord(m_userInitiated);
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();

    UpdateCheckAnswer answer{UpdateCheckAnswer::Kind::failed, m_env.currentVersion, std::nullopt, {}};
    if (reply->property("mosaroTooLarge").toBool()) {
        Log::lifecycle().error(LogMessages::updateCheckFailed, kind,
                               QStringLiteral("the feed is larger than %1 bytes").arg(maximumFeedBytes));
        answer.error = unreadableFeed;
    } else if (reply->error() != QNetworkReply::NoError) {
        Log::lifecycle().error(LogMessages::updateCheckFailed, kind, reply->errorString());
        answer.error = describeFailure(reply->error(), status);
    } else if (const auto items = Appcast::parse(reply->readAll()); !items) {
        Log::lifecycle().error(LogMessages::updateCheckFailed, kind,
                               QStringLiteral("unreadable feed: %1").arg(items.error().description));
        answer.error = unreadableFeed;
    } else if (const auto newest = Appcast::newest(*items);
               newest && Appcast::compareVersions(newest->version, m_env.currentVersion) > 0) {
        Log::lifecycle().info(LogMessages::updateAvailable, kind, newest->version, m_env.currentVersion);
        answer.kind = UpdateCheckAnswer::Kind::updateAvailable;
        answer.update = newest;
    } else {
        Log::lifecycle().info(LogMessages::updateUpToDate, kind, m_env.currentVersion);
        answer.kind = UpdateCheckAnswer::Kind::upToDate;
    }
    setRunning(false);
    conclude(answer);
}

void AppcastUpdateService::conclude(const UpdateCheckAnswer& answer)
{
    m_env.defaults.setObject(lastCheckTimeKey, double(m_env.clock.now().toSecsSinceEpoch()));
    // An automatic check speaks up only to offer a newer version.
    if (m_userInitiated || answer.kind == UpdateCheckAnswer::Kind::updateAvailable)
        m_env.answers.showAnswer(answer);
    scheduleAutomaticCheck();
}

void AppcastUpdateService::scheduleAutomaticCheck()
{
    cancelAutomaticCheck();
    if (!m_started || !automaticallyChecksForUpdates())
        return;
    const QDateTime now = m_env.clock.now();
    double delay = firstCheckDelaySeconds;
    if (const auto stored = m_env.defaults.object(lastCheckTimeKey)) {
        bool ok = false;
        const double last = stored->toDouble(&ok);
        if (ok) {
            // A last check "in the future" (a clock set back) waits at most one interval.
            const double due = last + checkIntervalSeconds - double(now.toSecsSinceEpoch());
            delay = std::clamp(due, firstCheckDelaySeconds, checkIntervalSeconds);
        }
    }
    m_nextAutomaticCheck = now.addSecs(qint64(delay));
    m_timer = m_env.scheduler.scheduleOnce(delay, [this] {
        m_timer = 0;
        m_nextAutomaticCheck.reset();
        // A check already running schedules the next one when it ends.
        if (!m_running)
            beginCheck(/*userInitiated*/ false);
    });
}

void AppcastUpdateService::cancelAutomaticCheck()
{
    if (m_timer != 0)
        m_env.scheduler.cancel(m_timer);
    m_timer = 0;
    m_nextAutomaticCheck.reset();
}

void AppcastUpdateService::setRunning(bool running)
{
    if (running == m_running)
        return;
    const bool before = canCheckForUpdates();
    m_running = running;
    if (canCheckForUpdates() != before)
        Q_EMIT canCheckForUpdatesChanged(canCheckForUpdates());
}

} // namespace mosaro
