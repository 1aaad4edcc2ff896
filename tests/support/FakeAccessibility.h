#pragma once

#include "Platform/Accessibility.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace mosaro::test {

// An application or window with scriptable attributes and failures.
struct FakeElement : AXElement {
    std::map<QString, AXValue> attributes; // missing ones read as "no value"
    std::map<QString, AXError> readErrors; // reads of the attribute fail with this code
    bool sizeSettable = true;
    AXError settableError = 0;                             // asking about AXSize fails with this code
    std::map<QString, std::deque<AXError>> scriptedWrites; // per-write results, used up in order
    std::optional<float> messagingTimeout;
};

class FakeAccessibility : public Accessibility {
public:
    bool trusted = true;
    std::optional<std::int32_t> frontmostPID = 501;
    std::int32_t currentPID = 100;
    std::shared_ptr<FakeElement> app = std::make_shared<FakeElement>(); // every process's element
    bool failPointWrap = false;
    bool failSizeWrap = false;
    std::vector<std::pair<QString, AXValue>> writes; // every write attempt, in order

    // A window at an accessibility position with a size, focused in the application.
    std::shared_ptr<FakeElement> addFocusedWindow(Point position, Size size)
    {
        auto window = std::make_shared<FakeElement>();
        window->attributes = {{AXAttribute::position, AXGeometry{AXGeometry::Kind::point, position.x, position.y}},
                              {AXAttribute::size, AXGeometry{AXGeometry::Kind::size, size.width, size.height}},
                              {AXAttribute::title, QStringLiteral("Report.txt")},
                              {AXAttribute::minimized, false},
                              {AXAttribute::fullScreen, false}};
        app->attributes[AXAttribute::focusedWindow] = AXElementRef(window);
        return window;
    }

    bool isProcessTrusted() override { return trusted; }
    std::optional<std::int32_t> frontmostApplicationProcessID() override { return frontmostPID; }
    std::int32_t currentProcessID() override { return currentPID; }
    AXElementRef createApplicationElement(std::int32_t) override { return app; }

    AXError setMessagingTimeout(const AXElementRef& element, float seconds) override
    {
        fake(element).messagingTimeout = seconds;
        return 0;
    }
    AXError copyAttributeValue(const AXElementRef& element, const QString& attribute,
                               std::optional<AXValue>& value) override
    {
        auto& e = fake(element);
        if (e.readErrors.contains(attribute))
            return e.readErrors[attribute];
        if (!e.attributes.contains(attribute))
            return AXErrorCode::noValue;
        value = e.attributes[attribute];
        return 0;
    }
    AXError isAttributeSettable(const AXElementRef& element, const QString&, bool& settable) override
    {
        settable = fake(element).sizeSettable;
        return fake(element).settableError;
    }
    AXError setAttributeValue(const AXElementRef& element, const QString& attribute, const AXValue& value) override
    {
        auto& script = fake(element).scriptedWrites[attribute];
        const AXError result = script.empty() ? 0 : script.front();
        if (!script.empty())
            script.pop_front();
        writes.emplace_back(attribute, value);
        if (result == 0)
            fake(element).attributes[attribute] = value;
        return result;
    }
    std::optional<AXValue> createValue(Point p) override
    {
        return failPointWrap ? std::nullopt : Accessibility::createValue(p);
    }
    std::optional<AXValue> createValue(Size s) override
    {
        return failSizeWrap ? std::nullopt : Accessibility::createValue(s);
    }

private:
    static FakeElement& fake(const AXElementRef& element) { return dynamic_cast<FakeElement&>(*element); }
};

inline AXValue axPoint(double x, double y)
{
    return AXGeometry{AXGeometry::Kind::point, x, y};
}
inline AXValue axSize(double w, double h)
{
    return AXGeometry{AXGeometry::Kind::size, w, h};
}

} // namespace mosaro::test
