#pragma once

#include "Platform/Screen.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Properties.h"

#include <xcb/randr.h>

#include <cstdint>
#include <functional>
#include <map>
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
    std::vector<X11Properties::Reservation> readReservations(double rootWidth, double rootHeight,
                                                             bool searchTree) const;
    std::vector<xcb_window_t> docksInTree() const;
    std::optional<Rect> readWorkArea(double rootWidth, double rootHeight) const;
    // The viewable input-output children of the root, with their borders.
    std::vector<Rect> mappedTopLevelWindows() const;
    QString monitorName(xcb_atom_t nameAtom, const std::vector<xcb_randr_output_t>& outputs) const;
    double scaleFactor() const;

    X11Connection& m_connection;
    std::uint8_t m_randrEventBase = 0;
    bool m_hasRandr = false;
    X11Connection::ListenerId m_listener = 0;
    mutable std::map<xcb_atom_t, ScreenRef> m_cache;
    mutable bool m_fallbackLogged = false;
};

} // namespace mosaro
