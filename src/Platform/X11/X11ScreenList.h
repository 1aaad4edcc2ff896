#pragma once

#include "Platform/Screen.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Properties.h"
#include "Platform/X11/X11ReservedSpace.h"

#include <QObject>
#include <xcb/randr.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace mosaro {

// The RandR monitors of an X screen as displays. Frames are y-up with the origin at the
// bottom-left of the monitor at the X root origin, so that converting with the height of that
// monitor gives back X root coordinates exactly. All sizes are X pixels.
class X11ScreenList : public ScreenList {
public:
    explicit X11ScreenList(X11Connection& connection);
    ~X11ScreenList() override;

    std::vector<ScreenRef> screens() const override;
    // The monitor marked primary, else the first.
    ScreenRef mainScreen() const override;

    // What the last call to screens() or mainScreen() read, without asking the server again
    // (read now if nothing was read yet): for the overlay, which shows on a display of that list.
    std::vector<ScreenRef> lastRead() const;
    // The height of the display at the X root origin in that reading; y-up frames convert
    // to X root coordinates with it.
    double lastPrimaryHeight() const;

    // Where a window manager may hold a window it keeps on the screen, X root coordinates, as of
    // the last reading: the root, the believable work area, each monitor and its visible frame.
    std::vector<Rect> xHoldingAreas() const;

    // What the display list knows of struts and the work area, for tests.
    const X11ReservedSpace& reservedSpace() const { return m_space; }

    // Called when RandR reports a screen change (while the connection's events are dispatched).
    std::function<void()> onDisplaysChanged;

private:
    struct MonitorInfo {
        xcb_atom_t nameAtom = XCB_ATOM_NONE;
        bool primary = false;
        Rect xRect;
        Rect xVisible;
        QString name;
    };
    std::vector<MonitorInfo> readMonitors() const;
    std::vector<ScreenRef> snapshot(std::size_t* primaryIndex) const;
    // A monitor's name: the EDID's, else the output's, else the RandR monitor's atom.
    struct NameRequest {
        xcb_atom_t nameAtom = XCB_ATOM_NONE;
        X11Pending<xcb_randr_get_output_property_reply> edid;
        X11Pending<xcb_randr_get_output_info_reply> info;
    };
    NameRequest askMonitorName(xcb_atom_t nameAtom, const std::vector<xcb_randr_output_t>& outputs) const;
    QString monitorName(NameRequest& request) const;
    double scaleFactor() const;

    X11Connection& m_connection;
    std::uint8_t m_randrEventBase = 0;
    bool m_hasRandr = false;
    X11Connection::ListenerId m_listener = 0;
    mutable std::map<xcb_atom_t, ScreenRef> m_cache;
    mutable std::vector<ScreenRef> m_lastRead;
    mutable std::size_t m_lastPrimaryIndex = 0;
    mutable double m_lastPrimaryHeight = 0;
    mutable bool m_haveRead = false;
    // One reading serves a whole turn of the event loop (a session start reads the list more
    // than once); a display change or a change of the reserved space seen meanwhile forgets it.
    std::unique_ptr<QObject> m_turnWatch;
    std::uint64_t m_turn = 0;
    mutable std::uint64_t m_readTurn = ~std::uint64_t(0);
    mutable X11ReservedSpace m_space;
    mutable std::vector<Rect> m_holdingAreas;
    mutable bool m_fallbackLogged = false;
    mutable std::optional<Rect> m_loggedWorkArea;
    // What the last reading asked about in its second round trip.
    mutable std::vector<std::pair<xcb_atom_t, xcb_randr_output_t>> m_lastOutputs;
};

} // namespace mosaro
