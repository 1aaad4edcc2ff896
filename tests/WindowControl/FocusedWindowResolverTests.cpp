#include "WindowControl/FocusedWindowResolver.h"
#include "support/FakeScreens.h"

#include <gtest/gtest.h>
#include <unordered_set>

using namespace mosaro;
using namespace mosaro::test;

namespace {

struct StubManipulator : WindowManipulating {
    Expected<std::optional<FocusedWindow>, WindowManipulationError> answer = std::optional<FocusedWindow>();
    Expected<std::optional<FocusedWindow>, WindowManipulationError> focusedWindow() override { return answer; }
    Status<WindowManipulationError> move(const FocusedWindow&, const Rect&) override { return Ok{}; }
};

TEST(FocusedWindowResolver, PicksTheDisplayHoldingTheCentreAndPassesFailuresOn)
{
    FakeScreens screens;
    auto builtIn = screens.add({0, 0, 1440, 900}, QStringLiteral("Built-in"));
    auto external = screens.add({1440, 0, 1920, 1200}, QStringLiteral("External"));
    StubManipulator manipulator;
    const FocusedWindowResolver resolver(manipulator, screens);
    auto displayFor = [&](Rect frame) -> ScreenRef {
        FocusedWindow w;
        w.title = QStringLiteral("Notes");
        w.frame = frame;
        manipulator.answer = std::optional<FocusedWindow>(w);
        const auto result = resolver.resolve();
        EXPECT_TRUE(result.hasValue());
        if (!result.hasValue() || !result->has_value())
            return nullptr;
        EXPECT_EQ((*result)->window, w);
        return (*result)->display.screen;
    };
    EXPECT_EQ(displayFor({100, 250, 800, 600}), builtIn);
    EXPECT_EQ(displayFor({1000, 100, 1000, 600}), external); // straddling, centre (1500, 400)
    EXPECT_EQ(displayFor({1240, 100, 400, 300}), external);  // centre on the shared edge
    EXPECT_EQ(displayFor({800, 900, 400, 200}), nullptr);    // centre in the gap above the shorter display

    manipulator.answer = std::optional<FocusedWindow>();
    EXPECT_FALSE(resolver.resolve()->has_value());
    const auto error = WindowManipulationError::axCallFailed(QStringLiteral("AXFocusedWindow"), -25200);
    manipulator.answer = unexpected(error);
    EXPECT_EQ(resolver.resolve().error(), error);
}

TEST(FocusedWindow, EqualityIgnoresOnlyTheElementAndHashingUsesTheIdentifyingFields)
{
    FocusedWindow a;
    a.processID = 501;
    a.title = QStringLiteral("Notes");
    a.isResizable = true;
    a.frame = {100, 250, 800, 600};
    a.axElement = std::make_shared<AXElement>();
    FocusedWindow sameButElement = a;
    sameButElement.axElement = std::make_shared<AXElement>();
    FocusedWindow moved = a;
    moved.frame.x = 101;
    FocusedWindow untitled = a;
    untitled.title.reset();
    FocusedWindow emptyTitle = a;
    emptyTitle.title = QString();

    EXPECT_EQ(a, sameButElement);
    EXPECT_NE(a, moved);
    EXPECT_NE(untitled, emptyTitle);
    EXPECT_EQ(qHash(a), qHash(moved)); // the frame is not part of the hash
    EXPECT_EQ((std::unordered_set<FocusedWindow>{a, sameButElement, moved, untitled, emptyTitle}.size()), 4u);
}

} // namespace
