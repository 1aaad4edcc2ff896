// Mosaro: a keyboard-driven window tiler for X11 desktops.

#include "App/X11/MosaroApplication.h"

int main(int argc, char** argv)
{
    return mosaro::runMosaro(argc, argv);
}
