#include "BenchReport.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace mosaro::bench {

double Figure::max() const
{
    return values.empty() ? NAN : *std::max_element(values.begin(), values.end());
}

double Figure::at(double q) const
{
    if (values.empty())
        return NAN;
    std::vector<double> v = values;
    std::sort(v.begin(), v.end());
    const auto i = std::size_t(std::ceil(q * double(v.size()))) - (q > 0 ? 1 : 0);
    return v[std::min(i, v.size() - 1)];
}

std::string fmt(double v, int decimals)
{
    if (std::isnan(v))
        return "–";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

std::string triple(const Figure& f, int decimals)
{
    return fmt(f.median(), decimals) + " / " + fmt(f.p95(), decimals) + " / " + fmt(f.max(), decimals);
}

namespace {

std::string counted(const Figure& f)
{
    return triple(f) + " (" + std::to_string(f.values.size()) + ")";
}

std::string mode(const Results& r)
{
    return r.compositor ? "translucent (xcompmgr)" : "outline";
}

void showings(std::ostringstream& md, const Report& report)
{
    md << "| Screen | Mode | trigger → mapped | → first paint | → keyboard held | → ready (all three) | arrow → "
          "first repaint | arrow → first visible movement | frames per move | pixels per frame |\n";
    md << "|---|---|---|---|---|---|---|---|---|---|\n";
    for (const Results& r : report.layouts) {
        md << "| " << r.layout.name.toStdString() << " | " << mode(r) << " | ";
        if (!r.error.isEmpty()) {
            md << "set-up failed: " << r.error.left(120).simplified().toStdString() << " | | | | | | | |\n";
            continue;
        }
        md << triple(r.mapped) << " | " << triple(r.painted) << " | " << triple(r.keyboard) << " | " << triple(r.ready)
           << " | " << triple(r.arrowRepaint) << " | " << triple(r.arrowVisible) << " | " << triple(r.framesPerMove, 0)
           << " | " << triple(r.pixelsPerFrame, 0) << " |\n";
    }
}

void commits(std::ostringstream& md, const Report& report)
{
    md << "\nCommits, Return → the window at its new frame. *Same size*: back and forth between the left and the "
          "right bottom cell of the 3 × 2 grid, so only the position changes (the size and the second position "
          "cost no request). *Different sizes*: back and forth between the left 2 × 2 cells and the bottom-right "
          "cell, so the position and the size both change. \"Configures\" counts the target's ConfigureNotify "
          "events until it shows its new frame. The floor is one `_NET_MOVERESIZE_WINDOW` from the observer for "
          "the same frames.\n\n";
    md << "| Screen | Mode | Move | Return → window at its new frame (Mosaro) | of which Return → overlay dismissed | "
          "configures | floor: one `_NET_MOVERESIZE_WINDOW` | `wmctrl` | `xdotool` | Mosaro ÷ floor (median) | "
          "early keys lost |\n";
    md << "|---|---|---|---|---|---|---|---|---|---|---|\n";
    for (const Results& r : report.layouts) {
        if (r.sameSize.mosaro.empty())
            continue;
        const auto row = [&](const char* move, const Commits& c, const std::string& tools, const std::string& early) {
            md << "| " << r.layout.name.toStdString() << " | " << mode(r) << " | " << move << " | " << counted(c.mosaro)
               << " | " << triple(c.released) << " | " << triple(c.configures, 0) << " | " << counted(c.floor) << " | "
               << tools << " | " << fmt(c.mosaro.median() / c.floor.median()) << " | " << early << " |\n";
        };
        row("same size", r.sameSize, counted(r.wmctrl) + " | " + counted(r.xdotool),
            std::to_string(r.earlyLost) + " of " + std::to_string(r.earlyTotal));
        row("different sizes", r.resized, "– | –", "");
    }
}

void whereTheTimeGoes(std::ostringstream& md, const Report& report)
{
    md << "\nWhere the time goes. A bare X round trip of the measuring client between showings shows how "
          "long any process waits for the CPU on this machine; the CPU time Mosaro and the X server spent per "
          "showing (trigger, drawing, Escape, teardown; from /proc) is the work itself.\n\n";
    md << "| Screen | Mode | X round trip (median / p95 / max) | Mosaro CPU per showing | Xvfb CPU per showing |\n";
    md << "|---|---|---|---|---|\n";
    for (const Results& r : report.layouts) {
        if (!r.error.isEmpty())
            continue;
        md << "| " << r.layout.name.toStdString() << " | " << mode(r) << " | " << triple(r.roundTrip) << " | "
           << fmt(r.appCpuPerShowing) << " ms | " << fmt(r.serverCpuPerShowing) << " ms |\n";
    }
    const Memory& m = report.memory;
    md << "\nIdle (no session, the 2 s permission poll running) over " << m.idleSeconds << " s: CPU "
       << fmt(m.idleCpu, 3) << " %, RSS " << fmt(m.rssIdle, 1)
       << " MB. Against a window with a 64 KiB title: RSS after 1 session " << fmt(m.rssAfter1, 1)
       << " MB, after 1,000 " << fmt(m.rssAfter1000, 1) << " MB, after " << m.sessionsDone << " "
       << fmt(m.rssAfterAll, 1) << " MB (growth after the first session: " << fmt(m.rssAfterAll - m.rssAfter1, 1)
       << " MB).\n";
}

void beforeAndAfter(std::ostringstream& md, const Report& report)
{
    if (report.comparisons.empty())
        return;
    md << "\nBefore and after, same run, no compositor: trigger → the application's \"panel presented\" line "
          "(shown, drawn, keyboard held), by the log's millisecond clock, "
       << report.reps << " repetitions. Before: `" << report.comparisons.front().before.toStdString() << "`.\n\n";
    md << "| Screen | before | after |\n|---|---|---|\n";
    for (const Comparison& c : report.comparisons)
        md << "| " << c.layout.name.toStdString() << " | " << triple(c.presentedBefore, 0) << " | "
           << triple(c.presentedAfter, 0) << " |\n";
    md << "\nReturn → window at its new frame, measured from outside as above, same run:\n\n";
    md << "| Screen | Move | before | after |\n|---|---|---|---|\n";
    for (const Comparison& c : report.comparisons) {
        md << "| " << c.layout.name.toStdString() << " | same size | " << triple(c.sameSizeBefore.mosaro) << " | "
           << triple(c.sameSizeAfter.mosaro) << " |\n";
        md << "| " << c.layout.name.toStdString() << " | different sizes | " << triple(c.resizedBefore.mosaro) << " | "
           << triple(c.resizedAfter.mosaro) << " |\n";
    }
}

void busyDesktop(std::ostringstream& md, const Report& report)
{
    if (report.busy.empty())
        return;
    md << "\nA busy desktop, same run, 1920 × 1080, no compositor: trigger → ready (mapped, painted, keyboard "
          "held) with other managed windows on the desktop, median / p95 / max over "
       << report.reps
       << " showings; the last column divides the median with the most windows by the one with none. The last "
          "row is the X server's own work: a window of the overlay's place and shape mapped by the measuring "
          "client over the same desktop, from the request to its first paint.\n\n";
    md << "| Build |";
    for (const int windows : report.busyCounts)
        md << " " << windows << " other windows |";
    md << " ÷ none |\n|---|";
    for (std::size_t i = 0; i <= report.busyCounts.size(); ++i)
        md << "---|";
    md << "\n";
    for (const Busy& b : report.busy) {
        md << "| " << b.build.toStdString() << " |";
        for (const Figure& f : b.figures)
            md << " " << triple(f) << " |";
        md << " " << fmt(b.figures.back().median() / b.figures.front().median()) << " × |\n";
    }
}

} // namespace

std::string markdown(const Report& report)
{
    std::ostringstream md;
    md << "Machine: " << report.machine << "; window manager " << report.wm.toStdString()
       << "; load average at the start " << report.loadBefore << ", at the end " << report.loadAfter << ".\n\n";
    md << "Every figure: median / p95 / max in milliseconds over " << report.reps
       << " repetitions (commits: see the count), measured from the moment the keys were sent.\n\n";
    showings(md, report);
    commits(md, report);
    whereTheTimeGoes(md, report);
    beforeAndAfter(md, report);
    busyDesktop(md, report);
    return md.str();
}

std::string plotData(const Report& report)
{
    std::ostringstream s;
    s << "# megapixels mode ready_median ready_p95 arrow_median arrow_p95 name\n";
    for (const Results& r : report.layouts)
        if (r.error.isEmpty())
            s << r.layout.megapixels() << ' ' << (r.compositor ? 1 : 0) << ' ' << r.ready.median() << ' '
              << r.ready.p95() << ' ' << r.arrowRepaint.median() << ' ' << r.arrowRepaint.p95() << " \""
              << r.layout.name.toStdString() << "\"\n";
    return s.str();
}

} // namespace mosaro::bench
