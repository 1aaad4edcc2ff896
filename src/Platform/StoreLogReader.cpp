#include "Platform/StoreLogReader.h"

namespace mosaro {

Expected<std::vector<LogRecord>, LogReadError> StoreLogReader::entries(const LogQuery& query) const
{
    std::vector<LogRecord> records;
    if (query.subsystem != Log::subsystem)
        return records;
    for (const Log::Entry& entry : m_store.entriesSince(query.since)) {
        if (!query.categories.contains(entry.category))
            continue;
        LogRecord record;
        record.time = entry.time;
        record.category = entry.category;
        if (entry.kind == Log::Entry::Kind::message) {
            // Composed afresh: the stored text shows private arguments when the reveal switch is on.
            record.message = Log::compose(entry.format, entry.args, /*revealPrivate*/ false);
        } else {
            record.kind = LogRecord::Kind::signpost;
            record.message = entry.signpostName;
        }
        records.push_back(std::move(record));
    }
    return records;
}

Expected<std::vector<LogRecord>, LogReadError> FallbackLogReader::entries(const LogQuery& query) const
{
    auto primary = m_primary.entries(query);
    if (!primary || !primary->empty())
        return primary;
    return m_fallback.entries(query);
}

} // namespace mosaro
