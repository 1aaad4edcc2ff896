#pragma once

#include "Platform/Expected.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <vector>

namespace mosaro {

// One entry read back from the log of this process.
struct LogRecord {
    enum class Kind {
        message,
        signpost, // interval begin or end; readers of messages skip these
    };
    Kind kind = Kind::message;
    QDateTime time;
    QString category;
    QString message; // composed, private arguments redacted
    friend bool operator==(const LogRecord&, const LogRecord&) = default;
};

// What to read: the entries of one subsystem in the given categories, from a moment onward.
struct LogQuery {
    QDateTime since;
    QString subsystem;
    QStringList categories;
};

struct LogReadError {
    QString description;
    friend bool operator==(const LogReadError&, const LogReadError&) = default;
};

// The process's own recent log, as the system keeps it.
class LogReader {
public:
    virtual ~LogReader() = default;
    // The matching entries, oldest first, or why the log could not be read.
    virtual Expected<std::vector<LogRecord>, LogReadError> entries(const LogQuery& query) const = 0;
};

} // namespace mosaro
