#pragma once

#include "Platform/Accessibility.h"
#include "Platform/Screen.h"
#include "WindowControl/WindowManipulating.h"

namespace mosaro {

// Reads and moves the frontmost application's focused window through the accessibility interface.
class AXWindowManipulator : public WindowManipulating {
public:
    // Bounds every call on an application or window element, so a hung application cannot
    // stall the trigger for long.
    static constexpr float messagingTimeout = 1.0f;

    AXWindowManipulator(Accessibility& accessibility, const ScreenList& screens);

    Expected<std::optional<FocusedWindow>, WindowManipulationError> focusedWindow() override;
    Status<WindowManipulationError> move(const FocusedWindow& window, const Rect& frame) override;

    // One attribute: nothing when the element has no value for it, axCallFailed on other errors.
    Expected<std::optional<AXValue>, WindowManipulationError> copyAttribute(const AXElementRef& element,
                                                                            const QString& attribute);
    // The window's frame in screen coordinates, or nothing when position or size is unreadable.
    std::optional<Rect> readFrame(const AXElementRef& window);
    // Writes one attribute; a failure is logged and returned as axCallFailed.
    Status<WindowManipulationError> setAttribute(const AXElementRef& element, const QString& attribute,
                                                 const AXValue& value);
    // Puts the window back at its original frame (screen coordinates); failures are only logged.
    void restoreFrame(const AXElementRef& window, const Rect& originalFrame);

private:
    Accessibility& m_ax;
    const ScreenList& m_screens;
};

} // namespace mosaro
