#pragma once

#include "Platform/Accessibility.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11WindowMover.h"

#include <QObject>

#include <memory>
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

    // The mover behind the position and size writes, for what it learnt and did.
    X11WindowMover& mover() { return m_mover; }

private:
    std::optional<std::int32_t> processOf(xcb_window_t window);
    // The active window, if it exists, and its owner (0 when unknown).
    struct ActiveWindow {
        xcb_window_t window = XCB_WINDOW_NONE;
        std::int32_t processID = 0;
    };
    std::optional<ActiveWindow> activeWindow();
    X11Result<X11WindowGeometry> geometryOf(xcb_window_t window);
    AXError errorCode(const X11Error& error) const;
    AXError focusedWindowOf(std::int32_t processID, std::optional<AXValue>& value);
    AXError writeFrame(xcb_window_t window, float timeout, const std::optional<Point>& position,
                       const std::optional<Size>& size);

    X11Connection& m_connection;
    X11WindowMover m_mover;
    std::set<xcb_window_t> m_ownWindows;
    X11Connection::ListenerId m_listener = 0;
    struct GeometryCache {
        xcb_window_t window = XCB_WINDOW_NONE;
        std::uint64_t turn = 0;
        X11WindowGeometry geometry;
    };
    std::optional<GeometryCache> m_geometryCache;
    std::unique_ptr<QObject> m_turnWatch; // counts turns of the event loop
    std::uint64_t m_turn = 0;
};

} // namespace mosaro
