#include "BenchScenarios.h"

#include "Diagnostics/Log/LogMessages.h"
#include "Platform/KeyEvent.h"
#include "support/KeyCodes.h"

#include <QDir>
#include <QImage>
#include <QTime>

#include <xcb/damage.h>
#include <xcb/shape.h>

#include <map>
#include <thread>

namespace mosaro::bench {

using namespace mosaro::test;

namespace {

void pause(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

bool tracing()
{
    return qEnvironmentVariableIsSet("MOSARO_BENCH_TRACE");
}

const Layout fullHd{QStringLiteral("1920 × 1080"), 1920, 1080, false};

} // namespace

QString thisBuild()
{
    return QStringLiteral(MOSARO_APP_PATH);
}

Desktop::Desktop(const Options& options, const Layout& layout, bool compositor, QString appPath)
    : m_options(options), m_layout(layout), m_compositor(compositor), m_appPath(std::move(appPath))
{}

Desktop::~Desktop()
{
    reapTool();
    m_app.reset();
    if (m_compositorPid > 0 && m_session)
        m_session->stop(m_compositorPid);
}

bool Desktop::setUp(QString& error, const QStringList& targetArgs, bool watchPanels)
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
    m_observer = std::make_unique<Observer>(m_session->displayName());
    if (m_compositor) {
        m_compositorPid = m_session->spawn(QStringLiteral("xcompmgr"), {});
        X11Connection& x = m_observer->connection();
        const xcb_atom_t cm = x.atom("_NET_WM_CM_S0");
        const bool up = m_session->waitUntil(
            [&] {
                auto owner = x.ask<xcb_get_selection_owner_reply>(xcb_get_selection_owner, cm);
                return owner && owner->owner != XCB_WINDOW_NONE;
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
    m_app->verbose = tracing();
    if (!m_app->start()) {
        error = m_app->lastError();
        return false;
    }
    m_observer->watchTarget(m_target);
    if (!watchPanels)
        return true;
    // The first showing makes Mosaro's windows; from then on they are watched.
    openOverlay(2000);
    if (!m_observer->findPanels()) {
        error = QStringLiteral("the overlay never appeared:\n") + m_app->logText();
        return false;
    }
    if (m_compositor)
        m_observer->watchRoot();
    closeOverlay();
    return true;
}

bool Desktop::isGrabIn(const Event& e) const
{
    return e.type == XCB_FOCUS_IN && e.window == m_observer->keyWindow() && e.mode == XCB_NOTIFY_MODE_GRAB;
}

bool Desktop::isUngrab(const Event& e) const
{
    return e.type == XCB_FOCUS_OUT && e.window == m_observer->keyWindow() && e.mode == XCB_NOTIFY_MODE_UNGRAB;
}

bool Desktop::isPanelShown(const Event& e) const
{
    return (e.type == XCB_MAP_NOTIFY || e.type == XCB_CONFIGURE_NOTIFY) && e.onScreen && m_observer->isPanel(e.window);
}

bool Desktop::isPanelDamage(const Event& e) const
{
    return e.paint && m_observer->isPanel(e.window);
}

bool Desktop::isRootDamage(const Event& e) const
{
    return e.paint && e.window == m_observer->root();
}

Desktop::Showing Desktop::openOverlay(int timeoutMs)
{
    Showing s;
    m_observer->drain();
    const auto t0 = Clock::now();
    m_observer->trigger();
    m_observer->flush();
    m_observer->collect(
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
    // The very first showing is found by its log line: the observer does not know the windows yet.
    if (!m_observer->keyWindow())
        m_session->waitUntil([&] { return !m_app->linesSince(0, logPrefix(LogMessages::panelPresented)).isEmpty(); },
                             timeoutMs);
    return s;
}

void Desktop::closeOverlay()
{
    m_observer->tap(keys::escape);
    m_observer->flush();
    if (m_observer->keyWindow())
        m_observer->collect([&](const Event& e) { return isUngrab(e); }, 1000);
    m_observer->drain(m_compositor ? 30 : 10);
}

void Desktop::measureArrows(Results& r)
{
    if (!openOverlay().complete())
        return;
    m_observer->drain(50);
    for (int i = 0; i < m_options.reps; ++i) {
        const std::uint16_t arrow = i % 2 == 0 ? keys::right : keys::left; // (1,1) → (2,1) → (1,1) on 3 × 2
        const auto t0 = Clock::now();
        m_observer->tap(arrow);
        m_observer->flush();
        const auto events = m_observer->collect(nullptr, m_compositor ? 160 : 130);
        if (tracing())
            for (const Event& e : events)
                std::printf("  %.2f ms: type %d window 0x%x panel %d area %d,%d %dx%d\n", msSince(t0, e.at), e.type,
                            e.window, int(m_observer->isPanel(e.window)), e.area.x(), e.area.y(), e.area.width(),
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

QRect Desktop::settle(const std::function<void()>& act)
{
    m_observer->drain();
    act();
    m_observer->flush();
    m_observer->drain(300);
    return m_observer->geometry(m_target);
}

double Desktop::timeMove(const std::function<void()>& act, const QRect& expected, double* released, int* configures)
{
    m_observer->drain();
    const auto t0 = Clock::now();
    act();
    m_observer->flush();
    double done = NAN;
    m_observer->collect(
        [&](const Event& e) {
            if (released && isUngrab(e) && std::isnan(*released))
                *released = msSince(t0, e.at);
            if (e.type != XCB_CONFIGURE_NOTIFY || e.window != m_target)
                return false;
            if (configures)
                ++*configures;
            if (m_observer->geometry(m_target) != expected)
                return false;
            done = msSince(t0, e.at);
            return true;
        },
        2000);
    return done;
}

std::pair<QRect, QRect> Desktop::mosaroCommits(Commits& c, const Keys& toA, const Keys& toB)
{
    const auto choose = [this](const Keys& keys) {
        openOverlay();
        for (const auto& [key, modifiers] : keys)
            m_observer->keys().sendKeyCombination(key, modifiers);
        m_observer->flush();
        m_observer->drain(120); // the highlight finished its glide
    };
    const auto returnKey = [this] { m_observer->tap(keys::returnKey); };
    QRect landed[2];
    for (int k = 0; k < 2; ++k) {
        choose(k == 0 ? toA : toB);
        landed[k] = settle(returnKey);
    }
    for (int i = 0; i < m_options.reps; ++i) {
        const int k = i % 2;
        choose(k == 0 ? toA : toB);
        double released = NAN;
        int configures = 0;
        c.mosaro.values.push_back(timeMove(returnKey, landed[k], &released, &configures));
        c.released.values.push_back(released);
        c.configures.values.push_back(configures);
        m_observer->drain(20);
    }
    return {landed[0], landed[1]};
}

void Desktop::measureMosaroCommits(Commits& sameSize, Commits& resized)
{
    // From the centre cell (1, 1) of 3 × 2: the bottom-left and bottom-right cells; the left
    // 2 × 2 cells (the whole height) and the bottom-right cell.
    m_sameSize = mosaroCommits(sameSize, {{keys::left, 0}}, {{keys::right, 0}});
    m_resized = mosaroCommits(resized, {{keys::left, ModifierFlag::shift}, {keys::up, ModifierFlag::shift}},
                              {{keys::right, 0}});
}

void Desktop::commitsBy(Figure& f, const std::function<std::function<void()>(const QRect&)>& to,
                        const std::pair<QRect, QRect>& frames)
{
    // The method's own result for Mosaro's two frames (tools differ in how they count the
    // frame), then the timed runs towards it.
    QRect result[2];
    for (int k = 0; k < 2; ++k) {
        result[k] = settle(to(k == 0 ? frames.first : frames.second));
        reapTool();
    }
    for (int i = 0; i < m_options.reps; ++i) {
        const int k = i % 2;
        f.values.push_back(timeMove(to(k == 0 ? frames.first : frames.second), result[k]));
        reapTool();
        m_observer->drain(10);
    }
}

void Desktop::measureCommits(Results& r)
{
    measureMosaroCommits(r.sameSize, r.resized);
    // The floor: one _NET_MOVERESIZE_WINDOW for the client's rectangle, then its result.
    const xcb_atom_t moveResize = m_observer->connection().atom("_NET_MOVERESIZE_WINDOW");
    const auto floorTo = [&](const QRect& frame) {
        return [this, moveResize, frame] {
            constexpr std::uint32_t northWest = 1, allFields = 0xf << 8, sourcePager = 2u << 12;
            m_observer->connection().postRootMessage(m_target, moveResize, northWest | allFields | sourcePager,
                                                     std::uint32_t(frame.x()), std::uint32_t(frame.y()),
                                                     std::uint32_t(frame.width()), std::uint32_t(frame.height()));
        };
    };
    commitsBy(r.sameSize.floor, floorTo, m_sameSize);
    commitsBy(r.resized.floor, floorTo, m_resized);
    const auto toolTo = [&](const QString& program) {
        return [this, program](const QRect& frame) {
            return [this, program, frame] {
                const QString id = QString::number(m_target);
                const QString x = QString::number(frame.x()), y = QString::number(frame.y());
                const QString w = QString::number(frame.width()), h = QString::number(frame.height());
                const QStringList args =
                    program == QLatin1String("wmctrl")
                        ? QStringList{QStringLiteral("-i"), QStringLiteral("-r"), id, QStringLiteral("-e"),
                                      QStringLiteral("0,%1,%2,%3,%4").arg(x, y, w, h)}
                        : QStringList{QStringLiteral("windowmove"), id, x, y, QStringLiteral("windowsize"), id, w, h};
                m_toolPid = m_session->spawn(program, args);
            };
        };
    };
    commitsBy(r.wmctrl, toolTo(QStringLiteral("wmctrl")), m_sameSize);
    commitsBy(r.xdotool, toolTo(QStringLiteral("xdotool")), m_sameSize);
}

void Desktop::measureEarlyKeys(Results& r, int count)
{
    const auto left = XTestKeyboard::x11KeyCode(keys::left);
    r.earlyLost = 0;
    r.earlyTotal = 0;
    for (int i = 0; i < count; ++i) {
        m_observer->drain();
        const int delay = i % 31;
        m_observer->trigger();
        m_observer->flush();
        if (delay > 0)
            pause(delay);
        m_observer->tap(keys::left);
        m_observer->flush();
        const auto events = m_observer->collect(nullptr, 60);
        const bool lost = std::any_of(events.begin(), events.end(), [&](const Event& e) {
            return e.type == XCB_KEY_PRESS && e.window == m_target && e.detail == left;
        });
        r.earlyLost += lost ? 1 : 0;
        ++r.earlyTotal;
        closeOverlay();
    }
}

void Desktop::reapTool()
{
    if (m_toolPid > 0) {
        m_session->waitForExit(m_toolPid, 60000);
        m_toolPid = -1;
    }
}

namespace {

// Trigger → the application's own "panel presented" line (written once the panel is shown,
// drawn and holding the keyboard), by the clock of its log: comparable across builds whose
// windows differ. Millisecond resolution.
Figure presentedByLog(Desktop& desktop, int reps)
{
    Figure f;
    auto& app = desktop.app();
    const QString presented = logPrefix(LogMessages::panelPresented);
    const QString dismissed = logPrefix(LogMessages::overlayDismiss);
    for (int i = 0; i < reps; ++i) {
        int mark = app.logMark();
        const int sent = QTime::currentTime().msecsSinceStartOfDay();
        desktop.observer().trigger();
        desktop.observer().flush();
        if (!app.waitForLog(mark, presented, 3000))
            continue;
        const QString line = app.linesSince(mark, presented).front();
        const QTime at = QTime::fromString(line.left(12), QStringLiteral("hh:mm:ss.zzz"));
        if (at.isValid())
            f.values.push_back(double(at.msecsSinceStartOfDay() - sent));
        mark = app.logMark();
        desktop.observer().tap(keys::escape);
        desktop.observer().flush();
        app.waitForLog(mark, dismissed, 3000);
        desktop.observer().drain(20);
    }
    return f;
}

// The server's own share: a window like Mosaro's outline (same place, same shape) mapped by the
// measuring client over the same desktop, from the request to its first paint.
Figure mapFloor(Desktop& desktop, int reps)
{
    Observer& o = desktop.observer();
    xcb_connection_t* c = o.c();
    QRegion shape;
    for (const xcb_window_t w : o.panels())
        if (shape.isEmpty())
            shape = o.boundingShape(w);
    if (shape.isEmpty() || !o.damageEvent())
        return {};
    const QRect extent = shape.boundingRect();
    X11Window w(o.connection());
    const std::uint32_t values[] = {o.screen()->black_pixel, 1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w.id(), o.root(), 0, 0, std::uint16_t(extent.right() + 1),
                      std::uint16_t(extent.bottom() + 1), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
    std::vector<xcb_rectangle_t> rects;
    for (const QRect& r : shape)
        rects.push_back(
            {std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED, w.id(), 0, 0,
                         std::uint32_t(rects.size()), rects.data());
    const xcb_damage_damage_t damage = xcb_generate_id(c);
    xcb_damage_create(c, damage, w.id(), XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    o.sync();
    Figure f;
    for (int i = 0; i < reps; ++i) {
        o.drain();
        const auto t0 = Clock::now();
        xcb_map_window(c, w.id());
        o.flush();
        double painted = NAN;
        o.collect(
            [&](const Event& e) {
                if (e.paint && e.window == w.id())
                    painted = msSince(t0, e.at);
                return !std::isnan(painted);
            },
            1000);
        f.values.push_back(painted);
        xcb_unmap_window(c, w.id());
        o.sync();
        o.drain(10);
    }
    xcb_damage_destroy(c, damage);
    return f;
}

// Trigger → ready (1920 × 1080, no compositor) with `windows` other managed windows on the
// desktop, which a client of the harness maps before the showings are measured; with `floor`,
// also the server's own share (mapFloor).
Figure busyDesktop(const Options& o, const QString& appPath, int windows, QString& error, Figure* floor)
{
    Desktop desktop(o, fullHd, false, appPath);
    if (!desktop.setUp(error))
        return {};
    if (windows > 0) {
        const auto crowd = desktop.session().startClient({QStringLiteral("--title"), QStringLiteral("Crowd"),
                                                          QStringLiteral("--geometry"), QStringLiteral("300x200+60+60"),
                                                          QStringLiteral("--windows"), QString::number(windows)},
                                                         120000);
        if (!crowd || !desktop.session().activateWindow(desktop.target())) {
            error = QStringLiteral("%1 windows did not come up").arg(windows);
            return {};
        }
        // The first showing after they came is not counted: what they changed is read once.
        desktop.openOverlay();
        desktop.closeOverlay();
    }
    Figure f;
    for (int i = 0; i < o.reps; ++i) {
        const auto s = desktop.openOverlay();
        if (s.complete())
            f.values.push_back(s.ready());
        desktop.closeOverlay();
    }
    if (floor)
        *floor = mapFloor(desktop, o.reps);
    return f;
}

bool screenshot(Observer& observer, const QString& path)
{
    const xcb_screen_t* s = observer.screen();
    // The harness reads the screen to show it to a person; Mosaro itself never does.
    auto image = observer.connection().ask<xcb_get_image_reply>(xcb_get_image, std::uint8_t(XCB_IMAGE_FORMAT_Z_PIXMAP),
                                                                observer.root(), std::int16_t(0), std::int16_t(0),
                                                                s->width_in_pixels, s->height_in_pixels, ~0u);
    if (!image)
        return false;
    const QImage shot(xcb_get_image_data(image.get()), s->width_in_pixels, s->height_in_pixels, QImage::Format_RGB32);
    return shot.scaledToWidth(s->width_in_pixels / 2, Qt::SmoothTransformation)
        .convertToFormat(QImage::Format_RGB888)
        .save(path);
}

} // namespace

Results measureLayout(const Options& o, const Layout& layout, bool compositor, std::string& machine)
{
    Results r;
    r.layout = layout;
    r.compositor = compositor;
    Desktop desktop(o, layout, compositor, thisBuild());
    if (!desktop.setUp(r.error))
        return r;
    if (machine.empty())
        machine = proc::machine(desktop.observer());
    const pid_t app = desktop.app().pid(), server = proc::serverPid(desktop.session().displayName());
    const double appCpu = proc::cpuSeconds(app), serverCpu = proc::cpuSeconds(server);
    for (int i = 0; i < o.reps; ++i) {
        const auto s = desktop.openOverlay();
        if (s.complete()) {
            r.mapped.values.push_back(s.mapped);
            r.painted.values.push_back(s.painted);
            r.keyboard.values.push_back(s.keyboard);
            r.ready.values.push_back(s.ready());
        }
        desktop.closeOverlay();
        r.roundTrip.values.push_back(desktop.observer().roundTrip());
    }
    r.appCpuPerShowing = (proc::cpuSeconds(app) - appCpu) * 1000 / o.reps;
    r.serverCpuPerShowing = (proc::cpuSeconds(server) - serverCpu) * 1000 / o.reps;
    desktop.measureArrows(r);
    if ((layout.width == 1920 && !layout.twoMonitors) || o.smoke) {
        desktop.measureEarlyKeys(r, o.earlyKeys);
        desktop.measureCommits(r);
    }
    return r;
}

Memory measureMemory(const Options& o)
{
    // Against a window with a 64 KiB title.
    Memory m;
    m.idleSeconds = o.idleSeconds;
    Desktop desktop(o, fullHd, false, thisBuild());
    QString error;
    if (!desktop.setUp(error, {QStringLiteral("--title"), QString(65536, QLatin1Char('x'))})) {
        std::printf("memory run set-up failed: %s\n", qPrintable(error));
        return m;
    }
    const pid_t pid = desktop.app().pid();
    pause(1000);
    m.rssIdle = proc::rssMegabytes(pid);
    const double before = proc::cpuSeconds(pid);
    pause(o.idleSeconds * 1000);
    m.idleCpu = (proc::cpuSeconds(pid) - before) / o.idleSeconds * 100.0;
    for (int i = 1; i <= o.sessions; ++i) {
        desktop.openOverlay();
        desktop.observer().tap(keys::escape);
        desktop.observer().flush();
        desktop.observer().collect([&](const Event& e) { return desktop.isUngrab(e); }, 1000);
        m.sessionsDone = i;
        if (i == 1)
            m.rssAfter1 = proc::rssMegabytes(pid);
        if (i == 1000)
            m.rssAfter1000 = proc::rssMegabytes(pid);
    }
    pause(500);
    m.rssAfterAll = proc::rssMegabytes(pid);
    return m;
}

std::vector<Comparison> compareBuilds(const Options& o)
{
    if (o.before.isEmpty())
        return {};
    Comparison c{fullHd, o.before, {}, {}, {}, {}, {}, {}};
    for (const bool after : {false, true}) {
        const QString build = after ? thisBuild() : o.before;
        QString error;
        {
            Desktop desktop(o, fullHd, false, build);
            if (desktop.setUp(error, {}, false))
                (after ? c.presentedAfter : c.presentedBefore) = presentedByLog(desktop, o.reps);
        }
        // The commit, measured from outside the same way for both builds.
        Desktop desktop(o, fullHd, false, build);
        if (desktop.setUp(error))
            desktop.measureMosaroCommits(after ? c.sameSizeAfter : c.sameSizeBefore,
                                         after ? c.resizedAfter : c.resizedBefore);
        if (!error.isEmpty())
            std::printf("before/after set-up failed: %s\n", qPrintable(error));
    }
    std::printf("before/after %s: presented %s → %s ms; commit %s → %s ms (same size), %s → %s ms (different sizes)\n",
                qPrintable(fullHd.name), triple(c.presentedBefore).c_str(), triple(c.presentedAfter).c_str(),
                triple(c.sameSizeBefore.mosaro).c_str(), triple(c.sameSizeAfter.mosaro).c_str(),
                triple(c.resizedBefore.mosaro).c_str(), triple(c.resizedAfter.mosaro).c_str());
    return {c};
}

std::vector<Busy> measureBusyDesktops(const Options& o)
{
    std::vector<Busy> out;
    if (o.busy.empty())
        return out;
    Busy serverShare{QStringLiteral("the server alone: an equal window mapped → painted"), {}};
    for (const QString& build : {o.before, thisBuild()}) {
        if (build.isEmpty())
            continue;
        const bool last = build == thisBuild();
        Busy b{last ? QStringLiteral("after") : QStringLiteral("before"), {}};
        for (const int windows : o.busy) {
            QString error;
            Figure floor;
            b.figures.push_back(busyDesktop(o, build, windows, error, last ? &floor : nullptr));
            if (last)
                serverShare.figures.push_back(floor);
            if (!error.isEmpty())
                std::printf("busy desktop set-up failed: %s\n", qPrintable(error));
            std::printf("busy desktop (%s), %d windows: trigger → ready %s ms\n", qPrintable(b.build), windows,
                        triple(b.figures.back()).c_str());
            std::fflush(stdout);
        }
        out.push_back(b);
    }
    out.push_back(serverShare);
    return out;
}

void takeScreenshots(const Options& o)
{
    QDir().mkpath(o.screenshots);
    for (bool compositor : {false, true}) {
        for (const auto& [tone, colour] : {std::pair{"light", "f4f4f0"}, std::pair{"dark", "23262b"}}) {
            Desktop desktop(o, fullHd, compositor, thisBuild());
            QString error;
            if (!desktop.setUp(error, {QStringLiteral("--background"), QString::fromLatin1(colour)})) {
                std::fprintf(stderr, "screenshot set-up failed: %s\n", qPrintable(error));
                continue;
            }
            // The target covers most of the display, so the overlay is seen over it.
            desktop.session().run(QStringLiteral("wmctrl"),
                                  {QStringLiteral("-i"), QStringLiteral("-r"), QString::number(desktop.target()),
                                   QStringLiteral("-e"), QStringLiteral("0,40,40,1840,1000")});
            desktop.observer().drain(300);
            desktop.openOverlay();
            // One step right, then a region two cells high.
            desktop.observer().tap(keys::right);
            desktop.observer().keys().sendKeyCombination(keys::up, ModifierFlag::shift);
            desktop.observer().flush();
            desktop.observer().drain(compositor ? 400 : 200);
            const QString path =
                QStringLiteral("%1/overlay-%2-%3.png")
                    .arg(o.screenshots, compositor ? QStringLiteral("translucent") : QStringLiteral("outline"),
                         QString::fromLatin1(tone));
            std::printf("screenshot %s: %s\n", qPrintable(path),
                        screenshot(desktop.observer(), path) ? "ok" : "failed");
            desktop.closeOverlay();
        }
    }
}

} // namespace mosaro::bench
