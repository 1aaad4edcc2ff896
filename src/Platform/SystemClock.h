#pragma once

#include "Platform/System.h"

namespace mosaro {

// The wall clock, in the user's time zone.
class SystemClock final : public Clock {
public:
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

} // namespace mosaro
