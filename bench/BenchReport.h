#pragma once

// The report: the figures the scenarios gather, with their statistics, written as the tables of
// bench/results.md and as plot data.

#include <QString>

#include <cmath>
#include <string>
#include <vector>

namespace mosaro::bench {

struct Figure {
    std::vector<double> values;
    double median() const { return at(0.5); }
    double p95() const { return at(0.95); }
    double max() const;
    double at(double q) const;
    bool empty() const { return values.empty(); }
};

std::string fmt(double v, int decimals = 2);
// median / p95 / max
std::string triple(const Figure& f, int decimals = 2);

struct Layout {
    QString name;
    int width = 0;
    int height = 0;
    bool twoMonitors = false;
    double megapixels() const { return double(width) * height / 1e6; }
};

// A commit, Return → the target at its new frame, between two regions of the grid.
struct Commits {
    Figure mosaro;
    Figure released;   // Return → Mosaro lets go of the keyboard (the overlay is dismissed)
    Figure configures; // the target's ConfigureNotify events until it shows its new frame
    Figure floor;      // one _NET_MOVERESIZE_WINDOW from the observer for the same frames
};

// Every figure of one screen layout in one drawing mode.
struct Results {
    Layout layout;
    bool compositor = false;
    Figure mapped, painted, keyboard, ready;
    Figure arrowRepaint, arrowVisible, framesPerMove, pixelsPerFrame;
    Commits sameSize;       // one cell and another of the same size: only the position changes
    Commits resized;        // a 2 × 2 region and one cell: position and size both change
    Figure wmctrl, xdotool; // the same-size frames moved by those tools
    int earlyLost = -1, earlyTotal = 0;
    Figure roundTrip;                                         // a bare X round trip of the observer, between showings
    double appCpuPerShowing = NAN, serverCpuPerShowing = NAN; // ms of CPU per trigger + dismissal
    QString error;
};

struct Memory {
    int idleSeconds = 0;
    double idleCpu = NAN, rssIdle = NAN, rssAfter1 = NAN, rssAfter1000 = NAN, rssAfterAll = NAN;
    int sessionsDone = 0;
};

// An earlier build beside this one in the same run.
struct Comparison {
    Layout layout;
    QString before; // the earlier build's path
    Figure presentedBefore, presentedAfter;
    Commits sameSizeBefore, sameSizeAfter, resizedBefore, resizedAfter;
};

// Trigger → ready on a busy desktop, one figure per count of other windows.
struct Busy {
    QString build;
    std::vector<Figure> figures;
};

struct Report {
    std::string machine, loadBefore, loadAfter;
    QString wm;
    int reps = 0;
    std::vector<Results> layouts;
    Memory memory;
    std::vector<Comparison> comparisons;
    std::vector<int> busyCounts;
    std::vector<Busy> busy;
};

std::string markdown(const Report& report);
// One line per layout and mode, for bench/plot.sh.
std::string plotData(const Report& report);

} // namespace mosaro::bench
