#include "BenchObserver.h"

#include "Platform/KeyEvent.h"
#include "support/KeyCodes.h"

#include <QDir>
#include <QFile>

#include <xcb/damage.h>
#include <xcb/shape.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace mosaro::bench {

double msSince(Clock::time_point t0, Clock::time_point t)
{
    return std::chrono::duration<double, std::milli>(t - t0).count();
}

Observer::Observer(const QString& display) : m_x(display), m_keys(m_x, test::XTestKeyboard::Wait::caller)
{
    xcb_connection_t* c = m_x.connection();
    const auto* damage = xcb_get_extension_data(c, &xcb_damage_id);
    if (damage && damage->present) {
        m_damageEvent = damage->first_event + XCB_DAMAGE_NOTIFY;
        (void)m_x.ask<xcb_damage_query_version_reply>(xcb_damage_query_version, 1u, 1u).result();
    }
    // Without a compositing manager the overlay changes by changing its shape, which the
    // server paints at once without reporting damage: shape events stand in for it.
    const auto* shape = xcb_get_extension_data(c, &xcb_shape_id);
    if (shape && shape->present)
        m_shapeEvent = shape->first_event + XCB_SHAPE_NOTIFY;
    const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root(), XCB_CW_EVENT_MASK, &mask);
    sync();
}

void Observer::sync()
{
    (void)m_x.ask<xcb_get_input_focus_reply>(xcb_get_input_focus).result();
}

double Observer::roundTrip()
{
    const auto t0 = Clock::now();
    sync();
    return msSince(t0, Clock::now());
}

void Observer::trigger()
{
    m_keys.sendKeyCombination(test::keys::returnKey, ModifierFlag::command);
}

bool Observer::findPanels()
{
    m_panels.clear();
    m_keyWindow = XCB_WINDOW_NONE;
    auto tree = m_x.ask<xcb_query_tree_reply>(xcb_query_tree, root());
    if (!tree)
        return false;
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    const xcb_atom_t netName = m_x.atom("_NET_WM_NAME");
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        const QString name = m_x.text(children[i], netName).value_or(QString());
        if (name == QLatin1String("Mosaro keyboard"))
            m_keyWindow = children[i];
        else if (name == QLatin1String("Mosaro overlay"))
            m_panels.push_back(children[i]);
    }
    std::vector<xcb_window_t> inner;
    for (xcb_window_t w : m_panels) {
        if (auto sub = m_x.ask<xcb_query_tree_reply>(xcb_query_tree, w)) {
            const xcb_window_t* kids = xcb_query_tree_children(sub.get());
            inner.insert(inner.end(), kids, kids + xcb_query_tree_children_length(sub.get()));
        }
    }
    m_panels.insert(m_panels.end(), inner.begin(), inner.end());
    for (xcb_window_t w : m_panels) {
        if (m_shapeEvent && !m_shapes.count(w)) {
            xcb_shape_select_input(c(), w, 1);
            m_shapes[w] = boundingShape(w);
        }
        if (m_damages.count(w) || !m_damageEvent)
            continue;
        const xcb_damage_damage_t d = xcb_generate_id(c());
        xcb_damage_create(c(), d, w, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
        m_damages[w] = d;
    }
    if (m_keyWindow) {
        const std::uint32_t mask = XCB_EVENT_MASK_FOCUS_CHANGE;
        xcb_change_window_attributes(c(), m_keyWindow, XCB_CW_EVENT_MASK, &mask);
    }
    sync();
    return !m_panels.empty() && m_keyWindow;
}

void Observer::watchRoot()
{
    if (m_damages.count(root()) || !m_damageEvent)
        return;
    const xcb_damage_damage_t d = xcb_generate_id(c());
    xcb_damage_create(c(), d, root(), XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    m_damages[root()] = d;
    sync();
}

void Observer::watchTarget(xcb_window_t target)
{
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_KEY_PRESS;
    xcb_change_window_attributes(c(), target, XCB_CW_EVENT_MASK, &mask);
    sync();
}

QRegion Observer::boundingShape(xcb_window_t w)
{
    QRegion region;
    auto r =
        m_x.ask<xcb_shape_get_rectangles_reply>(xcb_shape_get_rectangles, w, xcb_shape_kind_t(XCB_SHAPE_SK_BOUNDING));
    if (!r)
        return region;
    const xcb_rectangle_t* rects = xcb_shape_get_rectangles_rectangles(r.get());
    for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(r.get()); ++i)
        region += QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
    return region;
}

bool Observer::isPanel(xcb_window_t w) const
{
    return std::find(m_panels.begin(), m_panels.end(), w) != m_panels.end();
}

std::vector<Event> Observer::collect(const std::function<bool(const Event&)>& done, int timeoutMs)
{
    std::vector<Event> out;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    m_x.flush();
    while (Clock::now() < deadline) {
        XcbPtr<xcb_generic_event_t> e(xcb_poll_for_event(c()));
        if (!e) {
            pollfd pfd{xcb_get_file_descriptor(c()), POLLIN, 0};
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            ::poll(&pfd, 1, int(std::max<long long>(1, left.count())));
            continue;
        }
        const auto ev = translate(e.get());
        if (!ev)
            continue;
        out.push_back(*ev);
        if (done && done(*ev))
            break;
    }
    return out;
}

void Observer::drain(int ms)
{
    if (ms > 0)
        collect(nullptr, ms);
    while (XcbPtr<xcb_generic_event_t> e{xcb_poll_for_event(c())}) {}
}

QRect Observer::geometry(xcb_window_t w)
{
    auto g = m_x.ask<xcb_get_geometry_reply>(xcb_get_geometry, w);
    auto t = m_x.ask<xcb_translate_coordinates_reply>(xcb_translate_coordinates, w, root(), std::int16_t(0),
                                                      std::int16_t(0));
    return g && t ? QRect(t->dst_x, t->dst_y, g->width, g->height) : QRect();
}

std::optional<Event> Observer::translate(xcb_generic_event_t* e)
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

namespace proc {

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

std::string machine(const Observer& observer)
{
    std::ifstream cpu("/proc/cpuinfo");
    std::string line, model;
    while (std::getline(cpu, line))
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    const xcb_setup_t* setup = xcb_get_setup(observer.c());
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

} // namespace proc

} // namespace mosaro::bench
