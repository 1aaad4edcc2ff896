#include "WindowControl/AXWindowManipulator.h"

#include "Diagnostics/Log/Log.h"
#include "Diagnostics/Log/LogMessages.h"
#include "Grid/ScreenGeometry.h"

#include <cmath>

namespace mosaro {

namespace {

// Reads that fail with one of these mean "no value", not a broken call.
bool isAbsentCode(AXError code)
{
    return code == AXErrorCode::noValue || code == AXErrorCode::notImplemented ||
           code == AXErrorCode::attributeUnsupported;
}

std::optional<AXGeometry> unwrapGeometry(const std::optional<AXValue>& value, AXGeometry::Kind kind)
{
    if (!value)
        return std::nullopt;
    const auto* geometry = std::get_if<AXGeometry>(&*value);
    if (!geometry || geometry->kind != kind)
        return std::nullopt;
    // An application reporting NaN or infinity has no usable frame.
    if (!std::isfinite(geometry->a) || !std::isfinite(geometry->b))
        return std::nullopt;
    return *geometry;
}

const char* const pointWrapAPI = "AXValueCreate(.cgPoint)";
const char* const sizeWrapAPI = "AXValueCreate(.cgSize)";

} // namespace

AXWindowManipulator::AXWindowManipulator(Accessibility& accessibility, const ScreenList& screens)
    : m_ax(accessibility), m_screens(screens)
{}

Expected<std::optional<FocusedWindow>, WindowManipulationError> AXWindowManipulator::focusedWindow()
{
    const auto& log = Log::windowmanager();
    if (!m_ax.isProcessTrusted())
        return unexpected(WindowManipulationError::accessibilityPermissionMissing());

    const auto frontmost = m_ax.frontmostApplicationProcessID();
    if (!frontmost) {
        log.info(LogMessages::noFrontmostApp);
        return std::optional<FocusedWindow>();
    }
    const std::int32_t processID = *frontmost;
    if (processID == m_ax.currentProcessID()) {
        log.info(LogMessages::selfFrontmost);
        return std::optional<FocusedWindow>();
    }

    const AXElementRef application = m_ax.createApplicationElement(processID);
    m_ax.setMessagingTimeout(application, messagingTimeout);

    auto focused = copyAttribute(application, AXAttribute::focusedWindow);
    if (!focused)
        return unexpected(focused.error());
    const AXElementRef* windowRef = focused->has_value() ? std::get_if<AXElementRef>(&**focused) : nullptr;
    // A value that is not an element (or an empty one) is as good as no focused window.
    if (!windowRef || !*windowRef) {
        log.info(LogMessages::noAXFocusedWindow);
        return std::optional<FocusedWindow>();
    }
    const AXElementRef window = *windowRef;
    m_ax.setMessagingTimeout(window, messagingTimeout);

    FocusedWindow result;
    result.processID = processID;
    result.axElement = window;

    if (const auto title = copyAttribute(window, AXAttribute::title); title && *title) {
        if (const auto* text = std::get_if<QString>(&**title))
            result.title = *text;
    }
    auto readFlag = [&](const QString& attribute) {
        const auto value = copyAttribute(window, attribute);
        if (!value || !*value)
            return false;
        const auto* flag = std::get_if<bool>(&**value);
        return flag ? *flag : false;
    };
    result.isMinimized = readFlag(AXAttribute::minimized);
    result.isFullscreen = readFlag(AXAttribute::fullScreen);

    bool settable = false;
    const AXError settableCode = m_ax.isAttributeSettable(window, AXAttribute::size, settable);
    result.isResizable = settableCode == AXErrorCode::success && settable;

    const auto frame = readFrame(window);
    if (!frame) {
        log.info(LogMessages::frameUnreadable);
        return std::optional<FocusedWindow>();
    }
    result.frame = *frame;
    return std::optional<FocusedWindow>(std::move(result));
}

Expected<std::optional<AXValue>, WindowManipulationError>
AXWindowManipulator::copyAttribute(const AXElementRef& element, const QString& attribute)
{
    std::optional<AXValue> value;
    const AXError code = m_ax.copyAttributeValue(element, attribute, value);
    if (code == AXErrorCode::success)
        return value;
    if (isAbsentCode(code))
        return std::optional<AXValue>();
    return unexpected(WindowManipulationError::axCallFailed(attribute, code));
}

std::optional<Rect> AXWindowManipulator::readFrame(const AXElementRef& window)
{
    const auto position = copyAttribute(window, AXAttribute::position);
    if (!position || !*position)
        return std::nullopt;
    const auto size = copyAttribute(window, AXAttribute::size);
    if (!size || !*size)
        return std::nullopt;
    const auto point = unwrapGeometry(*position, AXGeometry::Kind::point);
    const auto extent = unwrapGeometry(*size, AXGeometry::Kind::size);
    if (!point || !extent)
        return std::nullopt;
    const double primaryHeight = primaryScreenHeight(m_screens);
    return Rect{point->a, primaryHeight - point->b - extent->b, extent->a, extent->b};
}

Status<WindowManipulationError> AXWindowManipulator::setAttribute(const AXElementRef& element, const QString& attribute,
                                                                  const AXValue& value)
{
    const AXError code = m_ax.setAttributeValue(element, attribute, value);
    if (code == AXErrorCode::success)
        return Ok{};
    Log::windowmanager().error(LogMessages::axSetFailed, attribute, code);
    return unexpected(WindowManipulationError::axCallFailed(attribute, code));
}

Status<WindowManipulationError> AXWindowManipulator::move(const FocusedWindow& window, const Rect& frame)
{
    if (window.isFullscreen)
        return unexpected(WindowManipulationError::windowNotResizable(NonResizableReason::fullscreen));
    if (window.isMinimized)
        return unexpected(WindowManipulationError::windowNotResizable(NonResizableReason::minimized));
    if (!window.isResizable)
        return unexpected(WindowManipulationError::windowNotResizable(NonResizableReason::systemDialog));

    const Rect target = flippedRect(frame, primaryScreenHeight(m_screens));
    const auto position = m_ax.createValue(target.origin());
    if (!position)
        return unexpected(WindowManipulationError::axCallFailed(pointWrapAPI, AXErrorCode::failure));
    const auto size = m_ax.createValue(target.size());
    if (!size)
        return unexpected(WindowManipulationError::axCallFailed(sizeWrapAPI, AXErrorCode::failure));

    // Position first so the size fits where the window will be, then position again because
    // some applications shift the window while resizing it.
    if (auto status = setAttribute(window.axElement, AXAttribute::position, *position); !status)
        return status;
    if (auto status = setAttribute(window.axElement, AXAttribute::size, *size); !status) {
        restoreFrame(window.axElement, window.frame);
        return status;
    }
    if (auto status = setAttribute(window.axElement, AXAttribute::position, *position); !status) {
        restoreFrame(window.axElement, window.frame);
        return status;
    }
    return Ok{};
}

void AXWindowManipulator::restoreFrame(const AXElementRef& window, const Rect& originalFrame)
{
    Log::windowmanager().error(LogMessages::restoringFrame);
    const Rect original = flippedRect(originalFrame, primaryScreenHeight(m_screens));
    const auto position = m_ax.createValue(original.origin());
    const auto size = m_ax.createValue(original.size());
    if (!position || !size)
        return;
    // Each write is attempted even if an earlier one failed; setAttribute logs the failures.
    (void)setAttribute(window, AXAttribute::position, *position);
    (void)setAttribute(window, AXAttribute::size, *size);
    (void)setAttribute(window, AXAttribute::position, *position);
}

} // namespace mosaro
