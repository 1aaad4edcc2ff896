#include "App/CommandLine.h"

#include <QtGlobal>

#include <algorithm>
#include <array>

namespace mosaro {

namespace {

// One option of `mosaro`, as --help lists it: the name without its dashes, a one-line description.
struct CommandLineOption {
    std::string_view name;
    std::string_view description;
};

// Every option, in the order --help lists them. Adding an option is adding its row.
constexpr std::array kOptions{
    CommandLineOption{"help", "Show this help and exit."},
    CommandLineOption{"version", "Print the version and exit."},
    CommandLineOption{"trigger", "Ask the running Mosaro to open its grid on the focused window."},
    CommandLineOption{"quit", "Ask the running Mosaro to quit."},
    CommandLineOption{"check", "Check whether this desktop can run Mosaro, say what is missing, and exit."},
    CommandLineOption{"verbose", "Log debug messages too, and echo the log on standard error."},
    CommandLineOption{"log-stderr", "Echo the log on standard error."},
    CommandLineOption{"log-stdout", "Echo the log on standard output."},
    CommandLineOption{"log-private", "Show private values (window titles, paths) in the journal and the echoed log."},
};

// Options that make this process do one thing instead of running; at most one may be given.
constexpr std::array kExclusive{
    std::pair{std::string_view("help"), CommandLine::Action::showHelp},
    std::pair{std::string_view("version"), CommandLine::Action::showVersion},
    std::pair{std::string_view("trigger"), CommandLine::Action::sendTrigger},
    std::pair{std::string_view("quit"), CommandLine::Action::sendQuit},
    std::pair{std::string_view("check"), CommandLine::Action::checkDesktop},
};

QString text(std::string_view s)
{
    return QString::fromUtf8(s.data(), qsizetype(s.size()));
}

bool known(const QString& name)
{
    return std::any_of(kOptions.begin(), kOptions.end(),
                       [&](const CommandLineOption& o) { return text(o.name) == name; });
}

} // namespace

CommandLine CommandLine::parse(const QStringList& arguments)
{
    CommandLine line;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const QString name = argument.startsWith(QLatin1String("--")) ? argument.mid(2) : QString();
        if (name.isEmpty() || !known(name)) {
            line.m_error = argument.startsWith(QLatin1Char('-'))
                               ? QStringLiteral("unknown option '%1'").arg(argument)
                               : QStringLiteral("unexpected argument '%1'").arg(argument);
            return line;
        }
        line.m_given.insert(name);
    }
    QStringList exclusive;
    for (const auto& [name, action] : kExclusive)
        if (line.isSet(name))
            exclusive << QStringLiteral("--") + text(name);
    if (exclusive.size() > 1)
        line.m_error = QStringLiteral("%1 cannot be combined").arg(exclusive.join(QStringLiteral(" and ")));
    return line;
}

CommandLine::Action CommandLine::action() const
{
    if (!m_error.isEmpty())
        return Action::fail;
    for (const auto& [name, action] : kExclusive)
        if (isSet(name))
            return action;
    return Action::run;
}

bool CommandLine::isSet(std::string_view option) const
{
    Q_ASSERT(known(text(option)));
    return m_given.count(text(option)) > 0;
}

QString CommandLine::helpText()
{
    std::size_t width = 0;
    for (const auto& option : kOptions)
        width = std::max(width, option.name.size());
    QString out = QStringLiteral("Usage: mosaro [option]\n"
                                 "A keyboard-driven window tiler for X11 desktops.\n"
                                 "\n"
                                 "Without an option Mosaro starts in the system tray; when it already runs in this\n"
                                 "session, the running one shows its settings instead.\n"
                                 "\n"
                                 "Options:\n");
    for (const auto& option : kOptions)
        out += QStringLiteral("  --%1  %2\n").arg(text(option.name), -int(width)).arg(text(option.description));
    return out;
}

QString CommandLine::versionText(const QString& version)
{
    return QStringLiteral("mosaro %1\n").arg(version);
}

} // namespace mosaro
