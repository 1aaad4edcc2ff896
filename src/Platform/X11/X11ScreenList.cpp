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
    m_connection.internAtoms({"EDID", "_NET_WORKAREA", "_NET_CURRENT_DESKTOP", "_NET_CLIENT_LIST",
                              "_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DOCK", "_NET_WM_STRUT_PARTIAL",
                              "_NET_WM_STRUT"});
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

X11ScreenList::NameRequest X11ScreenList::askMonitorName(xcb_atom_t nameAtom,
                                                         const std::vector<xcb_randr_output_t>& outputs) const
{
    NameRequest request;
    request.nameAtom = nameAtom;
    if (outputs.empty())
        return request;
    xcb_connection_t* c = m_connection.connection();
    request.asked = true;
    request.edid =
        xcb_randr_get_output_property(c, outputs.front(), m_connection.atom("EDID"), XCB_ATOM_ANY, 0, 256, 0, 0);
    request.info = xcb_randr_get_output_info(c, outputs.front(), XCB_CURRENT_TIME);
    return request;
}

void X11ScreenList::discard(const NameRequest& request) const
{
    if (!request.asked || !m_connection.isConnected())
        return;
    xcb_discard_reply(m_connection.connection(), request.edid.sequence);
    xcb_discard_reply(m_connection.connection(), request.info.sequence);
}

QString X11ScreenList::monitorName(const NameRequest& request) const
{
    if (request.asked) {
        auto prop = m_connection.reply<xcb_randr_get_output_property_reply_t>(xcb_randr_get_output_property_reply,
                                                                              request.edid);
        auto info =
            m_connection.reply<xcb_randr_get_output_info_reply_t>(xcb_randr_get_output_info_reply, request.info);
        if (prop && (*prop)->format == 8) {
            const std::uint8_t* data = xcb_randr_get_output_property_data(prop->get());
            const int length = xcb_randr_get_output_property_data_length(prop->get());
            if (length > 0 && std::uint32_t(length) == (*prop)->num_items) {
                if (auto name = X11Properties::edidMonitorName(std::vector<std::uint8_t>(data, data + length)))
                    return *name;
            }
        }
        if (info) {
            const int length = xcb_randr_get_output_info_name_length(info->get());
            if (length > 0)
                return QString::fromUtf8(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info->get())),
                                         length);
        }
    }
    return m_connection.atomName(request.nameAtom);
}

std::vector<xcb_window_t> X11ScreenList::docksInTree() const
{
    // Children of the root and their children: managers that reparent docks (i3 into its dock
    // areas) keep them one level down.
    xcb_connection_t* c = m_connection.connection();
    std::vector<xcb_window_t> candidates;
    auto top = m_connection.reply<xcb_query_tree_reply_t>(xcb_query_tree_reply, xcb_query_tree(c, m_connection.root()));
    if (!top)
        return {};
    const xcb_window_t* children = xcb_query_tree_children(top->get());
    const int count = xcb_query_tree_children_length(top->get());
    std::vector<xcb_query_tree_cookie_t> treeCookies;
    for (int i = 0; i < count; ++i) {
        candidates.push_back(children[i]);
        treeCookies.push_back(xcb_query_tree(c, children[i]));
    }
    for (auto cookie : treeCookies) {
        if (auto tree = m_connection.reply<xcb_query_tree_reply_t>(xcb_query_tree_reply, cookie)) {
            const xcb_window_t* inner = xcb_query_tree_children(tree->get());
            candidates.insert(candidates.end(), inner, inner + xcb_query_tree_children_length(tree->get()));
        }
    }
    const xcb_atom_t typeAtom = m_connection.atom("_NET_WM_WINDOW_TYPE");
    const xcb_atom_t dock = m_connection.atom("_NET_WM_WINDOW_TYPE_DOCK");
    std::vector<xcb_get_property_cookie_t> typeCookies;
    typeCookies.reserve(candidates.size());
    for (const xcb_window_t w : candidates)
        typeCookies.push_back(xcb_get_property(c, 0, w, typeAtom, XCB_ATOM_ATOM, 0, 64));
    std::vector<xcb_window_t> docks;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        auto reply = m_connection.reply<xcb_get_property_reply_t>(xcb_get_property_reply, typeCookies[i]);
        if (!reply || (*reply)->format != 32 || (*reply)->type != XCB_ATOM_ATOM)
            continue;
        const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply->get()));
        const int n = xcb_get_property_value_length(reply->get()) / 4;
        if (std::find(atoms, atoms + n, dock) != atoms + n)
            docks.push_back(candidates[i]);
    }
    return docks;
}

std::vector<X11Properties::Reservation>
X11ScreenList::readReservations(X11PendingProperty& clientList,
                                std::map<xcb_window_t, X11PendingProperty>& guessedTypes, double rootWidth,
                                double rootHeight, bool searchTree) const
{
    std::vector<X11Properties::Reservation> out;
    std::vector<xcb_window_t> docks;
    const xcb_atom_t typeAtom = m_connection.atom("_NET_WM_WINDOW_TYPE");
    const xcb_atom_t dock = m_connection.atom("_NET_WM_WINDOW_TYPE_DOCK");
    // Each step asks about every window at once: three round trips whatever the number of clients.
    m_lastClients.clear();
    if (const auto clients = X11Properties::list32(m_connection.propertyValue(clientList), XCB_ATOM_WINDOW, 0)) {
        std::vector<X11PendingProperty> types;
        types.reserve(clients->size());
        for (const xcb_window_t w : *clients) {
            const auto guess = guessedTypes.find(w);
            if (guess != guessedTypes.end()) {
                types.push_back(std::move(guess->second));
                guessedTypes.erase(guess);
            } else {
                types.push_back(m_connection.askProperty(w, typeAtom, 64 * 4));
            }
        }
        for (std::size_t i = 0; i < clients->size(); ++i)
            if (X11Properties::contains(X11Properties::atoms(m_connection.propertyValue(types[i])), dock))
                docks.push_back((*clients)[i]);
        m_lastClients = *clients;
    }
    if (searchTree) {
        for (const xcb_window_t w : docksInTree())
            if (std::find(docks.begin(), docks.end(), w) == docks.end())
                docks.push_back(w);
    }
    std::vector<std::pair<X11PendingProperty, X11PendingProperty>> struts;
    struts.reserve(docks.size());
    for (const xcb_window_t w : docks)
        struts.emplace_back(m_connection.askProperty(w, m_connection.atom("_NET_WM_STRUT_PARTIAL")),
                            m_connection.askProperty(w, m_connection.atom("_NET_WM_STRUT")));
    for (auto& [partial, strut] : struts) {
        const auto partialValue = m_connection.propertyValue(partial);
        const auto areas =
            X11Properties::strutReservations(partialValue, m_connection.propertyValue(strut), rootWidth, rootHeight);
        out.insert(out.end(), areas.begin(), areas.end());
    }
    return out;
}

std::vector<Rect> X11ScreenList::mappedTopLevelWindows() const
{
    std::vector<Rect> out;
    xcb_connection_t* c = m_connection.connection();
    auto tree =
        m_connection.reply<xcb_query_tree_reply_t>(xcb_query_tree_reply, xcb_query_tree(c, m_connection.root()));
    if (!tree)
        return out;
    const xcb_window_t* children = xcb_query_tree_children(tree->get());
    const int count = xcb_query_tree_children_length(tree->get());
    // All requests first, then the replies: one round trip for the lot.
    std::vector<xcb_get_window_attributes_cookie_t> attributeCookies;
    std::vector<xcb_get_geometry_cookie_t> geometryCookies;
    for (int i = 0; i < count; ++i) {
        attributeCookies.push_back(xcb_get_window_attributes(c, children[i]));
        geometryCookies.push_back(xcb_get_geometry(c, children[i]));
    }
    for (int i = 0; i < count; ++i) {
        auto attributes = m_connection.reply<xcb_get_window_attributes_reply_t>(xcb_get_window_attributes_reply,
                                                                                attributeCookies[std::size_t(i)]);
        auto g = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, geometryCookies[std::size_t(i)]);
        if (!attributes || !g || (*attributes)->map_state != XCB_MAP_STATE_VIEWABLE ||
            (*attributes)->_class != XCB_WINDOW_CLASS_INPUT_OUTPUT)
            continue;
        const double b = (*g)->border_width;
        out.push_back({double((*g)->x), double((*g)->y), (*g)->width + 2 * b, (*g)->height + 2 * b});
    }
    return out;
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

    // The first round trip asks for everything that does not depend on another answer.
    const auto rootCookie = xcb_get_geometry(c, root);
    std::optional<xcb_randr_get_monitors_cookie_t> monitorsCookie;
    if (m_hasRandr)
        monitorsCookie = xcb_randr_get_monitors(c, root, 1);
    auto workAreas = m_connection.askProperty(root, m_connection.atom("_NET_WORKAREA"));
    auto currentDesktop = m_connection.askProperty(root, m_connection.atom("_NET_CURRENT_DESKTOP"));
    auto clientList = m_connection.askProperty(root, m_connection.atom("_NET_CLIENT_LIST"));

    // Asked on speculation in the same round trip: what the last reading had to ask next, which
    // is what this one needs too unless the monitors or the clients changed.
    std::map<std::pair<xcb_atom_t, xcb_randr_output_t>, NameRequest> guessedNames;
    for (const auto& [nameAtom, output] : m_lastOutputs)
        guessedNames.emplace(std::pair{nameAtom, output}, askMonitorName(nameAtom, {output}));
    std::map<xcb_window_t, X11PendingProperty> guessedTypes;
    for (const xcb_window_t w : m_lastClients)
        guessedTypes.emplace(w, m_connection.askProperty(w, m_connection.atom("_NET_WM_WINDOW_TYPE"), 64 * 4));

    // The root's size changes with RandR; the setup data keeps the size at connection time.
    double rootWidth = m_connection.screen()->width_in_pixels, rootHeight = m_connection.screen()->height_in_pixels;
    if (auto g = m_connection.reply<xcb_get_geometry_reply_t>(xcb_get_geometry_reply, rootCookie)) {
        rootWidth = (*g)->width;
        rootHeight = (*g)->height;
    }

    if (monitorsCookie) {
        auto monitors =
            m_connection.reply<xcb_randr_get_monitors_reply_t>(xcb_randr_get_monitors_reply, *monitorsCookie);
        if (monitors) {
            std::vector<NameRequest> names;
            m_lastOutputs.clear();
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
                out.push_back(info);
                const auto guess = count > 0 ? guessedNames.find({m->name, outputs[0]}) : guessedNames.end();
                if (guess != guessedNames.end()) {
                    names.push_back(guess->second);
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
    for (auto& [key, unused] : guessedNames)
        discard(unused);
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

    // Without a work area the manager may not list its docks either (i3): look for them.
    const auto workAreasValue = m_connection.propertyValue(workAreas);
    const auto workArea =
        X11Properties::workArea(workAreasValue, m_connection.propertyValue(currentDesktop), rootWidth, rootHeight);
    const auto reservations = readReservations(clientList, guessedTypes, rootWidth, rootHeight, !workArea);
    auto edges = unexplainedWorkAreaEdges(reservations, workArea, rootWidth, rootHeight);
    if (edges.any())
        edges = occupiedWorkAreaEdges(edges, mappedTopLevelWindows(), rootWidth, rootHeight);
    for (MonitorInfo& info : out)
        info.xVisible = visibleFrameOfMonitor(info.xRect, reservations, edges);
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
