#pragma once

#include "Platform/Geometry.h"

#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <variant>

namespace mosaro {

// Status codes of the accessibility calls, with the values the window-control logic tests for.
using AXError = std::int32_t;
namespace AXErrorCode {
inline constexpr AXError success = 0;
inline constexpr AXError failure = -25200;
inline constexpr AXError illegalArgument = -25201;
inline constexpr AXError invalidUIElement = -25202;
inline constexpr AXError cannotComplete = -25204;
inline constexpr AXError attributeUnsupported = -25205;
inline constexpr AXError notImplemented = -25208;
inline constexpr AXError apiDisabled = -25211;
inline constexpr AXError noValue = -25212;
} // namespace AXErrorCode

// Attribute names.
namespace AXAttribute {
inline const QString focusedWindow = QStringLiteral("AXFocusedWindow");
inline const QString title = QStringLiteral("AXTitle");
inline const QString minimized = QStringLiteral("AXMinimized");
inline const QString fullScreen = QStringLiteral("AXFullScreen");
inline const QString position = QStringLiteral("AXPosition");
inline const QString size = QStringLiteral("AXSize");
} // namespace AXAttribute

// An application or window as the accessibility layer knows it; opaque to the logic above it.
class AXElement {
public:
    virtual ~AXElement() = default;
};
using AXElementRef = std::shared_ptr<AXElement>;

// A wrapped geometry value: point (kind 1) or size (kind 2).
struct AXGeometry {
    enum class Kind {
        point = 1,
        size = 2
    };
    Kind kind = Kind::point;
    double a = 0; // x or width
    double b = 0; // y or height
    friend bool operator==(const AXGeometry&, const AXGeometry&) = default;
};

// An attribute value: a boolean, a text, a wrapped geometry value or an element.
using AXValue = std::variant<bool, QString, AXGeometry, AXElementRef>;

// The accessibility interface to other applications' windows. Positions are in accessibility
// coordinates: origin at the top-left of the primary display, y down.
class Accessibility {
public:
    virtual ~Accessibility() = default;

    virtual bool isProcessTrusted() = 0;
    // The process of the frontmost application, or none.
    virtual std::optional<std::int32_t> frontmostApplicationProcessID() = 0;
    virtual std::int32_t currentProcessID() = 0;

    virtual AXElementRef createApplicationElement(std::int32_t processID) = 0;
    virtual AXError setMessagingTimeout(const AXElementRef& element, float seconds) = 0;
    virtual AXError copyAttributeValue(const AXElementRef& element, const QString& attribute,
                                       std::optional<AXValue>& value) = 0;
    virtual AXError isAttributeSettable(const AXElementRef& element, const QString& attribute, bool& settable) = 0;
    virtual AXError setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value) = 0;

    // Wrapping may give nothing (non-finite values).
    virtual std::optional<AXValue> createValue(Point point);
    virtual std::optional<AXValue> createValue(Size size);
};

} // namespace mosaro
