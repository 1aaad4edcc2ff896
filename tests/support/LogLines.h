#pragma once

#include "Diagnostics/Log/Log.h"

#include <QStringList>

namespace mosaro::test {

// The messages of one log category that the process's log store holds, oldest first.
inline QStringList loggedMessages(const QString& category)
{
    QStringList out;
    for (const auto& e : Log::Store::shared().entries())
        if (e.kind == Log::Entry::Kind::message && e.category == category)
            out << e.message;
    return out;
}

} // namespace mosaro::test
