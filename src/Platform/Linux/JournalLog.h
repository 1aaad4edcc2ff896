#pragma once

#include "Diagnostics/Log/Log.h"
#include "Platform/LogReader.h"
#include "Platform/StoreLogReader.h"

#include <QByteArray>
#include <QStringList>
#include <sys/types.h>
#include <vector>

namespace mosaro {

// The fields Mosaro adds to each journal entry, written by the sink and read back by the reader.
namespace JournalFields {
inline constexpr const char* subsystem = "MOSARO_SUBSYSTEM";
inline constexpr const char* category = "MOSARO_CATEGORY";
// "message", "signpost-begin" or "signpost-end": readers of messages skip the signposts.
inline constexpr const char* kind = "MOSARO_KIND";
inline constexpr const char* signpostName = "MOSARO_SIGNPOST_NAME";
inline constexpr const char* signpostID = "MOSARO_SIGNPOST_ID";
// The message with its private arguments redacted, present only where MESSAGE shows them.
inline constexpr const char* redactedMessage = "MOSARO_REDACTED_MESSAGE";
} // namespace JournalFields

// The journal entry for a log entry, as "FIELD=value" items.
std::vector<QByteArray> journalFields(const Log::Entry& entry);

// Sends every log entry of the process to the journal, signposts included.
void installJournalSink();

// True when a journal daemon takes entries on this machine.
bool journalIsReachable();

// Reads this process's entries back from the journal.
class JournalLogReader final : public LogReader {
public:
    struct Options {
        // Journal files to read; empty for the journals of this machine.
        QStringList files;
        // The process whose entries are read, in the current boot.
        pid_t pid = 0;
    };
    JournalLogReader();
    explicit JournalLogReader(Options options);

    Expected<std::vector<LogRecord>, LogReadError> entries(const LogQuery& query) const override;

private:
    Options m_options;
};

// This process's recent log: the journal where a journal daemon runs and shows this process's
// entries, else the entries the process keeps in memory.
class ProcessLogReader final : public LogReader {
public:
    ProcessLogReader() = default;
    Expected<std::vector<LogRecord>, LogReadError> entries(const LogQuery& query) const override;
    // Whether reads go to the journal first (a journal daemon runs here).
    static bool readsJournal() { return journalIsReachable(); }

private:
    JournalLogReader m_journal;
    StoreLogReader m_memory;
    FallbackLogReader m_journalThenMemory{m_journal, m_memory};
};

} // namespace mosaro
