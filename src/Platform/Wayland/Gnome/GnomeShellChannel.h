#pragma once

#include "Platform/Expected.h"
#include "Platform/Geometry.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <cstdint>
#include <optional>
#include <vector>

class QDBusServiceWatcher;

namespace mosaro::Gnome {

// What the extension says of a window: its frame in the Shell's coordinates (top-left of the
// screen all monitors make, y down) and the states placement cares about.
struct WindowRecord {
    std::uint64_t id = 0;
    Rect frame;
    int monitor = -1;
    std::int64_t pid = 0;
    std::optional<QString> title;
    bool fullscreen = false;
    bool minimized = false;
    bool resizable = false;
    bool maximized = false;
};
// Nothing for the empty record (no window) and for one that lacks a field or has a wrong type.
std::optional<WindowRecord> windowRecord(const QVariantMap& record);

struct MonitorRecord {
    int index = 0;
    QString connector;
    QString product;
    bool primary = false;
    Rect frame;    // Shell coordinates
    Rect workArea; // what the top bar and docks leave
    friend bool operator==(const MonitorRecord&, const MonitorRecord&) = default;
};
std::optional<MonitorRecord> monitorRecord(const QVariantMap& record);

// One of the Shell's own shortcuts: its settings key ("schema/key"), what it does, one accelerator.
struct ShellBinding {
    QString key;
    QString summary;
    QString accelerator;
};

// A call that failed: the D-Bus error's last name part ("NoWindow", "NotAllowed", "NotResizable",
// "Failed", or the bus's own such as "NoReply") and its message.
struct CallError {
    QString name;
    QString message;
};

// The running extension's version, asked of anyone; nothing when it does not answer.
std::optional<QString> extensionVersion(const QDBusConnection& bus);

// Mosaro's extension inside GNOME Shell, over the session bus on the connection that owns Mosaro's
// own name (the extension answers only that one). Calls about other windows block for at most a
// second; calls that involve Mosaro's own windows never block, since their answer waits on ours.
class ShellChannel : public QObject {
    Q_OBJECT
public:
    static constexpr const char* service = "tech.brenmark.mosaro.Shell";
    static constexpr int timeoutMs = 1000;

    explicit ShellChannel(QDBusConnection bus, QString version, QObject* parent = nullptr);
    ~ShellChannel() override;

    std::optional<QString> extensionVersion() const { return Gnome::extensionVersion(m_bus); }
    // Registers this connection as Mosaro; true when the extension took it.
    bool registerClient();
    bool isRegistered() const { return m_registered; }

    Expected<std::optional<WindowRecord>, CallError> focusedWindow();
    struct Placed {
        bool settled = false;
        Rect frame;
    };
    Expected<Placed, CallError> moveResize(std::uint64_t id, const Rect& frame);
    std::optional<std::vector<MonitorRecord>> monitors();
    Expected<bool, CallError> setTrigger(const QString& accelerator);
    std::optional<std::vector<ShellBinding>> shellBindings();

    // Never waited for: the panel's and recorder's calls, and the bell.
    void showPanel(const QString& title, const Rect& frame);
    void hidePanel(bool refocusTarget);
    void activate(const QString& title);
    void setShortcutsInhibited(bool inhibited);
    void beep();

    // The window the trigger found, while its press is being handled.
    const std::optional<WindowRecord>& triggeredWindow() const { return m_triggered; }

Q_SIGNALS:
    void triggered();
    void dismissed(const QString& reason);
    void monitorsChanged();
    // The extension came (back) and took our registration, or went away.
    void registrationChanged(bool registered);

private Q_SLOTS:
    void onTriggered(const QVariantMap& window);
    void onDismissed(const QString& reason);
    void onMonitorsChanged();

private:
    QDBusMessage call(const QString& method, const QVariantList& args = {}) const;
    void callAsync(const QString& method, const QVariantList& args);
    void setRegistered(bool registered);

    QDBusConnection m_bus;
    QString m_version;
    bool m_registered = false;
    std::optional<WindowRecord> m_triggered;
    QDBusServiceWatcher* m_watcher = nullptr;
};

// GNOME Shell's own interfaces, which answer anyone: its version and its extension registry.
struct ShellFacts {
    bool shellAnswers = false;
    QString shellVersion; // "43.9"
    bool userExtensionsEnabled = true;
    // The extension's entry in the Shell's registry: its state (1 enabled, 2 disabled, 3 error, 4 out
    // of date, 6 initialized); nothing when the Shell does not know it (installed after it started).
    std::optional<int> extensionState;
};
ShellFacts readShellFacts(const QDBusConnection& bus, const QString& uuid);
// Asks the Shell to enable a known extension; false when it did not.
bool enableExtension(const QDBusConnection& bus, const QString& uuid);
// Whether GNOME Shell owns its name on the bus.
bool shellRuns(const QDBusConnection& bus);

} // namespace mosaro::Gnome
