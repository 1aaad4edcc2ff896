#pragma once

#include "support/wayland/SessionProcesses.h"

#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <optional>

namespace mosaro::test {

// The real `mosaro` program on a compositor's session, reached only through the session's sockets
// and bus, as the session's user, with a home of its own unless the session gives one (on GNOME
// the session's, which it shares with the Shell as a person's desktop does: the extension it
// installs and the settings it writes are the Shell's); its log is its standard error.
class MosaroProcess {
public:
    // `binary` is the program to run: the one this build made unless another is named.
    explicit MosaroProcess(CompositorSession& session, const QString& binary = {});
    ~MosaroProcess();
    MosaroProcess(const MosaroProcess&) = delete;
    MosaroProcess& operator=(const MosaroProcess&) = delete;

    // Starts it and waits until its trigger is live (or refused); false with the log otherwise.
    bool start();
    // Runs the program once more with these arguments on the same session (less the variables
    // named in `unset`): its exit status, or -1, and what it printed.
    int run(const QStringList& arguments, QString* output = nullptr, int timeoutMs = 10000,
            const QStringList& unset = {});
    // Its exit status once it ended by itself, or nothing.
    std::optional<int> waitForExit(int timeoutMs = 10000);
    void stop();
    pid_t pid() const { return m_pid; }

    QString log() const;
    int count(const QString& needle) const { return int(log().count(needle)); }
    bool waitForLog(const QString& needle, int times = 1, int timeoutMs = 5000) const;
    // Until its stored defaults (the shortcuts) hold the text.
    bool waitForDefaults(const QString& needle, int timeoutMs = 5000) const;

private:
    QStringList environment() const;

    CompositorSession& m_session;
    QString m_binary;
    QString m_folder;
    QString m_home;
    pid_t m_pid = -1;
};

} // namespace mosaro::test
