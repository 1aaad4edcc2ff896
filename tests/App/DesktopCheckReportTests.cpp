#include "App/DesktopCheckReport.h"

#include <gtest/gtest.h>

using namespace mosaro;
using Severity = CheckFinding::Severity;

namespace {

DesktopFacts healthyOpenbox()
{
    DesktopFacts f;
    f.displayName = QStringLiteral(":0");
    f.displayReachable = true;
    f.sessionType = QStringLiteral("x11");
    f.manager = DesktopFacts::Manager::drivable;
    f.managerName = QStringLiteral("Openbox");
    f.probe = DesktopFacts::Probe::honoured;
    f.frameExtentsPublished = true;
    f.workAreaPublished = true;
    f.triggerText = QStringLiteral("Super+Return");
    f.triggerOwner = DesktopFacts::TriggerOwner::free;
    f.tray = QStringLiteral("an XEmbed system tray");
    f.sessionBus = true;
    f.journal = true;
    f.preferences = DesktopFacts::PreferencesFile::loaded;
    f.preferencesPath = QStringLiteral("/home/ana/.local/share/Mosaro/preferences.json");
    return f;
}

// The severity of the one finding whose text starts with the prefix.
std::optional<Severity> severityOf(const std::vector<CheckFinding>& findings, const QString& prefix)
{
    for (const CheckFinding& f : findings)
        if (f.text.startsWith(prefix))
            return f.severity;
    return std::nullopt;
}

} // namespace

// What stops Mosaro from placing windows is an error (exit 1): no display (then nothing else is
// said), no window manager, or one without EWMH; the moves are only tried under a drivable one.
TEST(DesktopCheckReport, ErrorsAreWhatStopsPlacing)
{
    DesktopFacts noDisplay;
    noDisplay.displayName = QStringLiteral(":99");
    auto findings = desktopFindings(noDisplay);
    EXPECT_EQ(formatFindings(findings), QStringLiteral("error: cannot open display :99\n"));
    EXPECT_EQ(checkExitCode(findings), 1);
    EXPECT_EQ(formatFindings(desktopFindings(DesktopFacts{})),
              QStringLiteral("error: cannot open display: DISPLAY is not set\n"));

    DesktopFacts bare = healthyOpenbox();
    bare.manager = DesktopFacts::Manager::none;
    findings = desktopFindings(bare);
    EXPECT_EQ(severityOf(findings, QStringLiteral("no window manager is running")), Severity::error);
    EXPECT_FALSE(severityOf(findings, QStringLiteral("moves:")));
    EXPECT_EQ(checkExitCode(findings), 1);

    DesktopFacts twm = healthyOpenbox();
    twm.manager = DesktopFacts::Manager::notDrivable;
    twm.managerName = QStringLiteral("twm");
    findings = desktopFindings(twm);
    EXPECT_EQ(severityOf(findings, QStringLiteral("the window manager (twm) does not support EWMH")), Severity::error);
    EXPECT_EQ(checkExitCode(findings), 1);
}

// Everything else is at most a warning, and names the way out.
TEST(DesktopCheckReport, WarningsNameTheWayOut)
{
    DesktopFacts f = healthyOpenbox();
    f.probe = DesktopFacts::Probe::keptInPlace;
    f.triggerOwner = DesktopFacts::TriggerOwner::otherClient;
    f.tray.clear();
    f.sessionBus = false;
    f.journal = false;
    f.preferences = DesktopFacts::PreferencesFile::newer;
    const auto findings = desktopFindings(f);
    EXPECT_EQ(checkExitCode(findings), 0);
    for (const CheckFinding& finding : findings)
        EXPECT_NE(finding.severity, Severity::error) << finding.text.toStdString();
    EXPECT_EQ(severityOf(findings, QStringLiteral("moves: the window manager kept a test window in place")),
              Severity::warning);
    const QString report = formatFindings(findings);
    EXPECT_TRUE(report.contains(QStringLiteral("warning: trigger: Super+Return is taken by another program (often "
                                               "the desktop's own shortcuts); bind `mosaro --trigger` to a key in the "
                                               "desktop's keyboard settings")))
        << report.toStdString();
    EXPECT_EQ(severityOf(findings, QStringLiteral("tray: nothing shows tray icons")), Severity::warning);
    EXPECT_EQ(severityOf(findings, QStringLiteral("session bus: not reachable")), Severity::warning);
    EXPECT_EQ(severityOf(findings, QStringLiteral("journal: not reachable")), Severity::warning);
    EXPECT_EQ(severityOf(findings, QStringLiteral("preferences: /home/ana/.local/share/Mosaro/preferences.json was "
                                                  "written by a newer Mosaro")),
              Severity::warning);
}

// A file that cannot be read, files kept aside, and one line per finding whatever a path holds.
TEST(DesktopCheckReport, PreferencesAndOneLinePerFinding)
{
    DesktopFacts f = healthyOpenbox();
    f.preferencesPath = QStringLiteral("/tmp/odd\nname/preferences.json");
    f.preferences = DesktopFacts::PreferencesFile::unreadable;
    f.preferencesProblem = QStringLiteral("not JSON");
    f.keptAside = QStringList{QStringLiteral("preferences.json.unreadable-1")};
    const QString report = formatFindings(desktopFindings(f));
    EXPECT_TRUE(report.contains(QStringLiteral("warning: preferences: /tmp/odd name/preferences.json cannot be read "
                                               "(not JSON); Mosaro uses its defaults and keeps the file aside\n")))
        << report.toStdString();
    EXPECT_TRUE(
        report.contains(QStringLiteral("ok: preferences: kept aside earlier: preferences.json.unreadable-1\n")));
    for (const QString& line : report.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        EXPECT_TRUE(line.startsWith(QLatin1String("ok: ")) || line.startsWith(QLatin1String("warning: ")) ||
                    line.startsWith(QLatin1String("error: ")))
            << line.toStdString();
}
