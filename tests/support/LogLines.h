#pragma once

#include "Diagnostics/Log/Log.h"

#include <QStringList>

namespace mosaro::test {

// The messages of one log category that the process's log store holds, oldest first; with
// their level in front ("error: ...") when asked.
inline QStringList loggedMessages(const QString& category, bool withLevel = false)
{
    QStringList out;
    for (const auto& e : Log::Store::shared().entries())
        if (e.kind == Log::Entry::Kind::message && e.category == category)
            out << (withLevel ? Log::levelName(e.level) + QStringLiteral(": ") : QString()) + e.message;
    return out;
}

} // namespace mosaro::test
