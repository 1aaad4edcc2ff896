#include "App/DesktopCheckReport.h"

#include <functional>

#include <gtest/gtest.h>

using namespace mosaro;

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

} // namespace

// The end-to-end check covers a missing display, no window manager, a taken trigger and a newer
// preferences file on a real server; here, the findings it cannot arrange there. Only what stops
// Mosaro from placing windows is an error (exit 1); the rest names the way out.
TEST(DesktopCheckReport, EachFindingHasItsSeverityAndOneLine)
{
    const struct {
        const char* name;
        std::function<void(DesktopFacts&)> change;
        const char* line;
        int exitCode;
    } rows[] = {
        {"healthy", [](DesktopFacts&) {}, "ok: window manager: Openbox (EWMH)", 0},
        {"no EWMH",
         [](DesktopFacts& f) {
             f.manager = DesktopFacts::Manager::notDrivable;
             f.managerName = QStringLiteral("twm");
         },
         "error: the window manager (twm) does not support EWMH", 1},
        {"tiled", [](DesktopFacts& f) { f.probe = DesktopFacts::Probe::keptInPlace; },
         "warning: moves: the window manager kept a test window in place", 0},
        {"no tray", [](DesktopFacts& f) { f.tray.clear(); }, "warning: tray: nothing shows tray icons", 0},
        {"no bus", [](DesktopFacts& f) { f.sessionBus = false; }, "warning: session bus: not reachable", 0},
        {"no journal", [](DesktopFacts& f) { f.journal = false; }, "warning: journal: not reachable", 0},
        {"unreadable preferences, a line break in the path",
         [](DesktopFacts& f) {
             f.preferencesPath = QStringLiteral("/tmp/odd\nname/preferences.json");
             f.preferences = DesktopFacts::PreferencesFile::unreadable;
             f.preferencesProblem = QStringLiteral("not JSON");
         },
         "warning: preferences: /tmp/odd name/preferences.json cannot be read (not JSON); Mosaro uses its defaults "
         "and keeps the file aside",
         0},
        {"kept aside", [](DesktopFacts& f) { f.keptAside = QStringList{QStringLiteral("preferences.json.bak-1")}; },
         "ok: preferences: kept aside earlier: preferences.json.bak-1", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        DesktopFacts facts = healthyOpenbox();
        row.change(facts);
        const auto findings = desktopFindings(facts);
        const QString report = formatFindings(findings);
        EXPECT_EQ(checkExitCode(findings), row.exitCode);
        EXPECT_TRUE(report.contains(QLatin1Char('\n') + QString::fromUtf8(row.line)) ||
                    report.startsWith(QString::fromUtf8(row.line)))
            << report.toStdString();
        for (const QString& line : report.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
            EXPECT_TRUE(line.startsWith(QLatin1String("ok: ")) || line.startsWith(QLatin1String("warning: ")) ||
                        line.startsWith(QLatin1String("error: ")))
                << line.toStdString();
    }
}
