#include "Platform/X11/X11ScreenList.h"

#include "Diagnostics/Log.h"

#include <QAbstractEventDispatcher>

#include <algorithm>
#include <cmath>

namespace mosaro {

namespace {

constexpr const char* noMonitorsMessage =
    "RandR monitors unavailable on '%{public}s'; using the root window as one display";

class X11Screen : public Screen {
public:
    X11Screen(Rect frame, Rect visible, QString name, double scale)
        : m_frame(frame), m_visible(visible), m_name(std::move(name)), m_scale(scale)
    {}
    Rect frame() const override { return m_frame; }
    Rect visibleFrame() const override { return m_visible; }
    QString localizedName() const override { return m_name; }
    double backingScaleFactor() const override { return m_scale; }

    bool sameAs(const Rect& frame, const Rect& visible, const QString& name, double scale) const
    {
        return m_frame == frame && m_visible == visible && m_name == name && m_scale == scale;
    }

private:
    const Rect m_frame;
    const Rect m_visible;
    const QString m_name;
    const double m_scale;
};

Rect intersection(const Rect& a, const Rect& b)
{
    const double x0 = std::max(a.minX(), b.minX()), x1 = std::min(a.maxX(), b.maxX());
    const double y0 = std::max(a.minY(), b.minY()), y1 = std::min(a.maxY(), b.maxY());
    if (x1 <= x0 || y1 <= y0)
        return {};
    return {x0, y0, x1 - x0, y1 - y0};
}

bool overlaps(const Rect& a, const Rect& b)
{
    return intersection(a, b).width > 0;
}

} // namespace

X11ScreenList::X11ScreenList(X11Connection& connection) : m_connection(connection)
{
    if (!m_connection.isConnected())
        return;
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        m_turnWatch = std::make_unique<QObject>();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_turnWatch.get(), [this] { ++m_turn; });
        m_propertyListener = m_connection.addEventListener([this](xcb_generic_event_t* event) {
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY &&
                reinterpret_cast<xcb_property_notify_event_t*>(event)->window == m_connection.root())
                m_readTurn = ~std::uint64_t(0); // docks and work areas live in root properties
            return false;
        });
    }
    xcb_connection_t* c = m_connection.connection();
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(c, &xcb_randr_id);
    if (!ext || !ext->present)
        return;
    auto version = m_connection.reply<xcb_randr_query_version_reply_t>(xcb_randr_query_version_reply,
                                                                       xcb_randr_query_version(c, 1, 5));
    // Monitors need RandR 1.5.
    m_hasRandr = version && ((*version)->major_version > 1 || (*version)->minor_version >= 5);
    if (!m_hasRandr)
        return;
    m_randrEventBase = ext->first_event;
    xcb_randr_select_input(c, m_connection.root(), XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE);
    m_connection.flush();
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* event) {
        if ((event->response_type & 0x7f) == m_randrEventBase + XCB_RANDR_SCREEN_CHANGE_NOTIFY) {
            m_readTurn = ~std::uint64_t(0);
            if (onDisplaysChanged)
                onDisplaysChanged();
        }
        return false;
    });
}

X11ScreenList::~X11ScreenList()
{
    if (m_listener)
        m_connection.removeEventListener(m_listener);
    if (m_propertyListener)
        m_connection.removeEventListener(m_propertyListener);
}

std::vector<X11ScreenList::Reservation> X11ScreenList::reservationsFromStrut(const std::vector<std::uint32_t>& strut,
                                                                             double rootWidth, double rootHeight)
{
    std::vector<Reservation> out;
    if (strut.size() < 4)
        return out;
    const bool partial = strut.size() >= 12;
    // A range [start, end] inclusive along an edge; the whole edge without partial values.
    auto span = [&](int index, double whole) -> std::pair<double, double> {
        if (!partial)
            return {0, whole};
        const double start = strut[std::size_t(index)], end = strut[std::size_t(index) + 1];
        if (end < start)
            return {0, 0};
        return {start, std::min(whole, end + 1) - start};
    };
    using Edge = Reservation::Edge;
    const double left = std::min<double>(strut[0], rootWidth), right = std::min<double>(strut[1], rootWidth);
    const double top = std::min<double>(strut[2], rootHeight), bottom = std::min<double>(strut[3], rootHeight);
    if (left > 0) {
        const auto [y, h] = span(4, rootHeight);
        out.push_back({Edge::left, {0, y, left, h}});
    }
    if (right > 0) {
        const auto [y, h] = span(6, rootHeight);
        out.push_back({Edge::right, {rootWidth - right, y, right, h}});
    }
    if (top > 0) {
        const auto [x, w] = span(8, rootWidth);
        out.push_back({Edge::top, {x, 0, w, top}});
    }
    if (bottom > 0) {
        const auto [x, w] = span(10, rootWidth);
        out.push_back({Edge::bottom, {x, rootHeight - bottom, w, bottom}});
    }
    out.erase(std::remove_if(out.begin(), out.end(),
                             [](const Reservation& r) { return r.area.width <= 0 || r.area.height <= 0; }),
              out.end());
    return out;
}

Rect X11ScreenList::visibleArea(const Rect& monitor, const std::vector<Reservation>& reservations)
{
    double x0 = monitor.minX(), x1 = monitor.maxX(), y0 = monitor.minY(), y1 = monitor.maxY();
    for (const Reservation& r : reservations) {
        if (!overlaps(r.area, monitor))
            continue;
        switch (r.edge) {
        case Reservation::Edge::left:
            x0 = std::max(x0, r.area.maxX());
            break;
        case Reservation::Edge::right:
            x1 = std::min(x1, r.area.minX());
            break;
        case Reservation::Edge::top:
            y0 = std::max(y0, r.area.maxY());
            break;
        case Reservation::Edge::bottom:
            y1 = std::min(y1, r.area.minY());
            break;
        }
    }
    // Docks that would swallow the whole monitor are not believed.
    if (x1 <= x0 || y1 <= y0)
        return monitor;
    return {x0, y0, x1 - x0, y1 - y0};
}

std::optional<QString> X11ScreenList::edidProductName(const std::vector<std::uint8_t>& edid)
{
    static const std::uint8_t header[8] = {0x00, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0x00};
    if (edid.size() < 128 || !std::equal(header, header + 8, edid.begin()))
        return std::nullopt;
    for (std::size_t offset = 54; offset + 18 <= 126; offset += 18) {
        const std::uint8_t* d = edid.data() + offset;
        if (d[0] != 0 || d[1] != 0 || d[2] != 0 || d[3] != 0xfc)
            continue;
        QByteArray text;
        for (int i = 5; i < 18 && d[i] != 0x0a && d[i] != 0; ++i)
            text.append(char(d[i]));
        const QString name = QString::fromLatin1(text).trimmed();
        if (!name.isEmpty())
            return name;
    }
    return std::nullopt;
}

QString X11ScreenList::monitorName(xcb_atom_t nameAtom, const std::vector<xcb_randr_output_t>& outputs) const
{
    xcb_connection_t* c = m_connection.connection();
    if (!outputs.empty()) {
        const xcb_randr_output_t output = outputs.front();
        const xcb_atom_t edidAtom = m_connection.atom("EDID");
        auto prop = m_connection.reply<xcb_randr_get_output_property_reply_t>(
            xcb_randr_get_output_property_reply,
            xcb_randr_get_output_property(c, output, edidAtom, XCB_ATOM_ANY, 0, 256, 0, 0));
        if (prop && (*prop)->format == 8) {
            const std::uint8_t* data = xcb_randr_get_output_property_data(prop->get());
            const int length = xcb_randr_get_output_property_data_length(prop->get());
            if (length > 0 && std::uint32_t(length) == (*prop)->num_items) {
                if (auto name = edidProductName(std::vector<std::uint8_t>(data, data + length)))
                    return *name;
            }
        }
        auto info = m_connection.reply<xcb_randr_get_output_info_reply_t>(
            xcb_randr_get_output_info_reply, xcb_randr_get_output_info(c, output, XCB_CURRENT_TIME));
        if (info) {
            const int length = xcb_randr_get_output_info_name_length(info->get());
            if (length > 0)
                return QString::fromUtf8(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info->get())),
                                         length);
        }
    }
    return m_connection.atomName(nameAtom);
}

std::vector<X11ScreenList::Reservation> X11ScreenList::readReservations(double rootWidth, double rootHeight,
                                                                        bool& found) const
{
    found = false;
    std::vector<Reservation> out;
    const xcb_window_t root = m_connection.root();
    const auto clients = m_connection.windows(root, m_connection.atom("_NET_CLIENT_LIST"), 0);
    if (!clients)
        return out;
    const xcb_atom_t typeAtom = m_connection.atom("_NET_WM_WINDOW_TYPE");
    const xcb_atom_t dock = m_connection.atom("_NET_WM_WINDOW_TYPE_DOCK");
    for (const xcb_window_t w : *clients) {
        const auto types = m_connection.atoms(w, typeAtom);
        if (!types || std::find(types->begin(), types->end(), dock) == types->end())
            continue;
        auto strut = m_connection.cardinals(w, m_connection.atom("_NET_WM_STRUT_PARTIAL"), 12);
        if (!strut)
            strut = m_connection.cardinals(w, m_connection.atom("_NET_WM_STRUT"), 4);
        if (!strut)
            continue;
        found = true;
        const auto areas = reservationsFromStrut(*strut, rootWidth, rootHeight);
        out.insert(out.end(), areas.begin(), areas.end());
    }
    return out;
}

std::optional<Rect> X11ScreenList::readWorkArea() const
{
    const xcb_window_t root = m_connection.root();
    const auto area = m_connection.cardinals(root, m_connection.atom("_NET_WORKAREA"), 4);
    if (!area)
        return std::nullopt;
    std::size_t desktop = 0;
    if (const auto current = m_connection.cardinals(root, m_connection.atom("_NET_CURRENT_DESKTOP"), 1))
        desktop = (*current)[0];
    if ((desktop + 1) * 4 > area->size())
        desktop = 0;
    const auto* v = area->data() + desktop * 4;
    if (v[2] == 0 || v[3] == 0)
        return std::nullopt;
    return Rect{double(std::int32_t(v[0])), double(std::int32_t(v[1])), double(v[2]), double(v[3])};
}

double X11ScreenList::scaleFactor() const
{
    const xcb_screen_t* s = m_connection.screen();
    if (!s || s->width_in_millimeters == 0)
        return 1;
    const double dpi = s->width_in_pixels * 25.4 / s->width_in_millimeters;
    return std::max(1.0, std::round(dpi / 96.0));
}

std::vector<X11ScreenList::MonitorInfo> X11ScreenList::readMonitors() const
{
    std::vector<MonitorInfo> out;
    if (!m_connection.isConnected())
        return out;
    xcb_connection_t* c = m_connection.connection();
    const xcb_window_t root = m_connection.root();

    // The root's size changes with RandR; the setup data keeps the size at connection time.
    double rootWidth = m_connection.screen()->width_in_pixels, rootHeight = m_connection.screen()->height_in_pixels;
    if (auto g = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, xcb_get_geometry(c, root))) {
        rootWidth = (*g)->width;
        rootHeight = (*g)->height;
    }

    if (m_hasRandr) {
        auto monitors = m_connection.reply<xcb_randr_get_monitors_reply_t>(xcb_randr_get_monitors_reply,
                                                                           xcb_randr_get_monitors(c, root, 1));
        if (monitors) {
            for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors->get()); it.rem;
                 xcb_randr_monitor_info_next(&it)) {
                const xcb_randr_monitor_info_t* m = it.data;
                if (m->width == 0 || m->height == 0)
                    continue;
                const xcb_randr_output_t* outputs = xcb_randr_monitor_info_outputs(m);
                const int count = xcb_randr_monitor_info_outputs_length(m);
                MonitorInfo info;
                info.nameAtom = m->name;
                info.primary = m->primary;
                info.xRect = {double(m->x), double(m->y), double(m->width), double(m->height)};
                info.name =
                    monitorName(m->name, std::vector<xcb_randr_output_t>(outputs, outputs + std::max(0, count)));
                out.push_back(info);
            }
        }
    }
    if (out.empty()) {
        if (!m_fallbackLogged) {
            m_fallbackLogged = true;
            Log::lifecycle().error(noMonitorsMessage, m_connection.displayName());
        }
        MonitorInfo info;
        info.xRect = {0, 0, rootWidth, rootHeight};
        info.name = QStringLiteral("Screen %1").arg(m_connection.screenNumber());
        out.push_back(info);
    }

    bool haveStruts = false;
    const auto reservations = readReservations(rootWidth, rootHeight, haveStruts);
    const auto workArea = haveStruts ? std::nullopt : readWorkArea();
    for (MonitorInfo& info : out) {
        if (haveStruts) {
            info.xVisible = visibleArea(info.xRect, reservations);
        } else if (workArea) {
            const Rect inside = intersection(info.xRect, *workArea);
            info.xVisible = inside.width > 0 ? inside : info.xRect;
        } else {
            info.xVisible = info.xRect;
        }
    }
    return out;
}

std::vector<ScreenRef> X11ScreenList::screens() const
{
    return snapshot(nullptr);
}

std::vector<ScreenRef> X11ScreenList::snapshot(std::size_t* primaryIndex) const
{
    if (m_turnWatch && m_haveRead && m_readTurn == m_turn) {
        if (primaryIndex)
            *primaryIndex = m_lastPrimaryIndex;
        return m_lastRead;
    }
    const auto monitors = readMonitors();
    double primaryHeight = monitors.empty() ? 0 : monitors.front().xRect.height;
    for (const MonitorInfo& m : monitors) {
        if (m.xRect.x == 0 && m.xRect.y == 0) {
            primaryHeight = m.xRect.height;
            break;
        }
    }
    auto toScreen = [primaryHeight](const Rect& r) {
        return Rect{r.x, primaryHeight - r.y - r.height, r.width, r.height};
    };

    const double scale = scaleFactor();
    std::vector<ScreenRef> out;
    std::map<xcb_atom_t, ScreenRef> cache;
    m_lastPrimaryIndex = 0;
    for (const MonitorInfo& m : monitors) {
        const Rect frame = toScreen(m.xRect), visible = toScreen(m.xVisible);
        ScreenRef screen;
        if (auto it = m_cache.find(m.nameAtom); it != m_cache.end()) {
            // Values of a display object never change; a changed monitor is a new object.
            const auto* known = static_cast<const X11Screen*>(it->second.get());
            if (known->sameAs(frame, visible, m.name, scale))
                screen = it->second;
        }
        if (!screen)
            screen = std::make_shared<const X11Screen>(frame, visible, m.name, scale);
        cache[m.nameAtom] = screen;
        if (m.primary)
            m_lastPrimaryIndex = out.size();
        out.push_back(screen);
    }
    m_cache = std::move(cache);
    if (primaryIndex)
        *primaryIndex = m_lastPrimaryIndex;
    m_readTurn = m_turn;
    m_lastRead = out;
    m_lastPrimaryHeight = primaryHeight;
    m_haveRead = true;
    return out;
}

std::vector<ScreenRef> X11ScreenList::lastRead() const
{
    if (!m_haveRead)
        snapshot(nullptr);
    return m_lastRead;
}

double X11ScreenList::lastPrimaryHeight() const
{
    if (!m_haveRead)
        snapshot(nullptr);
    return m_lastPrimaryHeight;
}

ScreenRef X11ScreenList::mainScreen() const
{
    std::size_t primary = 0;
    const auto list = snapshot(&primary);
    return list.empty() ? nullptr : list[primary];
}

} // namespace mosaro
