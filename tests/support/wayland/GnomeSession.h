#pragma once

#include "Platform/Geometry.h"
#include "support/wayland/SessionProcesses.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

#include <optional>
#include <vector>

namespace mosaro::test {

// A private headless GNOME Shell (this system's 43, or the Debian 13 root's 48) with its own
// runtime folder, home, session bus and stand-in system bus, run as an unprivileged user; Mosaro's
// extension from the tree and the tests' probe installed for that user. Keys go in
// through one mutter remote-desktop session held by the harness's own bus connection; windows,
// monitors and screenshots come from the probe. `spawn` is the one place that knows where the
// Shell's programs live. Everything started is stopped by pid on destruction.
class GnomeSession final : public CompositorSession {
public:
    struct Options {
        bool root = false;
        // Mosaro's extension installed before the Shell starts, and in enabled-extensions.
        bool installMosaro = true;
        bool enableMosaro = true;
        // The version the installed copy claims, when another Mosaro's is wanted.
        QString mosaroVersion;
        bool userExtensions = true;
        // 1440 x 900 virtual monitors, side by side (the Shell orders them its own way).
        int monitors = 1;
    };
    explicit GnomeSession(const Options& options);
    ~GnomeSession() override;
    GnomeSession(const GnomeSession&) = delete;
    GnomeSession& operator=(const GnomeSession&) = delete;

    QString shellVersion() const { return m_version; }
    int shellMajor() const { return m_version.section(QLatin1Char('.'), 0, 0).toInt(); }
    QString home() const { return m_home; }
    QString mosaroHome() const override { return m_home; }
    QString waylandDisplay() const override { return m_runtime + QStringLiteral("/wayland-0"); }
    QString extensionFolder() const
    {
        return m_home + QStringLiteral("/.local/share/gnome-shell/extensions/mosaro@brenmark.tech");
    }
    // Copies the tree's variant for this Shell to the user's folder, claiming another version if given.
    bool installMosaro(const QString& version = {});

    pid_t spawn(const QStringList& argv, const QStringList& extra = {}) override;
    void stopCompositor() override;
    // A foot window titled so, once the Shell shows it: its id.
    std::optional<std::uint64_t> startFoot(const QString& title);

    // Keys as "Super+Shift+Right", "Escape": pressed in order, released in reverse.
    bool press(const QString& keys);

    // The probe's records: every window, the monitors.
    std::vector<QVariantMap> windows() { return records(QStringLiteral("GetWindows")); }
    std::optional<QVariantMap> window(const QString& title);
    std::optional<Rect> frameOf(const QString& title);
    std::vector<QVariantMap> monitors() { return records(QStringLiteral("GetMonitors")); }
    // Gives the window that title the focus, as a click on it would.
    bool activate(const QString& title)
    {
        return probe(QStringLiteral("Activate"), {title}).type() == QDBusMessage::ReplyMessage;
    }
    bool screenshot(const QString& path);

    // The Shell's own interfaces.
    QDBusMessage callShell(const QString& interface, const QString& method, const QVariantList& args = {});
    std::optional<int> extensionState(const QString& uuid);
    bool gsettings(const QStringList& arguments, QString* output = nullptr);

private:
    bool start(const Options& options);
    QDBusMessage call(const QString& service, const QString& path, const QString& interface, const QString& method,
                      const QVariantList& args = {}, int timeoutMs = 5000);
    QDBusMessage probe(const QString& method, const QVariantList& args = {});
    std::vector<QVariantMap> records(const QString& method);

    QString m_version;
    pid_t m_session = -1;
    std::optional<QDBusConnection> m_bus;
    QString m_keys; // the remote-desktop session's object path
};

} // namespace mosaro::test
