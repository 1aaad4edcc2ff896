// Mosaro: a keyboard-driven window tiler for Linux desktops (X11 and Wayland).

#include "App/Root/MosaroApplication.h"

int main(int argc, char** argv)
{
    return mosaro::runMosaro(argc, argv);
}
