// The rest of the desktop matrix, for `make test-desktops`: managers that CI leaves out to stay lean.

#include "support/x11/DesktopMatrix.h"

using namespace mosaro::test;

TEST_P(DesktopMatrixTest, EveryClientLandsOnItsCell)
{
    placeEveryClient();
}

INSTANTIATE_TEST_SUITE_P(MoreDesktops, DesktopMatrixTest,
                         ::testing::ValuesIn(desktopList("fluxbox,herbstluftwm,awesome")), desktopName);
