#include "Grid/Sizing/GridSizeChoice.h"

#include <gtest/gtest.h>

using namespace mosaro;

namespace {
Preferences withOverride(bool perDisplayMode, const QString& key, GridDimensions dims)
{
    Preferences prefs;
    prefs.proSettings.perDisplayMode = perDisplayMode;
    prefs.proSettings.perDisplayGrids.overrides[key] = dims;
    return prefs;
}
} // namespace

TEST(GridSizeChoice, PicksTheDisplaysOwnSizeOnlyInPerDisplayModeAndClamps)
{
    const Preferences on = withOverride(true, QStringLiteral("Alpha"), {4, 3});
    EXPECT_EQ(chooseGridDimensions(on, QStringLiteral("Alpha")), (GridDimensions{4, 3}));
    EXPECT_EQ(chooseGridDimensions(on, QStringLiteral("Beta")), (GridDimensions{3, 2}));
    EXPECT_EQ(chooseGridDimensions(on, QStringLiteral("alpha")), (GridDimensions{3, 2}));
    EXPECT_EQ(chooseGridDimensions(withOverride(false, QStringLiteral("Alpha"), {4, 3}), QStringLiteral("Alpha")),
              (GridDimensions{3, 2}));
    EXPECT_EQ(chooseGridDimensions(withOverride(true, QString(), {5, 5}), QString()), (GridDimensions{3, 2}));

    EXPECT_EQ(chooseGridDimensions(withOverride(true, QStringLiteral("Alpha"), {40, 25}), QStringLiteral("Alpha")),
              (GridDimensions{30, 20}));
    Preferences tiny;
    tiny.proSettings.globalGrid = {0, 50};
    EXPECT_EQ(chooseGridDimensions(tiny, QStringLiteral("Alpha")), (GridDimensions{1, 20}));
}
