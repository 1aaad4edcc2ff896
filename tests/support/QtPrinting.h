#pragma once

// Qt texts in test failure messages as text rather than bytes. GoogleTest finds these by the
// argument's namespace, which for Qt's types is the global one.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <ostream>

// NOLINTBEGIN(readability-identifier-naming): the names GoogleTest looks for
inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QStringList& list, std::ostream* out)
{
    *out << '{' << list.join(QStringLiteral(" | ")).toStdString() << '}';
}
// NOLINTEND(readability-identifier-naming)
