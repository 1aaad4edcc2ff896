#pragma once

// The XKB protocol header names a field after a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit
