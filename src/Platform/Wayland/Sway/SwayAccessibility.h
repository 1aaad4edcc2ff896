#pragma once

#include "Platform/Accessibility.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/Wayland/Sway/SwayIpc.h"
#include "Platform/Wayland/WaylandTrustNotice.h"

#include <QObject>

#include <cstdio>
#include <functional>
#include <memory>
#include <optional>

namespace mosaro {

// Other applications' windows through sway's IPC. The frontmost application is the owner of the
// focused container; a window element is a container, and its position and size are those of its
// frame (the container's rect grown upward by its title bar) in layout pixels, which are the
// accessibility coordinates. Writes are sway commands: a tiled window is made floating first,
// since sway gives exact frames to floating windows only, and is tiled again when a failed
// placement is rolled back. A position followed by a size travels as one request
// (`floating enable, resize set ..., move absolute position ...`): sway applies a request's
// commands in order and configures the client once, whereas separate requests race with the
// client's answers to the earlier configures (a terminal then settles at the floating default
// size). A position written alone goes out at the next turn of the event loop. Where sway
// settles a window elsewhere than asked, that is its answer: logged, and the write counts as
// done.
class SwayAccessibility : public Accessibility {
public:
    explicit SwayAccessibility(Sway::Ipc& ipc);
    ~SwayAccessibility() override;

    bool isProcessTrusted() override;
    std::optional<std::int32_t> frontmostApplicationProcessID() override;
    std::int32_t currentProcessID() override;

    AXElementRef createApplicationElement(std::int32_t processID) override;
    AXError setMessagingTimeout(const AXElementRef& element, float seconds) override;
    AXError copyAttributeValue(const AXElementRef& element, const QString& attribute,
                               std::optional<AXValue>& value) override;
    AXError isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable) override;
    AXError setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value) override;

    // The window another application had focused at the last trigger: the one the keyboard goes
    // back to when the panel closes, whatever holds the focus by then.
    std::optional<std::int64_t> target() const { return m_target; }

    // The container behind a window element (none for other elements).
    static std::optional<std::int64_t> containerOf(const AXElementRef& element);

private:
    // The focused window as last read, kept until something is written.
    AXError readFocused();
    AXError readWindow(std::int64_t id, Sway::Container& out);
    AXError writePosition(Point position);
    AXError writeSize(Size size);
    // Sends the commands, floating the window first when it is tiled, and reads back the frame.
    AXError place(const QString& commands, std::optional<Point> position, std::optional<Size> size);
    void flush();
    AXError run(std::int64_t id, const QString& commands, std::vector<Sway::CommandResult>* results = nullptr);

    Sway::Ipc& m_ipc;
    std::optional<Sway::Container> m_focused;
    std::optional<std::int64_t> m_target;
    bool m_focusedRead = false;
    // The placement under way: which window, whether we floated it, whether a write failed (the
    // writes that follow a failure are the rollback).
    struct Placement {
        std::int64_t id = 0;
        bool floatedByUs = false;
        bool failed = false;
        bool retiled = false;
        bool touched = false;                 // a command went out for it
        bool sized = false;                   // a size went out: later positions go at once
        std::optional<Point> pendingPosition; // waits for the size that usually follows
    };
    std::optional<Placement> m_placement;
    std::unique_ptr<QObject> m_flushContext;
};

// "Trusted" on sway means that its IPC channel answers. When the answer turns into "no", one line
// says why on the notice stream.
class SwayAccessibilityTrust : public AccessibilityTrust {
public:
    explicit SwayAccessibilityTrust(Sway::Ipc& ipc, std::FILE* notices = stderr) : m_ipc(ipc), m_notice(notices) {}
    bool isProcessTrustedWithOptions(bool prompt) override;
    // The stand-in for the system's prompt: shows the user what would make windows movable.
    std::function<void()> showPrompt;

private:
    Sway::Ipc& m_ipc;
    WaylandTrustNotice m_notice;
};

} // namespace mosaro
