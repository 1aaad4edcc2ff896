#pragma once

// The scenarios: each starts its own desktop (Xvfb, a window manager, perhaps a compositing
// manager, a target window and Mosaro) and drives it through the observer, filling figures.

#include "BenchObserver.h"
#include "BenchReport.h"

#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace mosaro::bench {

struct Options {
    QString wm = QStringLiteral("openbox");
    std::vector<bool> compositors{false, true};
    int reps = 100;
    std::vector<Layout> layouts;
    int idleSeconds = 60;
    int sessions = 10000;
    int earlyKeys = 200;
    QString out;
    QString plotData;
    QString screenshots;
    QString before;                     // an earlier build to measure beside this one
    std::vector<int> busy{0, 100, 500}; // other managed windows on the desktop, for trigger → ready
    bool smoke = false;
};

// Keys typed into the overlay, with their modifiers.
using Keys = std::vector<std::pair<std::uint16_t, std::uint64_t>>;

// One private desktop with Mosaro (this build or another) and a target window.
class Desktop {
public:
    Desktop(const Options& options, const Layout& layout, bool compositor, QString appPath);
    ~Desktop();

    // Starts everything; with watchPanels, shows the overlay once to find Mosaro's windows.
    bool setUp(QString& error, const QStringList& targetArgs = {}, bool watchPanels = true);

    test::X11Session& session() { return *m_session; }
    test::MosaroAppDriver& app() { return *m_app; }
    Observer& observer() { return *m_observer; }
    xcb_window_t target() const { return m_target; }

    bool isUngrab(const Event& e) const;

    // Trigger → shown, painted, keyboard held; NaN where it did not get there.
    struct Showing {
        double mapped = NAN, painted = NAN, keyboard = NAN;
        double ready() const { return std::max({mapped, painted, keyboard}); }
        bool complete() const { return !std::isnan(mapped) && !std::isnan(painted) && !std::isnan(keyboard); }
    };
    Showing openOverlay(int timeoutMs = 1000);
    void closeOverlay();

    // Arrow → first repaint, first visible movement, frames and pixels per move.
    void measureArrows(Results& r);
    // Mosaro's commits both ways, then the floor and the tools for the same frames.
    void measureCommits(Results& r);
    void measureMosaroCommits(Commits& sameSize, Commits& resized);
    // Keys typed 0–30 ms after the trigger: how many reach the target instead of the overlay.
    void measureEarlyKeys(Results& r, int count);

private:
    bool isGrabIn(const Event& e) const;
    bool isPanelShown(const Event& e) const;
    bool isPanelDamage(const Event& e) const;
    bool isRootDamage(const Event& e) const;
    // The target's rectangle once it stops changing after `act`.
    QRect settle(const std::function<void()>& act);
    // Time from `act` until the target shows `expected`; Mosaro letting go of the keyboard and the
    // target's configure events on the way, when asked.
    double timeMove(const std::function<void()>& act, const QRect& expected, double* released = nullptr,
                    int* configures = nullptr);
    // Back and forth between two regions: a commit to each first, where it lands; then timed.
    std::pair<QRect, QRect> mosaroCommits(Commits& c, const Keys& toA, const Keys& toB);
    void commitsBy(Figure& f, const std::function<std::function<void()>(const QRect&)>& to,
                   const std::pair<QRect, QRect>& frames);
    void reapTool();

    const Options& m_options;
    Layout m_layout;
    bool m_compositor;
    QString m_appPath;
    std::unique_ptr<test::X11Session> m_session;
    std::unique_ptr<Observer> m_observer;
    std::unique_ptr<test::MosaroAppDriver> m_app;
    xcb_window_t m_target = XCB_WINDOW_NONE;
    std::pair<QRect, QRect> m_sameSize, m_resized;
    pid_t m_compositorPid = -1;
    pid_t m_toolPid = -1;
};

// The scenarios of a run, each on desktops of its own.
Results measureLayout(const Options& o, const Layout& layout, bool compositor, std::string& machine);
Memory measureMemory(const Options& o);
std::vector<Comparison> compareBuilds(const Options& o);
std::vector<Busy> measureBusyDesktops(const Options& o);
void takeScreenshots(const Options& o);

// The shipped program this benchmark was built with.
QString thisBuild();

} // namespace mosaro::bench
