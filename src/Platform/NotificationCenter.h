#pragma once

#include <QString>
#include <QVariantMap>
#include <cstdint>
#include <functional>
#include <map>

namespace mosaro {

struct Notification {
    QString name;
    const void* object = nullptr; // the sender, compared by identity
    QVariantMap userInfo;
};

// Named in-process notifications delivered synchronously on the posting (main) thread.
class NotificationCenter {
public:
    using Token = std::uint64_t;
    using Handler = std::function<void(const Notification&)>;

    // An empty name observes every notification; a null object observes every sender.
    Token addObserver(const QString& name, const void* object, Handler handler);
    void removeObserver(Token token);
    void post(const QString& name, const void* object = nullptr, const QVariantMap& userInfo = {});
    std::size_t observerCount() const { return m_observers.size(); }

    // The application's default centre.
    static NotificationCenter& defaultCenter();
    // The centre on which the desktop announces workspace changes (active space changes).
    static NotificationCenter& workspaceCenter();

private:
    struct Observer {
        QString name;
        const void* object;
        Handler handler;
    };
    std::map<Token, Observer> m_observers;
    Token m_next = 1;
};

// Notification names the platform layer posts.
namespace PlatformNotifications {
inline const QString windowDidResignKey = QStringLiteral("NSWindowDidResignKeyNotification");
inline const QString windowWillClose = QStringLiteral("NSWindowWillCloseNotification");
inline const QString activeSpaceDidChange = QStringLiteral("NSWorkspaceActiveSpaceDidChangeNotification");
inline const QString screenParametersDidChange = QStringLiteral("NSApplicationDidChangeScreenParametersNotification");
inline const QString menuDidBeginTracking = QStringLiteral("NSMenuDidBeginTrackingNotification");
inline const QString menuDidEndTracking = QStringLiteral("NSMenuDidEndTrackingNotification");
// A closing window tells in its user info whether it has a title bar.
inline const QString windowIsTitledKey = QStringLiteral("titled");
} // namespace PlatformNotifications

} // namespace mosaro
