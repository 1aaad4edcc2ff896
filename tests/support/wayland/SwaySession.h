#pragma once

#include "Platform/Geometry.h"
#include "support/wayland/SessionProcesses.h"

#include <QImage>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <functional>
#include <optional>

namespace mosaro::test {

// A private headless sway with its own runtime directory and session bus, its clients, keys typed
// through a virtual keyboard, screenshots and extra outputs: for the Wayland integration tests.
// When the test runs as root, sway and every client run as an unprivileged user (sway refuses
// root). Everything is reached through sockets and bus addresses only, and the one function that
// starts programs (`spawn`) is the only place that knows where they live, so that the compositor
// can come from another system root. Everything started is stopped by pid on destruction,
// including what sway itself started (the harness makes itself the reaper of orphans).
class SwaySession final : public CompositorSession {
public:
    struct Options {
        // Appended after the lines the harness needs (no Xwayland, no swaynag, no wallpaper).
        QString config;
        // Include Debian's /etc/sway/config (its bar, its bindings) before `config`.
        bool debianDefaults = false;
        // sway and its terminal from the Debian 13 root (tests/wayland/root/) instead of this system.
        bool root = false;
    };

    explicit SwaySession(const Options& options);
    SwaySession() : SwaySession(Options{}) {}
    ~SwaySession() override;
    SwaySession(const SwaySession&) = delete;
    SwaySession& operator=(const SwaySession&) = delete;

    QString swaySocket() const { return m_runtime + QStringLiteral("/sway.sock"); }
    // The compositor's socket as it named it (sway 1.7 and 1.10 take the first free wayland-N).
    QString waylandDisplay() const override;
    QStringList mosaroEnvironment() const override { return {QStringLiteral("SWAYSOCK=") + swaySocket()}; }
    QString configPath() const { return m_runtime + QStringLiteral("/sway.config"); }

    pid_t spawn(const QStringList& argv, const QStringList& extra = {}) override;

    // A client window, once sway manages it: its container id and pid.
    struct Window {
        std::int64_t id = 0;
        pid_t pid = -1;
    };
    std::optional<Window> startFoot(const QString& appId, int timeoutMs = 10000);
    // A Qt window on the Wayland platform (the test client program).
    std::optional<Window> startQtWindow(const QString& appId, int timeoutMs = 10000);
    std::optional<Window> waitForWindow(const QString& appId, int timeoutMs);

    // Keys through wtype, e.g. "logo+shift+Right" or "Escape"; waits until wtype is done.
    bool press(const QString& keys);
    // The same without waiting (its pid), for what times the keys' effects.
    pid_t type(const QString& keys);

    // swaymsg as a probe: the raw reply of a message type, and run_command.
    QByteArray ask(const QString& type) { return ask(QStringList{QStringLiteral("-t"), type}); }
    bool command(const QString& commands);
    // The last node of sway's tree whose `field` has that value (empty when none); the container
    // with that id (empty when gone), and its frame as a person sees it: rect grown upward by the
    // title bar.
    QJsonObject find(const QString& field, const QJsonValue& value);
    QJsonObject container(std::int64_t id);
    std::optional<Rect> frameOf(std::int64_t id);

    QImage screenshot(const QString& name);
    bool addOutput(); // another headless output, to the right

    // SIGSTOP / SIGCONT to sway itself.
    void pauseCompositor();
    void resumeCompositor();
    void stopCompositor() override;

private:
    // swaymsg's reply; empty when it did not answer in time or failed.
    QByteArray ask(const QStringList& arguments);
    // Debian's default configuration of the compositor's system.
    QString defaultConfig();
    pid_t m_sway = -1;
    pid_t m_keyboard = -1;
};

} // namespace mosaro::test
