#pragma once

#include "Platform/Geometry.h"
#include "Platform/Wayland/Sway/SwayIpc.h"

#include <QString>

#include <cstdint>
#include <optional>

namespace mosaro {

class SwayAccessibility;
class SwayScreenList;

// What sway does for Mosaro's panel window, which a Wayland client cannot do for itself: a
// run-time rule floats it without a border when it maps (re-added after a reload, which drops
// run-time rules), `move absolute position` puts it over a display's visible frame, and focusing
// the target container hands the keyboard back when it closes. The window is recognised by our
// pid and its title.
class SwayPanelRules {
public:
    SwayPanelRules(Sway::Ipc& ipc, const SwayScreenList& screens, const SwayAccessibility& windows, QString title);
    ~SwayPanelRules();
    SwayPanelRules(const SwayPanelRules&) = delete;
    SwayPanelRules& operator=(const SwayPanelRules&) = delete;

    // Before the window maps: the rule is in place.
    void prepare();
    // The window goes over the frame (y-up screen coordinates): now if it is mapped, else as soon
    // as sway says it is.
    void place(const Rect& frame);
    // The keyboard goes back to the window the trigger found.
    void returnKeyboard();
    // A workspace event that only follows the panel itself to another display's workspace.
    bool isPanelFocusChange(const QByteArray& workspaceEvent) const;

private:
    void handle(std::uint32_t type, const QByteArray& payload);
    void apply();
    QString criteria() const;

    Sway::Ipc& m_ipc;
    const SwayScreenList& m_screens;
    const SwayAccessibility& m_windows;
    QString m_title;
    bool m_ruleAdded = false;
    std::optional<std::int64_t> m_panel; // the panel's container while it is mapped, from events
    std::optional<Point> m_wanted;       // where it goes, in layout pixels
    std::optional<Point> m_placedAt;     // where it was last put
    int m_eventHandler = 0;
};

} // namespace mosaro
