#pragma once

// The tests use the private X session under their own names.
#include "Platform/X11/X11Session.h"

namespace mosaro::test {
using X11TestSession = mosaro::X11Session;
using X11TestClient = mosaro::X11SessionClient;
using mosaro::testClientPath;
using mosaro::X11MonitorSpec;
} // namespace mosaro::test
