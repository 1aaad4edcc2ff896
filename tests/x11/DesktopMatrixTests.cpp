// The desktops people use: the real application under each window manager that CI covers,
// placing an xterm, an xlogo and a GTK window with client-side decorations, as a plain window, a
// maximized one and one next to a dock. Every committed outer frame is compared with the frame of
// the grid region, allowing only the window's size increments.

#include "support/x11/DesktopMatrix.h"

#include "Diagnostics/LogMessages.h"

using namespace mosaro;
using namespace mosaro::test;

TEST_P(DesktopMatrixTest, EveryClientLandsOnItsCell)
{
    placeEveryClient();
}

INSTANTIATE_TEST_SUITE_P(Desktops, DesktopMatrixTest, ::testing::ValuesIn(desktopList("openbox,xfwm4,icewm,i3")),
                         desktopName);
