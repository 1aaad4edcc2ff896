#pragma once

#include <QString>
#include <QStringList>
#include <ostream>

// Failure messages that show Qt texts as text rather than as bytes.
inline void PrintTo(const QString& text, std::ostream* out) // NOLINT(readability-identifier-naming)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QStringList& list, std::ostream* out) // NOLINT(readability-identifier-naming)
{
    *out << '{';
    for (qsizetype i = 0; i < list.size(); ++i) {
        *out << (i ? ", " : "");
        PrintTo(list[i], out);
    }
    *out << '}';
}
