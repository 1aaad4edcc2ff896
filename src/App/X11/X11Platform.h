#pragma once

#include "App/Desktop/DesktopPlatform.h"

#include <QString>

#include <memory>

namespace mosaro {

// Before Qt starts (it aborts when it cannot connect): whether the X display opens, and if not
// the line that says why.
bool probeX11Display(QString* error);

// The X11 desktop: EWMH windows, RandR displays, XKB keys, key grabs and the panel's windows,
// over one connection. Null, with the reason in `error`, when the display is unusable. Needs the
// QApplication.
std::unique_ptr<DesktopPlatform> makeX11Platform(QString* error);

// `mosaro --check` on X11: one line per finding on standard output; 0 without errors, else 1.
// Needs no QApplication (it makes a core one when none exists) and writes nothing.
int runX11DesktopCheck(int argc, char** argv);

} // namespace mosaro
