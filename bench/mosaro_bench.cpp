// The overlay measured from outside, as a user feels it: the shipped mosaro binary on its own
// Xvfb with a window manager (and, for the translucent mode, a compositing manager), a target
// window, and this program as a measuring X client. It presses keys through XTEST and watches
// the server: the overlay's windows being mapped or moved on screen, DAMAGE on them (and on the
// root, where a compositing manager draws), the keyboard grab arriving at Mosaro's input
// window, the target's own configure and key events. Prints every figure with median, p95 and
// max, and writes them as Markdown (--out) and as plot data (--plot-data).
//
//   mosaro_bench [--wm openbox] [--compositor both|none|xcompmgr] [--reps N] [--sizes LIST]
//                [--idle-seconds N] [--sessions N] [--busy LIST] [--out FILE] [--plot-data FILE]
//                [--screenshots DIR] [--smoke]

#include "Diagnostics/Log/LogMessages.h"
#include "support/x11/MosaroAppDriver.h"
#include "support/x11/X11Session.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QRegion>
#include <QString>
#include <QTextStream>
#include <QTime>

#include <xcb/damage.h>
#include <xcb/shape.h>
#include <xcb/xtest.h>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace mosaro;
using namespace mosaro::test;

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t0, Clock::time_point t)
{
    return std::chrono::duration<double, std::milli>(t - t0).count();
}

void pause(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

// --- statistics -----------------------------------------------------------------------------

struct Figure {
    std::vector<double> values;
    double median() const { return at(0.5); }
    double p95() const { return at(0.95); }
    double max() const { return values.empty() ? NAN : *std::max_element(values.begin(), values.end()); }
    double at(double q) const
    {
        if (values.empty())
            return NAN;
        std::vector<double> v = values;
        std::sort(v.begin(), v.end());
        const auto i = std::size_t(std::ceil(q * double(v.size()))) - (q > 0 ? 1 : 0);
        return v[std::min(i, v.size() - 1)];
    }
};

std::string fmt(double v, int decimals = 2)
{
    if (std::isnan(v))
        return "–";
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

std::string triple(const Figure& f, int decimals = 2)
{
    return fmt(f.median(), decimals) + " / " + fmt(f.p95(), decimals) + " / " + fmt(f.max(), decimals);
}

// --- the measuring client -------------------------------------------------------------------

constexpr std::uint8_t kKeyPress = 2, kKeyRelease = 3;

// Evdev-based X key codes (Xvfb's default keymap).
constexpr std::uint8_t xReturn = 36, xEscape = 9, xLeft = 113, xRight = 114, xUp = 111, xSuper = 133, xShift = 50;

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

class Probe {
public:
    explicit Probe(const QString& display)
    {
        m_c = xcb_connect(display.toLocal8Bit().constData(), nullptr);
        m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        m_root = m_screen->root;
        const auto* damage = xcb_get_extension_data(m_c, &xcb_damage_id);
        if (damage && damage->present) {
            m_damageEvent = damage->first_event + XCB_DAMAGE_NOTIFY;
            free(xcb_damage_query_version_reply(m_c, xcb_damage_query_version(m_c, 1, 1), nullptr));
        }
        // Without a compositing manager the overlay changes by changing its shape, which the
        // server paints at once without reporting damage: shape events stand in for it.
        const auto* shape = xcb_get_extension_data(m_c, &xcb_shape_id);
        if (shape && shape->present)
            m_shapeEvent = shape->first_event + XCB_SHAPE_NOTIFY;
        const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_c, m_root, XCB_CW_EVENT_MASK, &mask);
        sync();
    }
    ~Probe() { xcb_disconnect(m_c); }

    xcb_connection_t* c() const { return m_c; }
    xcb_window_t root() const { return m_root; }
    const xcb_screen_t* screen() const { return m_screen; }

    void sync() { free(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr)); }
    double roundTrip()
    {
        const auto t0 = Clock::now();
        sync();
        return msSince(t0, Clock::now());
    }

    void key(std::uint8_t code, bool down)
    {
        xcb_test_fake_input(m_c, down ? kKeyPress : kKeyRelease, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    }
    void tap(std::uint8_t code)
    {
        key(code, true);
        key(code, false);
    }
    void trigger()
    {
        key(xSuper, true);
        tap(xReturn);
        key(xSuper, false);
    }
    void flush() { xcb_flush(m_c); }

    // Mosaro's windows, found by name once it showed its overlay.
    bool findPanels()
    {
        m_panels.clear();
        m_keyWindow = XCB_WINDOW_NONE;
        auto* tree = xcb_query_tree_reply(m_c, xcb_query_tree(m_c, m_root), nullptr);
        if (!tree)
            return false;
        const xcb_window_t* children = xcb_query_tree_children(tree);
        for (int i = 0; i < xcb_query_tree_children_length(tree); ++i) {
            const std::string name = nameOf(children[i]);
            if (name == "Mosaro keyboard")
                m_keyWindow = children[i];
            else if (name == "Mosaro overlay")
                m_panels.push_back(children[i]);
        }
        free(tree);
        std::vector<xcb_window_t> inner;
        for (xcb_window_t w : m_panels) {
            if (auto* sub = xcb_query_tree_reply(m_c, xcb_query_tree(m_c, w), nullptr)) {
                const xcb_window_t* kids = xcb_query_tree_children(sub);
                inner.insert(inner.end(), kids, kids + xcb_query_tree_children_length(sub));
                free(sub);
            }
        }
        m_panels.insert(m_panels.end(), inner.begin(), inner.end());
        for (xcb_window_t w : m_panels) {
            if (m_shapeEvent && !m_shapes.count(w)) {
                xcb_shape_select_input(m_c, w, 1);
                m_shapes[w] = boundingShape(w);
            }
            if (m_damages.count(w) || !m_damageEvent)
                continue;
            const xcb_damage_damage_t d = xcb_generate_id(m_c);
            xcb_damage_create(m_c, d, w, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
            m_damages[w] = d;
        }
        if (m_keyWindow) {
            const std::uint32_t mask = XCB_EVENT_MASK_FOCUS_CHANGE;
            xcb_change_window_attributes(m_c, m_keyWindow, XCB_CW_EVENT_MASK, &mask);
        }
        sync();
        return !m_panels.empty() && m_keyWindow;
    }

    // Damage on the root: what a compositing manager puts on screen.
    void watchRoot()
    {
        if (m_damages.count(m_root) || !m_damageEvent)
            return;
        const xcb_damage_damage_t d = xcb_generate_id(m_c);
        xcb_damage_create(m_c, d, m_root, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
        m_damages[m_root] = d;
        sync();
    }

    void watchTarget(xcb_window_t target)
    {
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_KEY_PRESS;
        xcb_change_window_attributes(m_c, target, XCB_CW_EVENT_MASK, &mask);
        sync();
    }

    QRegion boundingShape(xcb_window_t w)
    {
        QRegion region;
        auto* r = xcb_shape_get_rectangles_reply(m_c, xcb_shape_get_rectangles(m_c, w, XCB_SHAPE_SK_BOUNDING), nullptr);
        if (!r)
            return region;
        const xcb_rectangle_t* rects = xcb_shape_get_rectangles_rectangles(r);
        for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(r); ++i)
            region += QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
        free(r);
        return region;
    }

    bool isPanel(xcb_window_t w) const { return std::find(m_panels.begin(), m_panels.end(), w) != m_panels.end(); }
    const std::vector<xcb_window_t>& panels() const { return m_panels; }
    std::uint8_t damageEvent() const { return m_damageEvent; }
    xcb_window_t keyWindow() const { return m_keyWindow; }

    // Reads events until the predicate says stop or the time is up; every event is kept.
    std::vector<Event> collect(const std::function<bool(const Event&)>& done, int timeoutMs)
    {
        std::vector<Event> out;
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        xcb_flush(m_c);
        while (Clock::now() < deadline) {
            xcb_generic_event_t* e = xcb_poll_for_event(m_c);
            if (!e) {
                pollfd pfd{xcb_get_file_descriptor(m_c), POLLIN, 0};
                const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
                ::poll(&pfd, 1, int(std::max<long long>(1, left.count())));
                continue;
            }
            const auto ev = translate(e);
            free(e);
            if (!ev)
                continue;
            out.push_back(*ev);
            if (done && done(*ev))
                break;
        }
        return out;
    }
    // Throws away whatever is queued.
    void drain(int ms = 0)
    {
        if (ms > 0)
            collect(nullptr, ms);
        while (xcb_generic_event_t* e = xcb_poll_for_event(m_c))
            free(e);
    }

    std::string nameOf(xcb_window_t w)
    {
        auto* r = xcb_get_property_reply(m_c, xcb_get_property(m_c, 0, w, atom("_NET_WM_NAME"), XCB_ATOM_ANY, 0, 64),
                                         nullptr);
        std::string name;
        if (r) {
            name.assign(static_cast<const char*>(xcb_get_property_value(r)),
                        std::size_t(xcb_get_property_value_length(r)));
            free(r);
        }
        return name;
    }
    xcb_atom_t atom(const char* name)
    {
        auto* r = xcb_intern_atom_reply(m_c, xcb_intern_atom(m_c, 0, std::uint16_t(std::strlen(name)), name), nullptr);
        const xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
        free(r);
        return a;
    }
    // The window's rectangle in root coordinates.
    QRect geometry(xcb_window_t w)
    {
        auto* g = xcb_get_geometry_reply(m_c, xcb_get_geometry(m_c, w), nullptr);
        auto* t = xcb_translate_coordinates_reply(m_c, xcb_translate_coordinates(m_c, w, m_root, 0, 0), nullptr);
        QRect r;
        if (g && t)
            r = QRect(t->dst_x, t->dst_y, g->width, g->height);
        free(g);
        free(t);
        return r;
    }

private:
    std::optional<Event> translate(xcb_generic_event_t* e)
    {
        Event ev;
        ev.at = Clock::now();
        ev.type = e->response_type & 0x7f;
        if (m_damageEvent && ev.type == m_damageEvent) {
            auto* d = reinterpret_cast<xcb_damage_notify_event_t*>(e);
            ev.window = d->drawable;
            ev.area = QRect(d->area.x, d->area.y, d->area.width, d->area.height);
            ev.painted = ev.area;
            ev.paint = true;
            return ev;
        }
        if (m_shapeEvent && ev.type == m_shapeEvent) {
            auto* n = reinterpret_cast<xcb_shape_notify_event_t*>(e);
            if (n->shape_kind != XCB_SHAPE_SK_BOUNDING)
                return std::nullopt;
            ev.window = n->affected_window;
            const QRegion now = boundingShape(ev.window);
            ev.painted = now ^ m_shapes[ev.window];
            m_shapes[ev.window] = now;
            ev.paint = true;
            return ev;
        }
        switch (ev.type) {
        case XCB_MAP_NOTIFY:
            ev.window = reinterpret_cast<xcb_map_notify_event_t*>(e)->window;
            ev.onScreen = true;
            return ev;
        case XCB_UNMAP_NOTIFY:
            ev.window = reinterpret_cast<xcb_unmap_notify_event_t*>(e)->window;
            return ev;
        case XCB_CONFIGURE_NOTIFY: {
            auto* c = reinterpret_cast<xcb_configure_notify_event_t*>(e);
            ev.window = c->window;
            ev.area = QRect(c->x, c->y, c->width, c->height);
            ev.onScreen = c->x + c->width > 0;
            return ev;
        }
        case XCB_FOCUS_IN:
        case XCB_FOCUS_OUT: {
            auto* f = reinterpret_cast<xcb_focus_in_event_t*>(e);
            ev.window = f->event;
            ev.mode = f->mode;
            return ev;
        }
        case XCB_KEY_PRESS: {
            auto* k = reinterpret_cast<xcb_key_press_event_t*>(e);
            ev.window = k->event;
            ev.detail = k->detail;
            return ev;
        }
        default:
            return std::nullopt;
        }
    }

    xcb_connection_t* m_c = nullptr;
    const xcb_screen_t* m_screen = nullptr;
    xcb_window_t m_root = 0;
    std::uint8_t m_damageEvent = 0;
    std::uint8_t m_shapeEvent = 0;
    std::map<xcb_window_t, QRegion> m_shapes;
    std::vector<xcb_window_t> m_panels;
    xcb_window_t m_keyWindow = XCB_WINDOW_NONE;
    std::map<xcb_window_t, xcb_damage_damage_t> m_damages;
};

// --- one configuration ----------------------------------------------------------------------

struct Layout {
    QString name;
    int width = 0;
    int height = 0;
    bool twoMonitors = false;
    double megapixels() const { return double(width) * height / 1e6; }
};

struct Results {
    Layout layout;
    bool compositor = false;
    Figure mapped, painted, keyboard, ready;
    Figure arrowRepaint, arrowVisible, framesPerMove, pixelsPerFrame;
    Figure commitMosaro, commitFloor, commitWmctrl, commitXdotool;
    Figure commitReleased; // Return → Mosaro lets go of the keyboard (the overlay is dismissed)
    int earlyLost = -1, earlyTotal = 0;
    Figure roundTrip; // a bare X round trip of the measuring client, between showings
    double appCpuPerShowing = NAN, serverCpuPerShowing = NAN; // ms of CPU per trigger + dismissal
    QString error;
};

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

class Bench {
public:
    Bench(const Options& options, const Layout& layout, bool compositor,
          QString appPath = QStringLiteral(MOSARO_APP_PATH))
        : m_options(options), m_layout(layout), m_compositor(compositor), m_appPath(std::move(appPath))
    {}

    bool setUp(QString& error, const QStringList& targetArgs = {}, bool watchPanels = true)
    {
        m_session = std::make_unique<X11Session>(X11Session::Options{m_layout.width, m_layout.height, m_options.wm});
        if (!m_session->ok()) {
            error = m_session->error();
            return false;
        }
        if (m_layout.twoMonitors) {
            const int half = m_layout.width / 2;
            if (!m_session->xrandrSetMonitors({{QStringLiteral("LEFT"), 0, 0, half, m_layout.height, true},
                                               {QStringLiteral("RIGHT"), half, 0, half, m_layout.height, false}})) {
                error = QStringLiteral("xrandr --setmonitor failed");
                return false;
            }
        }
        m_probe = std::make_unique<Probe>(m_session->displayName());
        if (m_compositor) {
            m_compositorPid = m_session->spawn(QStringLiteral("xcompmgr"), {});
            const xcb_atom_t cm = m_probe->atom("_NET_WM_CM_S0");
            const bool up = m_session->waitUntil(
                [&] {
                    auto* r =
                        xcb_get_selection_owner_reply(m_probe->c(), xcb_get_selection_owner(m_probe->c(), cm), nullptr);
                    const bool owned = r && r->owner != XCB_WINDOW_NONE;
                    free(r);
                    return owned;
                },
                5000);
            if (!up) {
                error = QStringLiteral("xcompmgr did not take the compositing manager selection");
                return false;
            }
        }
        QStringList args{QStringLiteral("--title"), QStringLiteral("Bench target"), QStringLiteral("--geometry"),
                         QStringLiteral("800x600+120+100")};
        args += targetArgs;
        auto client = m_session->startClient(args);
        if (!client) {
            error = QStringLiteral("the target window did not appear");
            return false;
        }
        m_target = client->window;
        m_session->activateWindow(m_target);
        m_app = std::make_unique<MosaroAppDriver>(*m_session, m_appPath);
        m_app->verbose = qEnvironmentVariableIsSet("MOSARO_BENCH_TRACE");
        if (!m_app->start()) {
            error = m_app->lastError();
            return false;
        }
        m_probe->watchTarget(m_target);
        if (!watchPanels)
            return true;
        // The first showing makes Mosaro's windows; from then on they are watched.
        openOverlay(2000);
        if (!m_probe->findPanels()) {
            error = QStringLiteral("the overlay never appeared:\n") + m_app->logText();
            return false;
        }
        if (m_compositor)
            m_probe->watchRoot();
        closeOverlay();
        return true;
    }

    X11Session& session() { return *m_session; }
    MosaroAppDriver& app() { return *m_app; }
    Probe& probe() { return *m_probe; }
    xcb_window_t target() const { return m_target; }

    bool isGrabIn(const Event& e) const
    {
        return e.type == XCB_FOCUS_IN && e.window == m_probe->keyWindow() && e.mode == XCB_NOTIFY_MODE_GRAB;
    }
    bool isUngrab(const Event& e) const
    {
        return e.type == XCB_FOCUS_OUT && e.window == m_probe->keyWindow() && e.mode == XCB_NOTIFY_MODE_UNGRAB;
    }
    bool isPanelShown(const Event& e) const
    {
        return (e.type == XCB_MAP_NOTIFY || e.type == XCB_CONFIGURE_NOTIFY) && e.onScreen && m_probe->isPanel(e.window);
    }
    bool isPanelDamage(const Event& e) const { return e.paint && m_probe->isPanel(e.window); }
    bool isRootDamage(const Event& e) const { return e.paint && e.window == m_probe->root(); }

    // Trigger → shown, painted, keyboard held. Empty when it did not get there.
    struct Showing {
        double mapped = NAN, painted = NAN, keyboard = NAN;
        double ready() const { return std::max({mapped, painted, keyboard}); }
        bool complete() const { return !std::isnan(mapped) && !std::isnan(painted) && !std::isnan(keyboard); }
    };
    Showing openOverlay(int timeoutMs = 1000)
    {
        Showing s;
        m_probe->drain();
        const auto t0 = Clock::now();
        m_probe->trigger();
        m_probe->flush();
        m_probe->collect(
            [&](const Event& e) {
                if (isGrabIn(e) && std::isnan(s.keyboard))
                    s.keyboard = msSince(t0, e.at);
                if (isPanelShown(e) && std::isnan(s.mapped))
                    s.mapped = msSince(t0, e.at);
                if (isPanelDamage(e) && std::isnan(s.painted))
                    s.painted = msSince(t0, e.at);
                return s.complete();
            },
            timeoutMs);
        // The very first showing is found by its log line: the probe does not know the windows yet.
        if (!m_probe->keyWindow())
            m_session->waitUntil(
                [&] { return !m_app->linesSince(0, logPrefix(LogMessages::panelPresented)).isEmpty(); }, timeoutMs);
        return s;
    }
    void closeOverlay()
    {
        m_probe->tap(xEscape);
        m_probe->flush();
        if (m_probe->keyWindow())
            m_probe->collect([&](const Event& e) { return isUngrab(e); }, 1000);
        m_probe->drain(m_compositor ? 30 : 10);
    }

    // Arrow → first repaint, first visible movement, frames and pixels per move.
    void measureArrows(Results& r)
    {
        if (!openOverlay().complete())
            return;
        m_probe->drain(50);
        for (int i = 0; i < m_options.reps; ++i) {
            const std::uint8_t arrow = i % 2 == 0 ? xRight : xLeft; // (1,1) → (2,1) → (1,1) on 3 × 2
            const auto t0 = Clock::now();
            m_probe->tap(arrow);
            m_probe->flush();
            const auto events = m_probe->collect(nullptr, m_compositor ? 160 : 130);
            if (qEnvironmentVariableIsSet("MOSARO_BENCH_TRACE"))
                for (const Event& e : events)
                    std::printf("  %.2f ms: type %d window 0x%x panel %d area %d,%d %dx%d\n", msSince(t0, e.at), e.type,
                                e.window, int(m_probe->isPanel(e.window)), e.area.x(), e.area.y(), e.area.width(),
                                e.area.height());
            double first = NAN, visible = NAN;
            std::vector<std::pair<Clock::time_point, QRegion>> frames;
            for (const Event& e : events) {
                if (isPanelDamage(e)) {
                    if (std::isnan(first))
                        first = msSince(t0, e.at);
                    // Damage from one frame arrives together; frames are 16.7 ms apart.
                    if (frames.empty() || msSince(frames.back().first, e.at) > 8)
                        frames.push_back({e.at, QRegion()});
                    frames.back().first = e.at;
                    frames.back().second += e.painted;
                } else if (m_compositor && isRootDamage(e) && !std::isnan(first) && std::isnan(visible)) {
                    visible = msSince(t0, e.at);
                }
            }
            if (!m_compositor)
                visible = first; // without compositing the server draws straight to the screen
            if (qEnvironmentVariableIsSet("MOSARO_BENCH_TRACE"))
                std::printf("%s\n", qPrintable(m_app->logText()));
            r.arrowRepaint.values.push_back(first);
            r.arrowVisible.values.push_back(visible);
            r.framesPerMove.values.push_back(double(frames.size()));
            for (const auto& [at, region] : frames) {
                double area = 0;
                for (const QRect& rect : region)
                    area += double(rect.width()) * rect.height();
                r.pixelsPerFrame.values.push_back(area);
            }
        }
        closeOverlay();
    }

    // The target's rectangle once it stops changing after a move done by `act`.
    QRect settle(const std::function<void()>& act)
    {
        m_probe->drain();
        act();
        m_probe->flush();
        m_probe->drain(300);
        return m_probe->geometry(m_target);
    }
    // Time from `act` until the target's rectangle equals `expected` (and until Mosaro let go of
    // the keyboard, when asked).
    double timeMove(const std::function<void()>& act, const QRect& expected, double* released = nullptr)
    {
        m_probe->drain();
        const auto t0 = Clock::now();
        act();
        m_probe->flush();
        double done = NAN;
        m_probe->collect(
            [&](const Event& e) {
                if (released && isUngrab(e) && std::isnan(*released))
                    *released = msSince(t0, e.at);
                if (e.type != XCB_CONFIGURE_NOTIFY || e.window != m_target)
                    return false;
                if (m_probe->geometry(m_target) != expected)
                    return false;
                done = msSince(t0, e.at);
                return true;
            },
            2000);
        return done;
    }

    void measureCommits(Results& r)
    {
        measureMosaroCommits(r);
        measureOtherCommits(r);
    }

    // Mosaro's commits, back and forth between two regions; the two rectangles are returned for
    // the other methods.
    std::pair<QRect, QRect> measureMosaroCommits(Results& r)
    {
        // Two regions to go back and forth between: the left and the right column of 3 × 2.
        auto mosaroTo = [&](std::uint8_t arrow) {
            return [this, arrow] {
                openOverlay();
                m_probe->tap(arrow);
                m_probe->flush();
                m_probe->drain(120); // the highlight finished its glide
            };
        };
        auto returnKey = [this] { m_probe->tap(xReturn); };
        std::map<std::uint8_t, QRect> landed;
        for (std::uint8_t arrow : {xLeft, xRight}) {
            mosaroTo(arrow)();
            landed[arrow] = settle(returnKey);
        }
        const QRect a = landed[xLeft], b = landed[xRight];
        for (int i = 0; i < m_options.reps; ++i) {
            const std::uint8_t arrow = i % 2 == 0 ? xLeft : xRight;
            mosaroTo(arrow)();
            double released = NAN;
            r.commitMosaro.values.push_back(timeMove(returnKey, landed[arrow], &released));
            r.commitReleased.values.push_back(released);
            m_probe->drain(20);
        }
        m_landed = {a, b};
        return m_landed;
    }

    void measureOtherCommits(Results& r)
    {
        const auto [a, b] = m_landed;

        // The floor: one _NET_MOVERESIZE_WINDOW for the client's rectangle, then its result.
        const xcb_atom_t moveResize = m_probe->atom("_NET_MOVERESIZE_WINDOW");
        auto floorTo = [&](const QRect& frame) {
            return [this, moveResize, frame] {
                xcb_client_message_event_t ev{};
                ev.response_type = XCB_CLIENT_MESSAGE;
                ev.format = 32;
                ev.window = m_target;
                ev.type = moveResize;
                ev.data.data32[0] = (1u << 8) | (1u << 9) | (1u << 10) | (1u << 11) | (2u << 12) | 1u; // NW, x y w h
                ev.data.data32[1] = std::uint32_t(frame.x());
                ev.data.data32[2] = std::uint32_t(frame.y());
                ev.data.data32[3] = std::uint32_t(frame.width());
                ev.data.data32[4] = std::uint32_t(frame.height());
                xcb_send_event(m_probe->c(), 0, m_probe->root(),
                               XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                               reinterpret_cast<const char*>(&ev));
            };
        };
        auto toolTo = [&](const QString& program, const QRect& frame) {
            return [this, program, frame] {
                QStringList args;
                const QString id = QString::number(m_target);
                if (program == QLatin1String("wmctrl"))
                    args = {QStringLiteral("-i"), QStringLiteral("-r"), id, QStringLiteral("-e"),
                            QStringLiteral("0,%1,%2,%3,%4")
                                .arg(frame.x())
                                .arg(frame.y())
                                .arg(frame.width())
                                .arg(frame.height())};
                else
                    args = {QStringLiteral("windowmove"),   id,
                            QString::number(frame.x()),     QString::number(frame.y()),
                            QStringLiteral("windowsize"),   id,
                            QString::number(frame.width()), QString::number(frame.height())};
                m_toolPid = m_session->spawn(program, args);
            };
        };
        struct Method {
            Figure* figure;
            std::function<std::function<void()>(const QRect&)> to;
        };
        std::vector<Method> methods{
            {&r.commitFloor, floorTo},
            {&r.commitWmctrl, [&](const QRect& f) { return toolTo(QStringLiteral("wmctrl"), f); }},
            {&r.commitXdotool, [&](const QRect& f) { return toolTo(QStringLiteral("xdotool"), f); }},
        };
        for (Method& m : methods) {
            // Each method's own result for Mosaro's two targets (tools differ in how they count
            // the frame), then the timed runs towards it.
            std::map<int, QRect> result;
            for (int k = 0; k < 2; ++k) {
                result[k] = settle(m.to(k == 0 ? a : b));
                reapTool();
            }
            const int reps = m_options.reps;
            for (int i = 0; i < reps; ++i) {
                const int k = i % 2;
                m.figure->values.push_back(timeMove(m.to(k == 0 ? a : b), result[k]));
                reapTool();
                m_probe->drain(10);
            }
        }
    }

    // Keys typed 0–30 ms after the trigger: how many reach the target instead of the overlay.
    void measureEarlyKeys(Results& r, int count)
    {
        r.earlyLost = 0;
        r.earlyTotal = 0;
        for (int i = 0; i < count; ++i) {
            m_probe->drain();
            const int delay = i % 31;
            m_probe->trigger();
            m_probe->flush();
            if (delay > 0)
                pause(delay);
            m_probe->tap(xLeft);
            m_probe->flush();
            const auto events = m_probe->collect(nullptr, 60);
            const bool lost = std::any_of(events.begin(), events.end(), [&](const Event& e) {
                return e.type == XCB_KEY_PRESS && e.window == m_target && e.detail == xLeft;
            });
            r.earlyLost += lost ? 1 : 0;
            ++r.earlyTotal;
            closeOverlay();
        }
    }

    void reapTool()
    {
        if (m_toolPid > 0) {
            int status = 0;
            ::waitpid(m_toolPid, &status, 0);
            m_toolPid = -1;
        }
    }

    ~Bench()
    {
        reapTool();
        m_app.reset();
        if (m_compositorPid > 0 && m_session)
            m_session->stop(m_compositorPid);
    }

private:
    const Options& m_options;
    Layout m_layout;
    bool m_compositor;
    std::unique_ptr<X11Session> m_session;
    std::unique_ptr<Probe> m_probe;
    std::unique_ptr<MosaroAppDriver> m_app;
    xcb_window_t m_target = XCB_WINDOW_NONE;
    std::pair<QRect, QRect> m_landed;
    pid_t m_compositorPid = -1;
    pid_t m_toolPid = -1;
    QString m_appPath;
};

// Trigger → the application's own "panel presented" line (written once the panel is shown,
// drawn and holding the keyboard), by the clock of its log: comparable across builds whose
// windows differ. Millisecond resolution.
Figure presentedByLog(Bench& bench, int reps)
{
    Figure f;
    auto& app = bench.app();
    const QString presented = logPrefix(LogMessages::panelPresented);
    const QString dismissed = logPrefix(LogMessages::overlayDismiss);
    for (int i = 0; i < reps; ++i) {
        int mark = app.logMark();
        const int sent = QTime::currentTime().msecsSinceStartOfDay();
        bench.probe().trigger();
        bench.probe().flush();
        if (!app.waitForLog(mark, presented, 3000))
            continue;
        const QString line = app.linesSince(mark, presented).front();
        const QTime at = QTime::fromString(line.left(12), QStringLiteral("hh:mm:ss.zzz"));
        if (at.isValid())
            f.values.push_back(double(at.msecsSinceStartOfDay() - sent));
        mark = app.logMark();
        bench.probe().tap(xEscape);
        bench.probe().flush();
        app.waitForLog(mark, dismissed, 3000);
        bench.probe().drain(20);
    }
    return f;
}

// The server's own share: a window like Mosaro's outline (same place, same shape) mapped by the
// measuring client over the same desktop, from the request to its first paint.
Figure mapFloor(Bench& bench, int reps)
{
    Probe& p = bench.probe();
    xcb_connection_t* c = p.c();
    QRegion shape;
    for (const xcb_window_t w : p.panels())
        if (shape.isEmpty())
            shape = p.boundingShape(w);
    if (shape.isEmpty() || !p.damageEvent())
        return {};
    const QRect extent = shape.boundingRect();
    const xcb_window_t w = xcb_generate_id(c);
    const std::uint32_t values[] = {p.screen()->black_pixel, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, p.root(), 0, 0, std::uint16_t(extent.right() + 1),
                      std::uint16_t(extent.bottom() + 1), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    std::vector<xcb_rectangle_t> rects;
    for (const QRect& r : shape)
        rects.push_back(
            {std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED, w, 0, 0,
                         std::uint32_t(rects.size()), rects.data());
    const xcb_damage_damage_t damage = xcb_generate_id(c);
    xcb_damage_create(c, damage, w, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    p.sync();
    Figure f;
    for (int i = 0; i < reps; ++i) {
        p.drain();
        const auto t0 = Clock::now();
        xcb_map_window(c, w);
        p.flush();
        double painted = NAN;
        p.collect(
            [&](const Event& e) {
                if (e.paint && e.window == w)
                    painted = msSince(t0, e.at);
                return !std::isnan(painted);
            },
            1000);
        f.values.push_back(painted);
        xcb_unmap_window(c, w);
        p.sync();
        p.drain(10);
    }
    xcb_damage_destroy(c, damage);
    xcb_destroy_window(c, w);
    p.sync();
    return f;
}

// Trigger → ready (1920 × 1080, no compositor) with `windows` other managed windows on the
// desktop, which a client of the harness maps before the showings are measured; with `floor`,
// also the server's own share (mapFloor).
Figure busyDesktop(const Options& o, const QString& appPath, int windows, QString& error, Figure* floor = nullptr)
{
    Bench bench(o, Layout{QStringLiteral("1920 × 1080"), 1920, 1080, false}, false, appPath);
    if (!bench.setUp(error))
        return {};
    if (windows > 0) {
        const auto crowd = bench.session().startClient({QStringLiteral("--title"), QStringLiteral("Crowd"),
                                                        QStringLiteral("--geometry"), QStringLiteral("300x200+60+60"),
                                                        QStringLiteral("--windows"), QString::number(windows)},
                                                       120000);
        if (!crowd || !bench.session().activateWindow(bench.target())) {
            error = QStringLiteral("%1 windows did not come up").arg(windows);
            return {};
        }
        // The first showing after they came is not counted: what they changed is read once.
        bench.openOverlay();
        bench.closeOverlay();
    }
    Figure f;
    for (int i = 0; i < o.reps; ++i) {
        const auto s = bench.openOverlay();
        if (s.complete())
            f.values.push_back(s.ready());
        bench.closeOverlay();
    }
    if (floor)
        *floor = mapFloor(bench, o.reps);
    return f;
}

// --- process figures ------------------------------------------------------------------------

double cpuSeconds(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const auto close = text.rfind(')');
    if (close == std::string::npos)
        return NAN;
    std::istringstream fields(text.substr(close + 2));
    std::string f;
    double utime = 0, stime = 0;
    for (int i = 3; fields >> f; ++i) {
        if (i == 14)
            utime = std::stod(f);
        if (i == 15) {
            stime = std::stod(f);
            break;
        }
    }
    return (utime + stime) / double(sysconf(_SC_CLK_TCK));
}

// The Xvfb serving a display, found by its command line.
pid_t serverPid(const QString& display)
{
    QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs)) {
        bool numeric = false;
        const int pid = entry.toInt(&numeric);
        if (!numeric)
            continue;
        QFile cmd(QStringLiteral("/proc/%1/cmdline").arg(entry));
        if (!cmd.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> args = cmd.readAll().split('\0');
        if (!args.isEmpty() && args.front().endsWith("Xvfb") && args.size() > 1 &&
            QString::fromLocal8Bit(args[1]) == display)
            return pid;
    }
    return -1;
}

double rssMegabytes(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("VmRSS:", 0) == 0)
            return std::stod(line.substr(6)) / 1024.0;
    return NAN;
}

std::string machine(Probe& probe)
{
    std::ifstream cpu("/proc/cpuinfo");
    std::string line, model;
    while (std::getline(cpu, line))
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    const xcb_setup_t* setup = xcb_get_setup(probe.c());
    const std::string vendor(xcb_setup_vendor(setup), std::size_t(xcb_setup_vendor_length(setup)));
    const std::uint32_t v = setup->release_number;
    char release[64];
    std::snprintf(release, sizeof release, "%u.%u.%u", v / 10000000, (v / 100000) % 100, (v / 1000) % 100);
    std::ifstream kernel("/proc/sys/kernel/osrelease");
    std::string kernelRelease;
    std::getline(kernel, kernelRelease);
    return model + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores; Xvfb (" + vendor + " " + release +
           "); Linux " + kernelRelease;
}

std::string loadAverage()
{
    std::ifstream in("/proc/loadavg");
    std::string a, b, c;
    in >> a >> b >> c;
    return a + " " + b + " " + c;
}

// --- screenshots ----------------------------------------------------------------------------

bool screenshot(Probe& probe, const QString& path)
{
    const xcb_screen_t* s = probe.screen();
    // The harness reads the screen to show it to a person; Mosaro itself never does.
    auto* image = xcb_get_image_reply(probe.c(),
                                      xcb_get_image(probe.c(), XCB_IMAGE_FORMAT_Z_PIXMAP, probe.root(), 0, 0,
                                                    s->width_in_pixels, s->height_in_pixels, ~0u),
                                      nullptr);
    if (!image)
        return false;
    QImage shot(xcb_get_image_data(image), s->width_in_pixels, s->height_in_pixels, QImage::Format_RGB32);
    const bool ok = shot.scaledToWidth(s->width_in_pixels / 2, Qt::SmoothTransformation)
                        .convertToFormat(QImage::Format_RGB888)
                        .save(path);
    free(image);
    return ok;
}

void takeScreenshots(const Options& o)
{
    QDir().mkpath(o.screenshots);
    for (bool compositor : {false, true}) {
        for (const auto& [tone, colour] : {std::pair{"light", "f4f4f0"}, std::pair{"dark", "23262b"}}) {
            Layout layout{QStringLiteral("1920 × 1080"), 1920, 1080, false};
            Bench bench(o, layout, compositor);
            QString error;
            if (!bench.setUp(error, {QStringLiteral("--background"), QString::fromLatin1(colour)})) {
                std::fprintf(stderr, "screenshot set-up failed: %s\n", qPrintable(error));
                continue;
            }
            // The target covers most of the display, so the overlay is seen over it.
            bench.session().run(QStringLiteral("wmctrl"),
                                {QStringLiteral("-i"), QStringLiteral("-r"), QString::number(bench.target()),
                                 QStringLiteral("-e"), QStringLiteral("0,40,40,1840,1000")});
            bench.probe().drain(300);
            bench.openOverlay();
            // One step right, then a region two cells high.
            bench.probe().tap(xRight);
            bench.probe().key(xShift, true);
            bench.probe().tap(xUp);
            bench.probe().key(xShift, false);
            bench.probe().flush();
            bench.probe().drain(compositor ? 400 : 200);
            const QString path =
                QStringLiteral("%1/overlay-%2-%3.png")
                    .arg(o.screenshots, compositor ? QStringLiteral("translucent") : QStringLiteral("outline"),
                         QString::fromLatin1(tone));
            std::printf("screenshot %s: %s\n", qPrintable(path), screenshot(bench.probe(), path) ? "ok" : "failed");
            bench.closeOverlay();
        }
    }
}

// --- the run --------------------------------------------------------------------------------

Options parse(int argc, char** argv)
{
    Options o;
    const std::vector<Layout> all{
        {QStringLiteral("1920 × 1080"), 1920, 1080, false},
        {QStringLiteral("2560 × 1440"), 2560, 1440, false},
        {QStringLiteral("3840 × 2160"), 3840, 2160, false},
        {QStringLiteral("2 × 1920 × 1080"), 3840, 1080, true},
    };
    o.layouts = all;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto next = [&] { return i + 1 < argc ? QString::fromLocal8Bit(argv[++i]) : QString(); };
        if (a == "--wm")
            o.wm = next();
        else if (a == "--compositor") {
            const QString v = next();
            o.compositors = v == QLatin1String("none")   ? std::vector<bool>{false}
                            : v == QLatin1String("both") ? std::vector<bool>{false, true}
                                                         : std::vector<bool>{true};
        } else if (a == "--reps")
            o.reps = next().toInt();
        else if (a == "--sizes") {
            o.layouts.clear();
            for (const QString& s : next().split(QLatin1Char(','))) {
                const int idx = s.toInt();
                if (idx >= 1 && idx <= int(all.size()))
                    o.layouts.push_back(all[std::size_t(idx - 1)]);
            }
        } else if (a == "--idle-seconds")
            o.idleSeconds = next().toInt();
        else if (a == "--sessions")
            o.sessions = next().toInt();
        else if (a == "--early-keys")
            o.earlyKeys = next().toInt();
        else if (a == "--out")
            o.out = next();
        else if (a == "--plot-data")
            o.plotData = next();
        else if (a == "--screenshots")
            o.screenshots = next();
        else if (a == "--before")
            o.before = next();
        else if (a == "--busy") {
            o.busy.clear();
            for (const QString& n : next().split(QLatin1Char(','), Qt::SkipEmptyParts))
                o.busy.push_back(n.toInt());
        } else if (a == "--help" || a == "-h") {
            std::printf(
                "usage: mosaro_bench [--wm NAME] [--compositor none|xcompmgr|both] [--reps N] [--sizes 1,2,3,4]\n"
                "                    [--idle-seconds N] [--sessions N] [--early-keys N] [--out FILE]\n"
                "                    [--plot-data FILE] [--before MOSARO] [--busy 0,100,500] [--screenshots DIR]\n"
                "                    [--smoke]\n"
                "Measures the shipped mosaro from outside on its own Xvfb; sizes: 1 = 1920x1080,\n"
                "2 = 2560x1440, 3 = 3840x2160, 4 = two 1920x1080 monitors side by side.\n");
            std::exit(0);
        } else if (a == "--smoke") {
            o.smoke = true;
            o.reps = 3;
            o.layouts = {all[0]};
            o.compositors = {false};
            o.idleSeconds = 1;
            o.sessions = 3;
            o.earlyKeys = 3;
            o.busy = {0, 10};
        }
    }
    return o;
}

} // namespace

int main(int argc, char** argv)
{
    const Options o = parse(argc, argv);
    if (!o.screenshots.isEmpty()) {
        takeScreenshots(o);
        return 0;
    }

    std::vector<Results> all;
    std::string machineText;
    const std::string loadBefore = loadAverage();
    for (bool compositor : o.compositors) {
        for (const Layout& layout : o.layouts) {
            Results r;
            r.layout = layout;
            r.compositor = compositor;
            Bench bench(o, layout, compositor);
            QString error;
            std::printf("== %s, %s ==\n", qPrintable(layout.name), compositor ? "xcompmgr" : "no compositor");
            std::fflush(stdout);
            if (!bench.setUp(error)) {
                r.error = error;
                std::printf("set-up failed: %s\n", qPrintable(error));
                all.push_back(r);
                continue;
            }
            if (machineText.empty())
                machineText = machine(bench.probe());
            const pid_t app = bench.app().pid(), server = serverPid(bench.session().displayName());
            const double appCpu = cpuSeconds(app), serverCpu = cpuSeconds(server);
            for (int i = 0; i < o.reps; ++i) {
                const auto s = bench.openOverlay();
                if (s.complete()) {
                    r.mapped.values.push_back(s.mapped);
                    r.painted.values.push_back(s.painted);
                    r.keyboard.values.push_back(s.keyboard);
                    r.ready.values.push_back(s.ready());
                }
                bench.closeOverlay();
                r.roundTrip.values.push_back(bench.probe().roundTrip());
            }
            r.appCpuPerShowing = (cpuSeconds(app) - appCpu) * 1000 / o.reps;
            r.serverCpuPerShowing = (cpuSeconds(server) - serverCpu) * 1000 / o.reps;
            bench.measureArrows(r);
            const bool full = layout.width == 1920 && !layout.twoMonitors;
            if (full || o.smoke) {
                bench.measureEarlyKeys(r, o.earlyKeys);
                bench.measureCommits(r);
            }
            std::printf("trigger → ready      %s ms (%zu of %d)\n", triple(r.ready).c_str(), r.ready.values.size(),
                        o.reps);
            std::printf("arrow → repaint      %s ms\n", triple(r.arrowRepaint).c_str());
            std::fflush(stdout);
            all.push_back(r);
        }
    }

    // Idle CPU and memory: one more run against a window with a 64 KiB title.
    double idleCpu = NAN, rssIdle = NAN, rssAfter1 = NAN, rssAfter1000 = NAN, rssAfterAll = NAN;
    int sessionsDone = 0;
    {
        Layout layout{QStringLiteral("1920 × 1080"), 1920, 1080, false};
        Bench bench(o, layout, false);
        QString error;
        const QString title(65536, QLatin1Char('x'));
        if (bench.setUp(error, {QStringLiteral("--title"), title})) {
            const pid_t pid = bench.app().pid();
            pause(1000);
            rssIdle = rssMegabytes(pid);
            const double before = cpuSeconds(pid);
            pause(o.idleSeconds * 1000);
            idleCpu = (cpuSeconds(pid) - before) / o.idleSeconds * 100.0;
            for (int i = 1; i <= o.sessions; ++i) {
                bench.openOverlay();
                bench.probe().tap(xEscape);
                bench.probe().flush();
                bench.probe().collect([&](const Event& e) { return bench.isUngrab(e); }, 1000);
                sessionsDone = i;
                if (i == 1)
                    rssAfter1 = rssMegabytes(pid);
                if (i == 1000)
                    rssAfter1000 = rssMegabytes(pid);
            }
            pause(500);
            rssAfterAll = rssMegabytes(pid);
        } else {
            std::printf("memory run set-up failed: %s\n", qPrintable(error));
        }
    }

    // Before and after in the same run: an earlier build beside this one, by the log's clock.
    struct Comparison {
        Layout layout;
        Figure before, after;
        Figure commitBefore, commitAfter;
    };
    std::vector<Comparison> comparisons;
    if (!o.before.isEmpty()) {
        for (const Layout& layout : {Layout{QStringLiteral("1920 × 1080"), 1920, 1080, false}}) {
            Comparison c{layout, {}, {}, {}, {}};
            for (int which = 0; which < 2; ++which) {
                Bench bench(o, layout, false, which == 0 ? o.before : QStringLiteral(MOSARO_APP_PATH));
                QString error;
                if (!bench.setUp(error, {}, false)) {
                    std::printf("before/after set-up failed: %s\n", qPrintable(error));
                    continue;
                }
                (which == 0 ? c.before : c.after) = presentedByLog(bench, o.reps);
            }
            // The commit, measured from outside the same way for both builds.
            for (int which = 0; which < 2; ++which) {
                Bench bench(o, layout, false, which == 0 ? o.before : QStringLiteral(MOSARO_APP_PATH));
                QString error;
                if (!bench.setUp(error)) {
                    std::printf("before/after set-up failed: %s\n", qPrintable(error));
                    continue;
                }
                Results commits;
                bench.measureMosaroCommits(commits);
                (which == 0 ? c.commitBefore : c.commitAfter) = commits.commitMosaro;
            }
            std::printf("before/after commit %s: %s → %s ms\n", qPrintable(layout.name), triple(c.commitBefore).c_str(),
                        triple(c.commitAfter).c_str());
            std::printf("before/after %s: %s → %s ms\n", qPrintable(layout.name), triple(c.before).c_str(),
                        triple(c.after).c_str());
            comparisons.push_back(c);
        }
    }

    // A busy desktop: trigger → ready with more and more other windows, for each build.
    struct Busy {
        QString build;
        std::vector<Figure> figures; // one per count in o.busy
    };
    Busy serverShare{QStringLiteral("the server alone: an equal window mapped → painted"), {}};
    std::vector<Busy> busy;
    for (const QString& build : {o.before, QStringLiteral(MOSARO_APP_PATH)}) {
        if (build.isEmpty() || o.busy.empty())
            continue;
        Busy b{build == o.before ? QStringLiteral("before") : QStringLiteral("after"), {}};
        for (const int windows : o.busy) {
            QString error;
            Figure floor;
            const bool last = build == QStringLiteral(MOSARO_APP_PATH);
            b.figures.push_back(busyDesktop(o, build, windows, error, last ? &floor : nullptr));
            if (last)
                serverShare.figures.push_back(floor);
            if (!error.isEmpty())
                std::printf("busy desktop set-up failed: %s\n", qPrintable(error));
            std::printf("busy desktop (%s), %d windows: trigger → ready %s ms\n", qPrintable(b.build), windows,
                        triple(b.figures.back()).c_str());
            std::fflush(stdout);
        }
        busy.push_back(b);
    }
    if (!serverShare.figures.empty())
        busy.push_back(serverShare);

    // --- report ---
    std::ostringstream md;
    md << "Machine: " << machineText << "; window manager " << o.wm.toStdString() << "; load average at the start "
       << loadBefore << ", at the end " << loadAverage() << ".\n\n";
    md << "Every figure: median / p95 / max in milliseconds over " << o.reps
       << " repetitions (commits: see the count), measured from the moment the keys were sent.\n\n";
    md << "| Screen | Mode | trigger → mapped | → first paint | → keyboard held | → ready (all three) | arrow → "
          "first repaint | arrow → first visible movement | frames per move | pixels per frame |\n";
    md << "|---|---|---|---|---|---|---|---|---|---|\n";
    for (const Results& r : all) {
        md << "| " << r.layout.name.toStdString() << " | " << (r.compositor ? "translucent (xcompmgr)" : "outline")
           << " | ";
        if (!r.error.isEmpty()) {
            md << "set-up failed: " << r.error.left(120).simplified().toStdString() << " | | | | | | | |\n";
            continue;
        }
        md << triple(r.mapped) << " | " << triple(r.painted) << " | " << triple(r.keyboard) << " | " << triple(r.ready)
           << " | " << triple(r.arrowRepaint) << " | " << triple(r.arrowVisible) << " | " << triple(r.framesPerMove, 0)
           << " | " << triple(r.pixelsPerFrame, 0) << " |\n";
    }
    md << "\n| Screen | Mode | Return → window at its new frame (Mosaro) | of which Return → overlay dismissed | "
          "floor: one `_NET_MOVERESIZE_WINDOW` | `wmctrl` | `xdotool` | Mosaro ÷ floor (median) | early keys lost |\n";
    md << "|---|---|---|---|---|---|---|---|---|\n";
    for (const Results& r : all) {
        if (r.commitMosaro.values.empty())
            continue;
        md << "| " << r.layout.name.toStdString() << " | " << (r.compositor ? "translucent (xcompmgr)" : "outline")
           << " | " << triple(r.commitMosaro) << " (" << r.commitMosaro.values.size() << ") | "
           << triple(r.commitReleased) << " | " << triple(r.commitFloor) << " (" << r.commitFloor.values.size()
           << ") | " << triple(r.commitWmctrl) << " (" << r.commitWmctrl.values.size() << ") | "
           << triple(r.commitXdotool) << " (" << r.commitXdotool.values.size() << ") | "
           << fmt(r.commitMosaro.median() / r.commitFloor.median()) << " | " << r.earlyLost << " of " << r.earlyTotal
           << " |\n";
    }
    md << "\nWhere the time goes. A bare X round trip of the measuring client between showings shows how "
          "long any process waits for the CPU on this machine; the CPU time Mosaro and the X server spent per "
          "showing (trigger, drawing, Escape, teardown; from /proc) is the work itself.\n\n";
    md << "| Screen | Mode | X round trip (median / p95 / max) | Mosaro CPU per showing | Xvfb CPU per showing |\n";
    md << "|---|---|---|---|---|\n";
    for (const Results& r : all) {
        if (!r.error.isEmpty())
            continue;
        md << "| " << r.layout.name.toStdString() << " | " << (r.compositor ? "translucent (xcompmgr)" : "outline")
           << " | " << triple(r.roundTrip) << " | " << fmt(r.appCpuPerShowing) << " ms | " << fmt(r.serverCpuPerShowing)
           << " ms |\n";
    }
    md << "\nIdle (no session, the 2 s permission poll running) over " << o.idleSeconds << " s: CPU " << fmt(idleCpu, 3)
       << " %, RSS " << fmt(rssIdle, 1) << " MB. Against a window with a 64 KiB title: RSS after 1 session "
       << fmt(rssAfter1, 1) << " MB, after 1,000 " << fmt(rssAfter1000, 1) << " MB, after " << sessionsDone << " "
       << fmt(rssAfterAll, 1) << " MB (growth after the first session: " << fmt(rssAfterAll - rssAfter1, 1)
       << " MB).\n";

    if (!comparisons.empty()) {
        md << "\nBefore and after, same run, no compositor: trigger → the application's \"panel presented\" line "
              "(shown, drawn, keyboard held), by the log's millisecond clock, "
           << o.reps << " repetitions. Before: `" << o.before.toStdString() << "`.\n\n";
        md << "| Screen | before | after |\n|---|---|---|\n";
        for (const Comparison& c : comparisons)
            md << "| " << c.layout.name.toStdString() << " | " << triple(c.before, 0) << " | " << triple(c.after, 0)
               << " |\n";
        md << "\nReturn → window at its new frame, measured from outside as above, same run:\n\n";
        md << "| Screen | before | after |\n|---|---|---|\n";
        for (const Comparison& c : comparisons)
            md << "| " << c.layout.name.toStdString() << " | " << triple(c.commitBefore) << " | "
               << triple(c.commitAfter) << " |\n";
    }

    if (!busy.empty()) {
        md << "\nA busy desktop, same run, 1920 × 1080, no compositor: trigger → ready (mapped, painted, keyboard "
              "held) with other managed windows on the desktop, median / p95 / max over "
           << o.reps
           << " showings; the last column divides the median with the most windows by the one with none. The last "
              "row is the X server's own work: a window of the overlay's place and shape mapped by the measuring "
              "client over the same desktop, from the request to its first paint.\n\n";
        md << "| Build |";
        for (const int windows : o.busy)
            md << " " << windows << " other windows |";
        md << " ÷ none |\n|---|";
        for (std::size_t i = 0; i <= o.busy.size(); ++i)
            md << "---|";
        md << "\n";
        for (const Busy& b : busy) {
            md << "| " << b.build.toStdString() << " |";
            for (const Figure& f : b.figures)
                md << " " << triple(f) << " |";
            md << " " << fmt(b.figures.back().median() / b.figures.front().median()) << " × |\n";
        }
    }

    std::printf("\n%s", md.str().c_str());
    if (!o.out.isEmpty()) {
        QFile f(o.out);
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            f.write(QByteArray::fromStdString(md.str()));
    }
    if (!o.plotData.isEmpty()) {
        QFile f(o.plotData);
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            QTextStream s(&f);
            s << "# megapixels mode ready_median ready_p95 arrow_median arrow_p95 name\n";
            for (const Results& r : all)
                if (r.error.isEmpty())
                    s << r.layout.megapixels() << ' ' << (r.compositor ? 1 : 0) << ' ' << r.ready.median() << ' '
                      << r.ready.p95() << ' ' << r.arrowRepaint.median() << ' ' << r.arrowRepaint.p95() << " \""
                      << r.layout.name << "\"\n";
        }
    }
    bool ok = std::none_of(all.begin(), all.end(), [](const Results& r) { return !r.error.isEmpty(); });
    if (o.smoke) {
        // The smoke run only checks that every figure came out.
        const Results& r = all.front();
        ok = ok && !r.ready.values.empty() && !r.arrowRepaint.values.empty() && !r.commitMosaro.values.empty() &&
             !r.commitFloor.values.empty() && r.earlyLost == 0 && !std::isnan(rssAfterAll) && !busy.empty() &&
             std::none_of(busy.back().figures.begin(), busy.back().figures.end(),
                          [](const Figure& f) { return f.values.empty(); });
        std::printf("smoke: %s\n", ok ? "passed" : "FAILED");
    }
    return ok ? 0 : 1;
}
