#pragma once

#include <QString>
#include <QTime>

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

// What the benchmarks that measure the shipped program from outside share: a figure's median,
// p95 and maximum, and the time of a line of the program's log.
namespace mosaro::bench {

struct Figure {
    std::vector<double> values;
    double at(double q) const
    {
        if (values.empty())
            return NAN;
        std::vector<double> v = values;
        std::sort(v.begin(), v.end());
        return v[std::min(v.size() - 1, std::size_t(std::lround(q * double(v.size() - 1))))];
    }
    QString text() const
    {
        return QStringLiteral("%1 / %2 / %3").arg(at(0.5), 0, 'f', 1).arg(at(0.95), 0, 'f', 1).arg(at(1.0), 0, 'f', 1);
    }
};

// Milliseconds since midnight, the log's clock (which has no finer unit).
inline double wallClock()
{
    return QTime::currentTime().msecsSinceStartOfDay();
}

// The time of the first log line holding the text after `from` characters of the log.
inline std::optional<double> loggedAt(const QString& log, const QString& text, qsizetype from)
{
    const qsizetype at = log.indexOf(text, from);
    if (at < 0)
        return std::nullopt;
    const qsizetype line = log.lastIndexOf(QLatin1Char('\n'), at) + 1;
    const QTime time = QTime::fromString(log.mid(line, 12), QStringLiteral("HH:mm:ss.zzz"));
    return time.isValid() ? std::optional<double>(time.msecsSinceStartOfDay()) : std::nullopt;
}

} // namespace mosaro::bench
