#include "WindowControl/FocusedWindowResolver.h"

#include <gtest/gtest.h>
#include <unordered_set>

using namespace mosaro;

namespace {

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
