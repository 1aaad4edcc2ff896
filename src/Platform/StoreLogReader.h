#pragma once

#include "Diagnostics/Log/Log.h"
#include "Platform/LogReader.h"

namespace mosaro {

// Reads the entries the process keeps in memory: the log where the system log cannot be read.
class StoreLogReader final : public LogReader {
public:
    explicit StoreLogReader(const Log::Store& store = Log::Store::shared()) : m_store(store) {}
    Expected<std::vector<LogRecord>, LogReadError> entries(const LogQuery& query) const override;

private:
    const Log::Store& m_store;
};

// Reads the first reader, and the second one where the first cannot see this process's entries:
// a system log that answers with nothing while the process has logged in the same window.
// An error of the first reader is the answer: the second one would only hide it.
class FallbackLogReader final : public LogReader {
public:
    FallbackLogReader(const LogReader& primary, const LogReader& fallback) : m_primary(primary), m_fallback(fallback) {}
    Expected<std::vector<LogRecord>, LogReadError> entries(const LogQuery& query) const override;

private:
    const LogReader& m_primary;
    const LogReader& m_fallback;
};

} // namespace mosaro
