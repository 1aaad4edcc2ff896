#include "Platform/X11/X11PanelWindows.h"

#include <unistd.h>

#include <cstring>
#include <vector>

namespace mosaro {

void nameX11PanelWindow(X11Connection& connection, xcb_window_t window, const char* name, bool withPid)
{
    xcb_connection_t* c = connection.connection();
    static const char wmClass[] = "mosaro\0Mosaro";
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8, sizeof wmClass,
                        wmClass);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, connection.atom("_NET_WM_NAME"),
                        connection.atom("UTF8_STRING"), 8, std::uint32_t(std::strlen(name)), name);
    if (withPid) {
        const std::uint32_t pid = std::uint32_t(::getpid());
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, connection.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1,
                            &pid);
    }
}

void setX11Shape(xcb_connection_t* c, xcb_shape_kind_t kind, xcb_window_t window, const QRegion& region)
{
    std::vector<xcb_rectangle_t> rects;
    rects.reserve(std::size_t(region.rectCount()));
    for (const QRect& r : region)
        rects.push_back(
            {std::int16_t(r.x()), std::int16_t(r.y()), std::uint16_t(r.width()), std::uint16_t(r.height())});
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_YX_BANDED, window, 0, 0,
                         std::uint32_t(rects.size()), rects.data());
}

QRect x11RootRect(const Rect& frame, double primaryHeight)
{
    return QRect(int(frame.x), int(primaryHeight - frame.y - frame.height), int(frame.width), int(frame.height));
}

} // namespace mosaro
