#pragma once

#include "Platform/Screen.h"
#include "Platform/X11/X11Connection.h"

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

    // Called when RandR reports a screen change (while the connection's events are dispatched).
    std::function<void()> onDisplaysChanged;

    // An area a dock keeps for itself, along one edge of the root window.
    struct Reservation {
        enum class Edge {
            left,
            right,
            top,
            bottom
        };
        Edge edge = Edge::top;
        Rect area; // X root coordinates, y down
    };
    // The areas of a _NET_WM_STRUT_PARTIAL (12 values) or _NET_WM_STRUT (4 values) on a root of
    // the given size; malformed values give none.
    static std::vector<Reservation> reservationsFromStrut(const std::vector<std::uint32_t>& strut, double rootWidth,
                                                          double rootHeight);
    // The monitor without the reservations that overlap it (X coordinates).
    static Rect visibleArea(const Rect& monitor, const std::vector<Reservation>& reservations);
    // The product name of an EDID block (display descriptor 0xFC), if it has one.
    static std::optional<QString> edidProductName(const std::vector<std::uint8_t>& edid);

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
    std::vector<Reservation> readReservations(double rootWidth, double rootHeight, bool& found) const;
    std::optional<Rect> readWorkArea() const;
    QString monitorName(xcb_atom_t nameAtom, const std::vector<xcb_randr_output_t>& outputs) const;
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
    // than once); a display or work-area change seen meanwhile forgets it.
    std::unique_ptr<QObject> m_turnWatch;
    std::uint64_t m_turn = 0;
    mutable std::uint64_t m_readTurn = ~std::uint64_t(0);
    X11Connection::ListenerId m_propertyListener = 0;
    mutable bool m_fallbackLogged = false;
};

} // namespace mosaro
