#include "Platform/X11/X11Beeper.h"

namespace mosaro {

void X11Beeper::beep()
{
    if (!m_connection.isConnected())
        return;
    xcb_bell(m_connection.connection(), 0);
    m_connection.flush();
}

} // namespace mosaro
