#pragma once

#include "Platform/System.h"

#include <QStringList>

namespace mosaro {

// Wayland has no core bell: the beep is the freedesktop sound theme's "bell" event, played by
// whichever player the desktop has (canberra-gtk-play by event id, else pw-play or paplay with the
// theme's file). Without one, one log line says so and the beep is silent.
class WaylandBeeper : public Beeper {
public:
    void beep() override;
    // What a beep runs: the program and its arguments; empty when nothing can play it.
    static QStringList command();

private:
    bool m_reported = false;
};

} // namespace mosaro
