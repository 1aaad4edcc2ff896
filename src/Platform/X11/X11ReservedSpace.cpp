#include "Platform/X11/X11ReservedSpace.h"

#include "Platform/X11/X11VisibleFrame.h"

#include <algorithm>

namespace mosaro {

namespace {

// What this connection wants to hear of a watched window: its properties, and its own map,
// unmap and destruction. The window mover selects the same on the clients it moves, so setting
// it outright never takes away a selection of the mover's.
constexpr std::uint32_t watchMask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

} // namespace

X11ReservedSpace::X11ReservedSpace(X11Connection& connection) : m_connection(connection)
{
    if (!m_connection.isConnected())
        return;
    m_connection.internAtoms({"_NET_WORKAREA", "_NET_CURRENT_DESKTOP", "_NET_CLIENT_LIST", "_NET_WM_WINDOW_TYPE",
                              "_NET_WM_WINDOW_TYPE_DOCK", "_NET_WM_STRUT_PARTIAL", "_NET_WM_STRUT"});
    m_workAreaAtom = m_connection.atom("_NET_WORKAREA");
    m_desktopAtom = m_connection.atom("_NET_CURRENT_DESKTOP");
    m_clientListAtom = m_connection.atom("_NET_CLIENT_LIST");
    m_typeAtom = m_connection.atom("_NET_WM_WINDOW_TYPE");
    m_dockAtom = m_connection.atom("_NET_WM_WINDOW_TYPE_DOCK");
    m_partialAtom = m_connection.atom("_NET_WM_STRUT_PARTIAL");
    m_strutAtom = m_connection.atom("_NET_WM_STRUT");
    // The root's properties, and its children coming and going (docks a manager keeps out of its
    // client list); added to whatever else this connection selects there.
    auto attributes = m_connection.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, m_connection.root());
    const std::uint32_t mask = (attributes ? attributes->your_event_mask : 0) | XCB_EVENT_MASK_PROPERTY_CHANGE |
                               XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection.connection(), m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    m_connection.flush();
    m_listener = m_connection.addEventListener([this](xcb_generic_event_t* e) { return handleEvent(e); });
}

X11ReservedSpace::~X11ReservedSpace()
{
    if (m_listener)
        m_connection.removeEventListener(m_listener);
}

bool X11ReservedSpace::stale() const
{
    return m_rootStale || m_clientsStale || !m_staleWindows.empty() || (m_treeStale && docksOnly());
}

bool X11ReservedSpace::docksOnly() const
{
    return !believableWorkArea(m_workArea, m_rootWidth, m_rootHeight);
}

void X11ReservedSpace::forget()
{
    m_windows.clear();
    m_staleWindows.clear();
    m_rootStale = m_clientsStale = m_treeStale = true;
}

bool X11ReservedSpace::handleEvent(xcb_generic_event_t* e)
{
    const xcb_window_t root = m_connection.root();
    auto known = [&](xcb_window_t w) { return m_windows.count(w) > 0; };
    switch (e->response_type & 0x7f) {
    case 0: {
        // An error about the root or a watched window: what we hold may no longer be true.
        const auto* error = reinterpret_cast<const xcb_generic_error_t*>(e);
        if (error->resource_id == root)
            forget();
        else if (known(error->resource_id))
            m_staleWindows.insert(error->resource_id);
        break;
    }
    case XCB_PROPERTY_NOTIFY: {
        const auto* p = reinterpret_cast<const xcb_property_notify_event_t*>(e);
        if (p->window == root) {
            m_rootStale = m_rootStale || p->atom == m_workAreaAtom || p->atom == m_desktopAtom;
            m_clientsStale = m_clientsStale || p->atom == m_clientListAtom;
        } else if (known(p->window) && (p->atom == m_partialAtom || p->atom == m_strutAtom || p->atom == m_typeAtom)) {
            m_staleWindows.insert(p->window);
        }
        break;
    }
    case XCB_MAP_NOTIFY: {
        const auto* m = reinterpret_cast<const xcb_map_notify_event_t*>(e);
        if (known(m->window))
            m_windows[m->window].mapped = true;
        m_treeStale = m_treeStale || m->event == root;
        break;
    }
    case XCB_UNMAP_NOTIFY: {
        const auto* u = reinterpret_cast<const xcb_unmap_notify_event_t*>(e);
        if (known(u->window))
            m_windows[u->window].mapped = false;
        m_treeStale = m_treeStale || u->event == root;
        break;
    }
    case XCB_DESTROY_NOTIFY: {
        const auto* d = reinterpret_cast<const xcb_destroy_notify_event_t*>(e);
        m_windows.erase(d->window);
        m_staleWindows.erase(d->window);
        m_treeStale = m_treeStale || d->event == root;
        break;
    }
    case XCB_REPARENT_NOTIFY:
        m_treeStale = m_treeStale || reinterpret_cast<const xcb_reparent_notify_event_t*>(e)->event == root;
        break;
    default:
        break;
    }
    return false;
}

X11ReservedSpace::Asked X11ReservedSpace::ask(xcb_window_t window, bool select)
{
    // Selected before the properties are read, so that no change can fall between the two.
    if (select)
        xcb_change_window_attributes(m_connection.connection(), window, XCB_CW_EVENT_MASK, &watchMask);
    m_requests += 4;
    return {m_connection.askProperty(window, m_partialAtom, 12 * 4),
            m_connection.askProperty(window, m_strutAtom, 4 * 4), m_connection.askProperty(window, m_typeAtom, 64 * 4),
            m_connection.ask<xcb_get_window_attributes_reply>(xcb_get_window_attributes, window)};
}

void X11ReservedSpace::read(xcb_window_t window, Asked& asked)
{
    auto& attributes = asked.attributes;
    const auto partial = X11Properties::list32(m_connection.propertyValue(asked.partial), XCB_ATOM_CARDINAL, 12);
    const auto strut = X11Properties::list32(m_connection.propertyValue(asked.strut), XCB_ATOM_CARDINAL, 4);
    const auto types = X11Properties::atoms(m_connection.propertyValue(asked.type));
    Window& w = m_windows[window];
    // A window gone meanwhile holds nothing; its destruction or the client list drops it.
    w.mapped = attributes && attributes->map_state != XCB_MAP_STATE_UNMAPPED;
    w.dock = X11Properties::contains(types, m_dockAtom);
    w.strut = partial ? *partial : strut ? *strut : std::vector<std::uint32_t>{};
    w.strut.resize(partial ? 12 : strut ? 4 : 0);
}

void X11ReservedSpace::update(double rootWidth, double rootHeight)
{
    m_requests = 0;
    m_rootWidth = rootWidth;
    m_rootHeight = rootHeight;
    if (!m_connection.isConnected()) {
        forget();
        return;
    }
    m_connection.processPendingEvents();
    if (!stale())
        return;
    const xcb_window_t root = m_connection.root();

    // What is known to have changed, all asked at once.
    X11PendingProperty workAreas, desktop, clientList;
    if (m_rootStale) {
        workAreas = m_connection.askProperty(root, m_workAreaAtom);
        desktop = m_connection.askProperty(root, m_desktopAtom);
        m_requests += 2;
    }
    if (m_clientsStale) {
        clientList = m_connection.askProperty(root, m_clientListAtom);
        ++m_requests;
    }
    std::map<xcb_window_t, Asked> asked;
    for (const xcb_window_t w : m_staleWindows)
        asked.emplace(w, ask(w, false));
    m_staleWindows.clear();

    if (m_rootStale) {
        m_workArea =
            X11Properties::desktopWorkArea(m_connection.propertyValue(workAreas), m_connection.propertyValue(desktop));
        m_rootStale = false;
    }
    std::map<xcb_window_t, Asked> added;
    if (m_clientsStale) {
        m_clientsStale = false;
        const auto clients = X11Properties::list32(m_connection.propertyValue(clientList), XCB_ATOM_WINDOW, 0)
                                 .value_or(std::vector<std::uint32_t>{});
        const std::set<xcb_window_t> listed(clients.begin(), clients.end());
        for (auto it = m_windows.begin(); it != m_windows.end();) {
            it->second.client = listed.count(it->first) > 0;
            it = it->second.client || it->second.inTree ? std::next(it) : m_windows.erase(it);
        }
        // New clients: watched from now on, and read in the same round trip as the rest.
        for (const xcb_window_t w : listed)
            if (!m_windows.count(w) && w != XCB_WINDOW_NONE)
                added.emplace(w, ask(w, true));
    }
    for (auto& [w, a] : asked)
        if (m_windows.count(w))
            read(w, a);
    for (auto& [w, a] : added) {
        read(w, a);
        m_windows[w].client = true;
    }
    // Without a work area the docks have to be found, also those a manager keeps out of its list.
    if (m_treeStale && docksOnly())
        readTreeDocks();
}

void X11ReservedSpace::readTreeDocks()
{
    m_treeStale = false;
    // Children of the root and their children: managers that reparent docks (i3 into its dock
    // areas) keep them one level down.
    auto top = m_connection.ask<xcb_query_tree_reply>(xcb_query_tree, m_connection.root());
    ++m_requests;
    if (!top)
        return;
    std::vector<xcb_window_t> candidates;
    std::vector<X11Pending<xcb_query_tree_reply>> trees;
    const xcb_window_t* children = xcb_query_tree_children(top.get());
    for (int i = 0; i < xcb_query_tree_children_length(top.get()); ++i) {
        candidates.push_back(children[i]);
        trees.push_back(m_connection.ask<xcb_query_tree_reply>(xcb_query_tree, children[i]));
    }
    for (auto& tree : trees) {
        if (tree) {
            const xcb_window_t* inner = xcb_query_tree_children(tree.get());
            candidates.insert(candidates.end(), inner, inner + xcb_query_tree_children_length(tree.get()));
        }
    }
    std::vector<X11PendingProperty> types;
    types.reserve(candidates.size());
    for (const xcb_window_t w : candidates)
        types.push_back(m_connection.askProperty(w, m_typeAtom, 64 * 4));
    m_requests += int(trees.size() + types.size());
    std::map<xcb_window_t, Asked> docks;
    for (std::size_t i = 0; i < candidates.size(); ++i)
        if (X11Properties::contains(X11Properties::atoms(m_connection.propertyValue(types[i])), m_dockAtom) &&
            !docks.count(candidates[i]))
            docks.emplace(candidates[i], ask(candidates[i], !m_windows.count(candidates[i])));
    for (auto it = m_windows.begin(); it != m_windows.end();) {
        it->second.inTree = docks.count(it->first) > 0;
        it = it->second.client || it->second.inTree ? std::next(it) : m_windows.erase(it);
    }
    for (auto& [w, a] : docks) {
        read(w, a);
        m_windows[w].inTree = true;
    }
}

std::vector<X11Properties::Reservation> X11ReservedSpace::struts() const
{
    std::vector<X11Properties::Reservation> out;
    const bool anyType = !docksOnly();
    for (const auto& [w, info] : m_windows) {
        if (!info.mapped || info.strut.empty() || (!anyType && !info.dock))
            continue;
        const auto areas = X11Properties::reservationsFromStrut(info.strut, m_rootWidth, m_rootHeight);
        out.insert(out.end(), areas.begin(), areas.end());
    }
    return out;
}

} // namespace mosaro
