// The overlay measured from outside, as a user feels it: the shipped mosaro binary on its own
// Xvfb with a window manager (and, for the translucent mode, a compositing manager), a target
// window, and this program as a measuring X client. The observer (BenchObserver) types keys
// through XTEST and watches the server: the overlay's windows mapped or moved on screen, DAMAGE
// on them (and on the root, where a compositing manager draws), the keyboard grab arriving at
// Mosaro's input window, the target's configure and key events. The scenarios (BenchScenarios)
// drive one desktop each; the report (BenchReport) prints every figure with median, p95 and max,
// as Markdown (--out) and as plot data (--plot-data).
//
//   mosaro_bench [--wm openbox] [--compositor both|none|xcompmgr] [--reps N] [--sizes LIST]
//                [--idle-seconds N] [--sessions N] [--early-keys N] [--busy LIST] [--before MOSARO]
//                [--out FILE] [--plot-data FILE] [--screenshots DIR] [--smoke]

#include "BenchReport.h"
#include "BenchScenarios.h"

#include <QFile>

#include <cstdio>
#include <cstdlib>

using namespace mosaro::bench;

namespace {

const std::vector<Layout> allLayouts{
    {QStringLiteral("1920 × 1080"), 1920, 1080, false},
    {QStringLiteral("2560 × 1440"), 2560, 1440, false},
    {QStringLiteral("3840 × 2160"), 3840, 2160, false},
    {QStringLiteral("2 × 1920 × 1080"), 3840, 1080, true},
};

std::vector<int> numbers(const QString& list)
{
    std::vector<int> out;
    for (const QString& n : list.split(QLatin1Char(','), Qt::SkipEmptyParts))
        out.push_back(n.toInt());
    return out;
}

Options parse(int argc, char** argv)
{
    Options o;
    o.layouts = allLayouts;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        const auto next = [&] { return i + 1 < argc ? QString::fromLocal8Bit(argv[++i]) : QString(); };
        if (a == "--wm") {
            o.wm = next();
        } else if (a == "--compositor") {
            const QString v = next();
            o.compositors = v == QLatin1String("none")   ? std::vector<bool>{false}
                            : v == QLatin1String("both") ? std::vector<bool>{false, true}
                                                         : std::vector<bool>{true};
        } else if (a == "--reps") {
            o.reps = next().toInt();
        } else if (a == "--sizes") {
            o.layouts.clear();
            for (const int n : numbers(next()))
                if (n >= 1 && n <= int(allLayouts.size()))
                    o.layouts.push_back(allLayouts[std::size_t(n - 1)]);
        } else if (a == "--idle-seconds") {
            o.idleSeconds = next().toInt();
        } else if (a == "--sessions") {
            o.sessions = next().toInt();
        } else if (a == "--early-keys") {
            o.earlyKeys = next().toInt();
        } else if (a == "--out") {
            o.out = next();
        } else if (a == "--plot-data") {
            o.plotData = next();
        } else if (a == "--screenshots") {
            o.screenshots = next();
        } else if (a == "--before") {
            o.before = next();
        } else if (a == "--busy") {
            o.busy = numbers(next());
        } else if (a == "--smoke") {
            // A few repetitions of every figure: the harness itself keeps working.
            o.smoke = true;
            o.reps = 3;
            o.layouts = {allLayouts[0]};
            o.compositors = {false};
            o.idleSeconds = 1;
            o.sessions = 3;
            o.earlyKeys = 3;
            o.busy = {0, 10};
        } else {
            std::printf(
                "usage: mosaro_bench [--wm NAME] [--compositor none|xcompmgr|both] [--reps N] [--sizes 1,2,3,4]\n"
                "                    [--idle-seconds N] [--sessions N] [--early-keys N] [--out FILE]\n"
                "                    [--plot-data FILE] [--before MOSARO] [--busy 0,100,500] [--screenshots DIR]\n"
                "                    [--smoke]\n"
                "Measures the shipped mosaro from outside on its own Xvfb; sizes: 1 = 1920x1080,\n"
                "2 = 2560x1440, 3 = 3840x2160, 4 = two 1920x1080 monitors side by side.\n");
            std::exit(a == "--help" || a == "-h" ? 0 : 2);
        }
    }
    return o;
}

void write(const QString& path, const std::string& text)
{
    QFile f(path);
    if (!path.isEmpty() && f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(QByteArray::fromStdString(text));
}

// Every figure came out.
bool complete(const Report& report)
{
    const Results& r = report.layouts.front();
    const auto filled = [](const Figure& f) { return !f.empty(); };
    return filled(r.ready) && filled(r.arrowRepaint) && filled(r.sameSize.mosaro) && filled(r.resized.mosaro) &&
           filled(r.sameSize.floor) && filled(r.resized.floor) && r.earlyLost == 0 &&
           !std::isnan(report.memory.rssAfterAll) && !report.busy.empty() &&
           std::all_of(report.busy.back().figures.begin(), report.busy.back().figures.end(), filled);
}

} // namespace

int main(int argc, char** argv)
{
    const Options o = parse(argc, argv);
    if (!o.screenshots.isEmpty()) {
        takeScreenshots(o);
        return 0;
    }
    Report report;
    report.wm = o.wm;
    report.reps = o.reps;
    report.busyCounts = o.busy;
    report.loadBefore = proc::loadAverage();
    for (const bool compositor : o.compositors) {
        for (const Layout& layout : o.layouts) {
            std::printf("== %s, %s ==\n", qPrintable(layout.name), compositor ? "xcompmgr" : "no compositor");
            std::fflush(stdout);
            const Results& r = report.layouts.emplace_back(measureLayout(o, layout, compositor, report.machine));
            if (!r.error.isEmpty())
                std::printf("set-up failed: %s\n", qPrintable(r.error));
            std::printf("trigger → ready      %s ms (%zu of %d)\n", triple(r.ready).c_str(), r.ready.values.size(),
                        o.reps);
            std::printf("arrow → repaint      %s ms\n", triple(r.arrowRepaint).c_str());
            if (!r.sameSize.mosaro.empty())
                std::printf("commit, same size    %s ms\ncommit, resized      %s ms\n",
                            triple(r.sameSize.mosaro).c_str(), triple(r.resized.mosaro).c_str());
            std::fflush(stdout);
        }
    }
    report.memory = measureMemory(o);
    report.comparisons = compareBuilds(o);
    report.busy = measureBusyDesktops(o);
    report.loadAfter = proc::loadAverage();

    const std::string md = markdown(report);
    std::printf("\n%s", md.c_str());
    write(o.out, md);
    write(o.plotData, plotData(report));
    bool ok =
        std::none_of(report.layouts.begin(), report.layouts.end(), [](const Results& r) { return !r.error.isEmpty(); });
    if (o.smoke) {
        ok = ok && complete(report);
        std::printf("smoke: %s\n", ok ? "passed" : "FAILED");
    }
    return ok ? 0 : 1;
}
