#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QJsonObject>
#include <QString>
#include <QTimer>

#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace mosaro {

// A system-wide shortcut the session script registers with KWin: its name in KDE's shortcut
// registry (component "kwin"), the text KDE's settings show, and the keys in Qt's portable form
// ("Meta+Return").
struct KWinShortcut {
    QString name;
    QString text;
    QString keys;
    friend bool operator==(const KWinShortcut&, const KWinShortcut&) = default;
};

// Mosaro's channel into KWin. A KWin script cannot be called over D-Bus, only call out, so Mosaro
// loads one long-lived script (written into its folder under $XDG_RUNTIME_DIR) that keeps one
// call to Mosaro pending, `next`: the delayed reply to it is Mosaro's next request, and the
// script's next call carries the answer. The trigger and the session's dismissals are calls of
// their own. Every value crossing is one JSON text, read here as untrusted input. A request is
// waited for in a local event loop bounded by one second, so that a call into Mosaro while it
// waits is still served. Only calls from the bus name that owns org.kde.KWin are accepted.
class KWinScripting final : public QDBusVirtualObject {
public:
    static constexpr int timeoutMs = 1000;
    static constexpr const char* scriptName = "mosaro-session";
    static constexpr const char* objectPath = "/tech/brenmark/mosaro/KWin";
    static constexpr const char* interfaceName = "tech.brenmark.mosaro.KWin";
    // Prefix of the names Mosaro's shortcuts have in KDE's registry, leftovers of a Mosaro that
    // died included.
    static constexpr const char* shortcutPrefix = "Mosaro ";

    // `scripts` holds common.js and session.js (Qt resources in the program).
    explicit KWinScripting(QDBusConnection bus = QDBusConnection::sessionBus(),
                           QString scripts = QStringLiteral(":/kwin/"));
    ~KWinScripting() override;
    KWinScripting(const KWinScripting&) = delete;
    KWinScripting& operator=(const KWinScripting&) = delete;

    // Unloads a leftover of an earlier Mosaro, writes and loads the script with these shortcuts,
    // and waits for it to call back. False, with the reason in problem(), when it did not.
    bool load(const std::vector<KWinShortcut>& shortcuts);
    bool loaded() const { return m_hello; }
    QString problem() const { return m_problem; }
    bool kwin6() const { return m_kwin6; }
    const std::vector<KWinShortcut>& shortcuts() const { return m_shortcuts; }
    // KWin's version, from its support information ("5.27.5"); empty when it does not say.
    QString version();

    // One request, answered or not within the bound. The answer's "error" is left to the caller.
    std::optional<QJsonObject> request(QJsonObject request);
    // The same, without waiting: `done` is called with the answer, or nothing, later.
    void send(QJsonObject request, std::function<void(std::optional<QJsonObject>)> done = {});

    // A shortcut fired: its name, the window that had the keyboard, the outputs.
    std::function<void(const QJsonObject&)> onTrigger;
    // "panelDeactivated", "desktop" or "outputs".
    std::function<void(const QString&)> onDismissal;

    // KDE's shortcut service: the action id of one of our shortcuts, and the keys it holds
    // (KDE's key ints). Empty when the service does not answer.
    QStringList actionId(const KWinShortcut& shortcut) const;
    std::vector<int> keysOf(const KWinShortcut& shortcut) const;
    QDBusConnection& bus() { return m_bus; }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    struct Pending {
        int seq = 0;
        QJsonObject request;
        std::function<void(std::optional<QJsonObject>)> done;
        bool sent = false;
    };
    QDBusMessage callKWin(const QString& path, const QString& interface, const QString& method,
                          const QVariantList& args = {}) const;
    QDBusMessage scripting(const QString& method, const QVariantList& args = {}) const;
    void unload();
    void unregisterOurShortcuts(const std::vector<KWinShortcut>& known);
    bool writeScript(const QString& path);
    void answered(const QString& text);
    void pump();
    void expire(int seq);
    bool waitFor(const std::function<bool()>& done, int ms);

    QDBusConnection m_bus;
    QString m_scripts;
    QString m_kwinOwner; // the unique name calls must come from
    std::vector<KWinShortcut> m_shortcuts;
    std::optional<QDBusMessage> m_next; // the script's pending call
    std::deque<Pending> m_queue;
    QTimer m_idle;
    int m_seq = 0;
    bool m_hello = false;
    bool m_kwin6 = false;
    bool m_reloading = false;
    QString m_problem;
    QString m_version;
    std::function<void()> m_wake; // quits the local loop that waits
};

} // namespace mosaro
