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

} // namespace
