#include <cstdio>

int main()
{
    std::fputs("mosaro: the X11 desktop layer (global trigger, overlay panel, window placement) is not built yet.\n"
               "mosaro: this build holds the platform-free core only; run `make test` to exercise it.\n",
               stderr);
    return 1;
}
