#include "Platform/X11/X11ScreenList.h"

#include "Diagnostics/Log/Log.h"
#include "Platform/X11/X11VisibleFrame.h"

#include <QAbstractEventDispatcher>

#include <algorithm>
#include <cmath>

namespace mosaro {

namespace {

constexpr const char* noMonitorsMessage =
    "RandR monitors unavailable on '%{public}s'; using the root window as one display";
constexpr const char* absurdWorkAreaMessage =
    "the window manager's work area %{public}s does not lie within the screen %{public}s; ignoring it";

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

} // namespace

X11ScreenList::X11ScreenList(X11Connection& connection) : m_connection(connection), m_space(connection)
{
    if (!m_connection.isConnected())
        return;
    if (auto* dispatcher = QAbstractEventDispatcher::instance()) {
        m_turnWatch = std::make_unique<QObject>();
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, m_turnWatch.get(), [this] { ++m_turn; });
    }
    xcb_connection_t* c = m_connection.connection();
    const xcb_query_extension_reply_t* ext = xcb_get_extension_data(c, &xcb_randr_id);
    if (!ext || !ext->present)
        return;
    auto version =
        m_connection.ask<xcb_randr_query_version_reply>(xcb_randr_query_version, std::uint32_t(1), std::uint32_t(5));
    // Monitors need RandR 1.5.
    m_hasRandr = version && (version->major_version > 1 || version->minor_version >= 5);
    if (!m_hasRandr)
        return;
    m_connection.internAtoms({"EDID"});
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
}

X11ScreenList::NameRequest X11ScreenList::askMonitorName(xcb_atom_t nameAtom,
                                                         const std::vector<xcb_randr_output_t>& outputs) const
{
    NameRequest request;
    request.nameAtom = nameAtom;
    if (outputs.empty())
        return request;
    request.edid = m_connection.ask<xcb_randr_get_output_property_reply>(
        xcb_randr_get_output_property, outputs.front(), m_connection.atom("EDID"), xcb_atom_t(XCB_ATOM_ANY),
        std::uint32_t(0), std::uint32_t(256), std::uint8_t(0), std::uint8_t(0));
    request.info = m_connection.ask<xcb_randr_get_output_info_reply>(xcb_randr_get_output_info, outputs.front(),
                                                                     xcb_timestamp_t(XCB_CURRENT_TIME));
    return request;
}

QString X11ScreenList::monitorName(NameRequest& request) const
{
    if (request.edid.wasSent()) {
        auto& prop = request.edid;
        auto& info = request.info;
        if (prop && prop->format == 8) {
            const std::uint8_t* data = xcb_randr_get_output_property_data(prop.get());
            const int length = xcb_randr_get_output_property_data_length(prop.get());
            if (length > 0 && std::uint32_t(length) == prop->num_items) {
                if (auto name = X11Properties::edidMonitorName(std::vector<std::uint8_t>(data, data + length)))
                    return *name;
            }
        }
        if (info) {
            const int length = xcb_randr_get_output_info_name_length(info.get());
            if (length > 0)
                return QString::fromUtf8(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                                         length);
        }
    }
    return m_connection.atomName(request.nameAtom);
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
    const xcb_window_t root = m_connection.root();

    // One round trip for the monitors and the root's size; by its answer every event sent before
    // it is queued, which brings the reserved space up to date.
    auto rootGeometry = m_connection.ask<xcb_get_geometry_reply>(xcb_get_geometry, root);
    X11Pending<xcb_randr_get_monitors_reply> monitors;
    if (m_hasRandr)
        monitors = m_connection.ask<xcb_randr_get_monitors_reply>(xcb_randr_get_monitors, root, std::uint8_t(1));

    // Asked on speculation in the same round trip: the names the last reading had to ask for next,
    // which this one needs too unless the monitors changed.
    std::map<std::pair<xcb_atom_t, xcb_randr_output_t>, NameRequest> guessedNames;
    for (const auto& [nameAtom, output] : m_lastOutputs)
        guessedNames.emplace(std::pair{nameAtom, output}, askMonitorName(nameAtom, {output}));

    // The root's size changes with RandR; the setup data keeps the size at connection time.
    double rootWidth = m_connection.screen()->width_in_pixels, rootHeight = m_connection.screen()->height_in_pixels;
    if (rootGeometry) {
        rootWidth = rootGeometry->width;
        rootHeight = rootGeometry->height;
    }

    if (monitors.wasSent()) {
        if (monitors) {
            std::vector<NameRequest> names;
            m_lastOutputs.clear();
            for (auto it = xcb_randr_get_monitors_monitors_iterator(monitors.get()); it.rem;
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
                out.push_back(info);
                const auto guess = count > 0 ? guessedNames.find({m->name, outputs[0]}) : guessedNames.end();
                if (guess != guessedNames.end()) {
                    names.push_back(std::move(guess->second));
                    guessedNames.erase(guess);
                } else {
                    names.push_back(askMonitorName(
                        m->name, std::vector<xcb_randr_output_t>(outputs, outputs + std::max(0, count))));
                }
                if (count > 0)
                    m_lastOutputs.emplace_back(m->name, outputs[0]);
            }
            for (std::size_t i = 0; i < out.size(); ++i)
                out[i].name = monitorName(names[i]);
        }
    }
    guessedNames.clear(); // names of monitors that are gone: their answers are not read
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

    m_space.update(rootWidth, rootHeight);
    const auto published = m_space.workArea();
    const auto workArea = believableWorkArea(published, rootWidth, rootHeight);
    if (published && !workArea && published != m_loggedWorkArea) {
        m_loggedWorkArea = published;
        Log::lifecycle().error(absurdWorkAreaMessage, describe(*published), describe(Size{rootWidth, rootHeight}));
    }
    const auto struts = m_space.struts();
    m_holdingAreas = {Rect{0, 0, rootWidth, rootHeight}};
    if (workArea)
        m_holdingAreas.push_back(*workArea);
    for (MonitorInfo& info : out) {
        info.xVisible = visibleFrameOfMonitor(info.xRect, struts, workArea, rootWidth, rootHeight);
        m_holdingAreas.push_back(info.xRect);
        m_holdingAreas.push_back(info.xVisible);
    }
    return out;
}

std::vector<ScreenRef> X11ScreenList::screens() const
{
    return snapshot(nullptr);
}

std::vector<ScreenRef> X11ScreenList::snapshot(std::size_t* primaryIndex) const
{
    if (m_turnWatch && m_haveRead && m_readTurn == m_turn && !m_space.stale()) {
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

std::vector<Rect> X11ScreenList::xHoldingAreas() const
{
    if (!m_haveRead)
        snapshot(nullptr);
    return m_holdingAreas;
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
