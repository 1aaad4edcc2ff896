#pragma once

#include "Platform/System.h"
#include "Platform/X11/X11Connection.h"

namespace mosaro {

// The X server's bell at the user's configured volume.
class X11Beeper : public Beeper {
public:
    explicit X11Beeper(X11Connection& connection) : m_connection(connection) {}
    void beep() override;

private:
    X11Connection& m_connection;
};

} // namespace mosaro
