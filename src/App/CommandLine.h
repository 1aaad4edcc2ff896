#pragma once

#include <QString>
#include <QStringList>

#include <set>
#include <string_view>

namespace mosaro {

// The arguments `mosaro` was started with. Read before anything else starts, so that --help and
// --version work without a display or a session bus.
class CommandLine {
public:
    // What the process does with them.
    enum class Action {
        run,          // start, or hand over to the Mosaro already running
        showHelp,     // print the help and exit 0
        showVersion,  // print the version and exit 0
        sendTrigger,  // ask the running Mosaro to act as if its trigger were pressed
        sendQuit,     // ask the running Mosaro to quit
        checkDesktop, // report whether this desktop can run Mosaro, exit 0 or 1
        fail,         // arguments not understood: print error() and exit 2
    };

    // `arguments` as main() gets them, the program first.
    static CommandLine parse(const QStringList& arguments);

    Action action() const;
    // Whether the option (by its name without dashes, a name of the table) was given.
    bool isSet(std::string_view option) const;
    // One line saying what was wrong, when action() is fail.
    const QString& error() const { return m_error; }

    // The --help text, ending with a newline.
    static QString helpText();
    // The --version line, ending with a newline.
    static QString versionText(const QString& version);

private:
    std::set<QString> m_given;
    QString m_error;
};

} // namespace mosaro
