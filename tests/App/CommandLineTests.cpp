#include "App/CommandLine.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {

CommandLine parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("/usr/bin/mosaro"));
    return CommandLine::parse(arguments);
}

using Action = CommandLine::Action;

TEST(CommandLine, EachActionOptionSelectsItsActionAndLogOptionsCombineWithThem)
{
    EXPECT_EQ(parse({}).action(), Action::run);
    EXPECT_EQ(parse({"--help"}).action(), Action::showHelp);
    EXPECT_EQ(parse({"--version"}).action(), Action::showVersion);
    EXPECT_EQ(parse({"--trigger"}).action(), Action::sendTrigger);
    EXPECT_EQ(parse({"--quit"}).action(), Action::sendQuit);

    const CommandLine line = parse({"--verbose", "--log-stdout", "--trigger"});
    EXPECT_EQ(line.action(), Action::sendTrigger);
    EXPECT_TRUE(line.isSet("verbose"));
    EXPECT_TRUE(line.isSet("log-stdout"));
    EXPECT_FALSE(line.isSet("log-stderr"));
    EXPECT_TRUE(parse({"--verbose", "--verbose"}).isSet("verbose"));
}

TEST(CommandLine, AnythingNotUnderstoodFailsWithOneLineNamingIt)
{
    const struct {
        QStringList arguments;
        QString error;
    } cases[] = {
        {{"--frobnicate"}, "unknown option '--frobnicate'"},
        {{"-h"}, "unknown option '-h'"},
        {{"--"}, "unknown option '--'"},
        {{"--Help"}, "unknown option '--Help'"},
        {{"--verbose=1"}, "unknown option '--verbose=1'"},
        {{"settings"}, "unexpected argument 'settings'"},
        {{"--trigger", "--quit"}, "--trigger and --quit cannot be combined"},
        {{"--version", "--help"}, "--help and --version cannot be combined"},
    };
    for (const auto& c : cases) {
        const CommandLine line = parse(c.arguments);
        EXPECT_EQ(line.action(), Action::fail) << c.arguments.join(' ').toStdString();
        EXPECT_EQ(line.error(), c.error);
        EXPECT_FALSE(line.error().contains('\n'));
    }
}

TEST(CommandLine, HelpListsEveryOptionOnItsOwnAlignedLine)
{
    const QString help = CommandLine::helpText();
    EXPECT_TRUE(help.startsWith(QStringLiteral("Usage: mosaro [option]\n")));
    EXPECT_TRUE(help.endsWith('\n'));
    const QStringList lines = help.split('\n');
    QStringList optionLines;
    for (const QString& l : lines)
        if (l.startsWith(QStringLiteral("  --")))
            optionLines << l;
    ASSERT_EQ(optionLines.size(), qsizetype(commandLineOptions().size()));
    qsizetype column = -1;
    for (std::size_t i = 0; i < commandLineOptions().size(); ++i) {
        const auto& option = commandLineOptions()[i];
        const QString name =
            QStringLiteral("--") + QString::fromUtf8(option.name.data(), qsizetype(option.name.size()));
        const QString description = QString::fromUtf8(option.description.data(), qsizetype(option.description.size()));
        EXPECT_TRUE(optionLines[qsizetype(i)].startsWith(QStringLiteral("  ") + name + ' '));
        const qsizetype at = optionLines[qsizetype(i)].indexOf(description);
        ASSERT_GT(at, 0) << name.toStdString();
        if (column < 0)
            column = at;
        EXPECT_EQ(at, column) << "descriptions start in one column";
    }
    for (const char* required : {"help", "version", "trigger", "quit", "verbose", "log-stderr", "log-stdout"})
        EXPECT_TRUE(help.contains(QStringLiteral("  --") + required + ' ')) << required;
}

TEST(CommandLine, VersionLineNamesTheProgramAndVersion)
{
    EXPECT_EQ(CommandLine::versionText(QStringLiteral("1.2.3")), QStringLiteral("mosaro 1.2.3\n"));
}

} // namespace
