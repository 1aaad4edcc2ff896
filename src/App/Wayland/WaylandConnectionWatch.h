#pragma once

#include <functional>

namespace mosaro {

// Qt ends the process itself (_exit) right after it says its Wayland connection broke, and when
// the compositor goes away that may come before its channel's own end is read. Qt's message is
// the last moment to say so and to run the termination path: `broke` runs then, once. One watch
// at a time; Qt's previous message handler keeps receiving every message.
class WaylandConnectionWatch {
public:
    explicit WaylandConnectionWatch(std::function<void()> broke);
    ~WaylandConnectionWatch();
    WaylandConnectionWatch(const WaylandConnectionWatch&) = delete;
    WaylandConnectionWatch& operator=(const WaylandConnectionWatch&) = delete;
};

} // namespace mosaro
