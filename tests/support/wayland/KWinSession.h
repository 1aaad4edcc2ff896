#pragma once

#include "Platform/Geometry.h"
#include "support/wayland/SessionProcesses.h"

#include <QJsonObject>
#include <QProcess>

#include <csignal>
#include <memory>
#include <optional>

namespace mosaro::test {

// A frame as KWin's scripts give it: {x, y, width, height}, y down.
Rect rectOf(const QJsonValue& frame);

// A private headless KWin with its own runtime folder, session bus and configuration, its clients,
// keys typed through KWin's fake-input protocol and the windows read by a read-only script of the
// tests' own: for the KDE Plasma integration tests. KWin runs from a copy of its binary without
// the file capability a container may refuse, as the unprivileged user when the tests run as root,
// and so do its clients (KWin grants fake input by the client's executable, which it reads from
// /proc). The one function that starts programs (`spawn`) is the only place that knows where KWin
// lives: this system's 5.27 or the Debian 13 root's 6.3; everything else runs here and reaches
// KWin through the shared runtime folder's sockets only. Everything is stopped by pid.
class KWinSession final : public CompositorSession {
public:
    struct Options {
        int outputs = 1;
        bool root = false; // KWin 6 from the Debian 13 root
        QString shortcuts; // kglobalshortcutsrc as KDE would have it before KWin starts
    };

    explicit KWinSession(const Options& options);
    KWinSession() : KWinSession(Options{}) {}
    ~KWinSession() override;
    KWinSession(const KWinSession&) = delete;
    KWinSession& operator=(const KWinSession&) = delete;

    QString waylandDisplay() const override { return m_runtime + QStringLiteral("/wayland-kwin"); }
    QStringList userCommand() const override;
    QString executable(const QString& path) override;

    pid_t spawn(const QStringList& argv, const QStringList& extra = {}) override;
    void stopCompositor() override { signal("kwin_wayland", SIGTERM); }

    // The tests' Qt window with that title (its arguments: a size, "maximized"), once KWin shows it.
    bool startWindow(const QString& title, const QStringList& how = {});
    // A GTK layer-shell bar that reserves `height` pixels at the top or bottom of the output.
    bool startBar(int height, bool top);
    // Chords through fake input: "Meta+Return", "Right", "Meta+Shift+Left"; waits until KWin has them.
    bool press(const QString& keys);

    // The read-only script's report: every window, the active one, each output's areas.
    QJsonObject report();
    QJsonObject window(const QString& caption);
    std::optional<Rect> frameOf(const QString& caption);
    // A D-Bus call to KWin's side of the session bus; the reply's first argument.
    QVariant call(const QString& service, const QString& path, const QString& interface, const QString& method,
                  const QVariantList& arguments = {});
    // One of KWin's scripting calls ("isScriptLoaded", "loadScript", ...).
    QVariant scripting(const QString& method, const QVariantList& arguments = {});

private:
    QString m_client;
    int m_reports = 0;
    pid_t m_kwin = -1;
    std::unique_ptr<QProcess> m_keys;
};

} // namespace mosaro::test
