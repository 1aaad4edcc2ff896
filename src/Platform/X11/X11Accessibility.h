#pragma once

#include "Platform/Accessibility.h"
#include "Platform/X11/X11Connection.h"

#include <set>

namespace mosaro {

// Whether an EWMH window manager runs: _NET_SUPPORTING_WM_CHECK on the root names a window that
// names itself, and _NET_SUPPORTED lists _NET_ACTIVE_WINDOW.
bool ewmhWindowManagerRunning(X11Connection& connection);

// The same check told as a sentence for a person: which window manager runs, or why none that
// Mosaro can drive was found.
QString describeWindowManager(X11Connection& connection);

// Other applications' windows through the window manager (EWMH/ICCCM). The frontmost
// application is the owner of _NET_ACTIVE_WINDOW; a window element is a client window, and its
// position and size are those of its visible outer frame in root coordinates, which are the
// accessibility coordinates. An active window whose owner cannot be told (no _NET_WM_PID, not
// ours) belongs to the application with process identifier 0.
class X11Accessibility : public Accessibility {
public:
    explicit X11Accessibility(X11Connection& connection);
    ~X11Accessibility() override;
    X11Accessibility(const X11Accessibility&) = delete;
    X11Accessibility& operator=(const X11Accessibility&) = delete;

    // Windows this process created count as ours even without _NET_WM_PID.
    void markOwnWindow(xcb_window_t window);
    void unmarkOwnWindow(xcb_window_t window);

    bool isProcessTrusted() override;
    std::optional<std::int32_t> frontmostApplicationProcessID() override;
    std::int32_t currentProcessID() override;

    AXElementRef createApplicationElement(std::int32_t processID) override;
    AXError setMessagingTimeout(const AXElementRef& element, float seconds) override;
    AXError copyAttributeValue(const AXElementRef& element, const QString& attribute,
                               std::optional<AXValue>& value) override;
    AXError isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable) override;
    AXError setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value) override;

    // The element for a client window, and the window behind an element (none for others).
    AXElementRef windowElement(xcb_window_t window);
    static xcb_window_t windowOf(const AXElementRef& element);

private:
    struct Extents {
        double left = 0, right = 0, top = 0, bottom = 0;
    };
    struct Geometry {
        Rect client; // inside the border, root coordinates
        double border = 0;
        Extents frame;  // added by the WM
        Extents shadow; // client-side, inside the client
        Rect visible;   // the outer frame as the user sees it
    };

    std::optional<std::int32_t> processOf(xcb_window_t window);
    std::optional<Extents> extents(xcb_window_t window, const char* property, double maxTotalWidth,
                                   double maxTotalHeight);
    X11Result<Geometry> geometry(xcb_window_t window);
    std::vector<xcb_atom_t> wmState(xcb_window_t window);
    bool hasState(xcb_window_t window, const char* state);
    bool isFixedSize(xcb_window_t window);
    std::optional<bool> allows(xcb_window_t window, const char* action);
    AXError errorCode(const X11Error& error) const;
    AXError focusedWindowOf(std::int32_t processID, std::optional<AXValue>& value);
    AXError writeFrame(xcb_window_t window, float timeout, const std::optional<Point>& position,
                       const std::optional<Size>& size);
    void watch(xcb_window_t window);

    X11Connection& m_connection;
    std::set<xcb_window_t> m_ownWindows;
    std::set<xcb_window_t> m_watched;
    X11Connection::ListenerId m_listener = 0;
};

} // namespace mosaro
