#pragma once

// The observer: an X client of the benchmark's own on the private server, which types keys through
// XTEST and timestamps what the server reports of Mosaro and the target window, and the readings
// of /proc about processes. Nothing here knows Mosaro's insides.

#include "Platform/X11/X11Connection.h"
#include "support/x11/XTestKeyboard.h"

#include <QRect>
#include <QRegion>
#include <QString>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace mosaro::bench {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0, Clock::time_point t);

// One event the observer saw, with the time it read it.
struct Event {
    Clock::time_point at;
    std::uint8_t type = 0;
    xcb_window_t window = 0;
    int mode = 0;            // focus events
    QRect area;              // damage, configure
    QRegion painted;         // damage, or what a new shape of a panel changed on screen
    bool paint = false;      // damage or a shape change
    bool onScreen = false;   // configure / map of a panel
    std::uint8_t detail = 0; // key events
};

class Observer {
public:
    explicit Observer(const QString& display);

    X11Connection& connection() { return m_x; }
    xcb_connection_t* c() const { return m_x.connection(); }
    xcb_window_t root() const { return m_x.root(); }
    const xcb_screen_t* screen() const { return m_x.screen(); }

    // A round trip; its duration.
    void sync();
    double roundTrip();

    // Keys of the portable key model; they leave on flush().
    test::XTestKeyboard& keys() { return m_keys; }
    void tap(std::uint16_t macKeyCode) { m_keys.tap(macKeyCode); }
    void trigger();
    void flush() { m_x.flush(); }

    // Mosaro's windows, found by name once it showed its overlay; from then on their pixels,
    // shapes and the keyboard grab are watched.
    bool findPanels();
    // Damage on the root: what a compositing manager puts on screen.
    void watchRoot();
    void watchTarget(xcb_window_t target);

    QRegion boundingShape(xcb_window_t w);
    bool isPanel(xcb_window_t w) const;
    const std::vector<xcb_window_t>& panels() const { return m_panels; }
    std::uint8_t damageEvent() const { return m_damageEvent; }
    xcb_window_t keyWindow() const { return m_keyWindow; }

    // Reads events until the predicate says stop or the time is up; every event is kept.
    std::vector<Event> collect(const std::function<bool(const Event&)>& done, int timeoutMs);
    // Throws away whatever is queued, after reading for the given time.
    void drain(int ms = 0);

    // The window's rectangle in root coordinates.
    QRect geometry(xcb_window_t w);

private:
    std::optional<Event> translate(xcb_generic_event_t* e);

    X11Connection m_x;
    test::XTestKeyboard m_keys;
    std::uint8_t m_damageEvent = 0;
    std::uint8_t m_shapeEvent = 0;
    std::map<xcb_window_t, QRegion> m_shapes;
    std::vector<xcb_window_t> m_panels;
    xcb_window_t m_keyWindow = XCB_WINDOW_NONE;
    std::map<xcb_window_t, std::uint32_t> m_damages;
};

// What /proc tells about processes and the machine.
namespace proc {
double cpuSeconds(pid_t pid);
double rssMegabytes(pid_t pid);
// The Xvfb serving a display, found by its command line.
pid_t serverPid(const QString& display);
std::string machine(const Observer& observer);
std::string loadAverage();
} // namespace proc

} // namespace mosaro::bench
