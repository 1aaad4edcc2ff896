#pragma once

#include "Platform/NotificationCenter.h"
#include "Platform/Screen.h"
#include "Platform/Wayland/Sway/SwayIpc.h"

#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace mosaro {

// sway's active outputs as displays, in sway's order. Frames are y-up with the origin at the
// bottom-left of the output at the layout origin (else the first), so that converting with that
// output's height gives back layout pixels; the visible frame is the rect of the output's visible
// workspace, the area its bars leave. The display key is the output's model (the monitor's name
// from its EDID), else its connector name. One reading serves a turn of the event loop.
class SwayScreenList : public ScreenList {
public:
    explicit SwayScreenList(Sway::Ipc& ipc);
    ~SwayScreenList() override;

    std::vector<ScreenRef> screens() const override;
    // The output at the layout origin, else the first.
    ScreenRef mainScreen() const override;

    // The outputs as last read, for telling whether a change touched them.
    const std::vector<Sway::Output>& lastOutputs() const { return m_lastOutputs; }
    // Forgets the reading of this turn (an event said something changed).
    void invalidate() const { m_readTurn.reset(); }

    // The displays of sway's replies, pure: for the tests and the list above.
    static std::vector<ScreenRef> displays(const std::vector<Sway::Output>& outputs,
                                           const std::vector<Sway::Workspace>& workspaces);

private:
    std::vector<ScreenRef> read() const;

    Sway::Ipc& m_ipc;
    mutable std::map<QString, std::shared_ptr<Screen>> m_cache; // by output name, for identity
    mutable std::vector<ScreenRef> m_last;
    mutable std::vector<Sway::Output> m_lastOutputs;
    std::unique_ptr<QObject> m_turnWatch;
    std::uint64_t m_turn = 0;
    mutable std::optional<std::uint64_t> m_readTurn;
};

// Turns sway's events into the notifications the overlay listens for: a switch of the focused
// workspace is an active-space change; a change of the outputs (sway 1.7 has no output event, so
// every workspace event that may come from one is checked against a fresh output list) is a
// display-configuration change.
class SwayDesktopWatcher {
public:
    SwayDesktopWatcher(Sway::Ipc& ipc, SwayScreenList& screens, NotificationCenter& workspaceCenter,
                       NotificationCenter& defaultCenter);
    ~SwayDesktopWatcher() { m_ipc.removeEventHandler(m_eventHandler); }
    SwayDesktopWatcher(const SwayDesktopWatcher&) = delete;
    SwayDesktopWatcher& operator=(const SwayDesktopWatcher&) = delete;

    // A workspace focus change that Mosaro's own panel caused by moving to another display.
    std::function<bool(const QByteArray& event)> isOwnFocusChange;

private:
    void handle(std::uint32_t type, const QByteArray& payload);
    void checkOutputs();

    Sway::Ipc& m_ipc;
    SwayScreenList& m_screens;
    NotificationCenter& m_workspace;
    NotificationCenter& m_default;
    std::vector<Sway::Output> m_outputs;
    int m_eventHandler = 0;
};

} // namespace mosaro
