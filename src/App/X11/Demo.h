#pragma once

#include <QString>

namespace mosaro {

// Runs Mosaro on a private X server with a window manager, two monitors and two client
// windows, drives a scripted session through XTEST (trigger, moves, extend, resize, commit, a
// jump to the other monitor) and writes screenshots and a log of what happened to outDir.
// Returns the process exit code.
int runDemo(const QString& appPath, const QString& outDir);

} // namespace mosaro
