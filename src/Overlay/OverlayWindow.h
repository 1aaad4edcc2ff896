#pragma once

#include "Platform/Geometry.h"
#include "Platform/KeyEvent.h"
#include "Platform/Screen.h"

#include <functional>
#include <memory>

namespace mosaro {

class OverlayViewModel;

// The overlay panel: borderless, click-through, above everything, taking the keyboard while
// shown. It posts windowDidResignKey (with itself as the object) on the default notification
// centre when it loses the keyboard.
class OverlayWindow {
public:
    virtual ~OverlayWindow() = default;

    // Set by the presenter after creation, cleared before the panel is closed.
    std::function<void(const KeyEvent&)> onKeyDown;

    // A key-down that reached the panel: handed to onKeyDown, never passed on.
    void keyDown(const KeyEvent& event)
    {
        if (onKeyDown)
            onKeyDown(event);
    }

    virtual void setFrame(const Rect& frame) = 0; // screen coordinates
    virtual void setContent(std::shared_ptr<OverlayViewModel> viewModel) = 0;
    // Takes the keyboard ahead of showing, so that keys typed from now on reach the panel in
    // order; makeKeyAndOrderFront() takes it too when this was not called.
    virtual void takeKeyboard() {}
    virtual void makeKeyAndOrderFront() = 0;
    virtual void resignKeyWindow() = 0;
    virtual void orderOut() = 0;
    virtual void close() = 0;

    virtual Rect frame() const = 0;
    virtual bool isKeyWindow() const = 0;
    virtual bool isVisible() const = 0;
    virtual ScreenRef screen() const = 0;
};

class OverlayWindowFactory {
public:
    virtual ~OverlayWindowFactory() = default;
    virtual std::unique_ptr<OverlayWindow> makeOverlayWindow() = 0;
};

} // namespace mosaro
