#include "Platform/Linux/JournalLog.h"

#include <QFile>
#include <QFileInfo>

#include <systemd/sd-id128.h>
#include <systemd/sd-journal.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <sys/uio.h>
#include <unistd.h>

namespace mosaro {

namespace {

QByteArray field(const char* name, const QByteArray& value)
{
    return QByteArray(name) + '=' + value;
}

int priorityOf(const Log::Entry& entry)
{
    if (entry.kind != Log::Entry::Kind::message)
        return LOG_DEBUG;
    switch (entry.level) {
    case Log::Level::error:
        return LOG_ERR;
    case Log::Level::info:
        return LOG_INFO;
    case Log::Level::debug:
        return LOG_DEBUG;
    }
    return LOG_INFO;
}

QString errorText(int negativeErrno)
{
    return QString::fromLocal8Bit(std::strerror(-negativeErrno));
}

struct JournalCloser {
    void operator()(sd_journal* journal) const { sd_journal_close(journal); }
};
using JournalHandle = std::unique_ptr<sd_journal, JournalCloser>;

// The value of a field of the current entry, or nothing when the entry lacks it.
std::optional<QByteArray> fieldValue(sd_journal* journal, const char* name)
{
    const void* data = nullptr;
    size_t length = 0;
    if (sd_journal_get_data(journal, name, &data, &length) < 0)
        return std::nullopt;
    const std::size_t prefix = std::strlen(name) + 1; // "NAME="
    if (length < prefix)
        return std::nullopt;
    return QByteArray(static_cast<const char*>(data) + prefix, qsizetype(length - prefix));
}

} // namespace

std::vector<QByteArray> journalFields(const Log::Entry& entry)
{
    std::vector<QByteArray> fields;
    const QByteArray name = entry.signpostName.toUtf8();
    switch (entry.kind) {
    case Log::Entry::Kind::message: {
        // Private arguments reach the journal only while private data is switched on; the
        // redacted text travels beside them, for the report that reads the journal back.
        const QString shown = Log::shownMessage(entry);
        fields.push_back(field("MESSAGE", shown.toUtf8()));
        fields.push_back(field(JournalFields::kind, "message"));
        if (shown != entry.message)
            fields.push_back(field(JournalFields::redactedMessage, entry.message.toUtf8()));
        break;
    }
    case Log::Entry::Kind::signpostBegin:
        fields.push_back(field("MESSAGE", "signpost begin " + name));
        fields.push_back(field(JournalFields::kind, "signpost-begin"));
        break;
    case Log::Entry::Kind::signpostEnd:
        fields.push_back(
            field("MESSAGE",
                  "signpost end " + name + (entry.message.isEmpty() ? QByteArray() : ": " + entry.message.toUtf8())));
        fields.push_back(field(JournalFields::kind, "signpost-end"));
        break;
    }
    if (entry.kind != Log::Entry::Kind::message) {
        fields.push_back(field(JournalFields::signpostName, name));
        fields.push_back(field(JournalFields::signpostID, QByteArray::number(quint64(entry.signpostID))));
    }
    fields.push_back(field("PRIORITY", QByteArray::number(priorityOf(entry))));
    fields.push_back(field("SYSLOG_IDENTIFIER", "mosaro"));
    fields.push_back(field(JournalFields::subsystem, Log::subsystem.toUtf8()));
    fields.push_back(field(JournalFields::category, entry.category.toUtf8()));
    return fields;
}

void installJournalSink()
{
    Log::Store::shared().addSink([](const Log::Entry& entry) {
        const std::vector<QByteArray> fields = journalFields(entry);
        std::vector<iovec> items;
        items.reserve(fields.size());
        for (const QByteArray& f : fields)
            items.push_back({const_cast<char*>(f.constData()), std::size_t(f.size())});
        // Without a journal daemon this fails at once; the in-memory store still has the entry.
        sd_journal_sendv(items.data(), int(items.size()));
    });
}

bool journalIsReachable()
{
    return QFileInfo::exists(QStringLiteral("/run/systemd/journal/socket"));
}

JournalLogReader::JournalLogReader() : JournalLogReader(Options{})
{}

JournalLogReader::JournalLogReader(Options options) : m_options(std::move(options))
{
    if (m_options.pid == 0)
        m_options.pid = ::getpid();
}

Expected<std::vector<LogRecord>, LogReadError> JournalLogReader::entries(const LogQuery& query) const
{
    sd_journal* raw = nullptr;
    int r = 0;
    if (m_options.files.isEmpty()) {
        r = sd_journal_open(&raw, SD_JOURNAL_LOCAL_ONLY);
    } else {
        std::vector<QByteArray> paths;
        for (const QString& file : m_options.files)
            paths.push_back(QFile::encodeName(file));
        std::vector<const char*> list;
        list.reserve(paths.size() + 1);
        for (const QByteArray& path : paths)
            list.push_back(path.constData());
        list.push_back(nullptr);
        r = sd_journal_open_files(&raw, list.data(), 0);
    }
    if (r < 0)
        return unexpected(LogReadError{errorText(r)});
    const JournalHandle journal(raw);

    // Fields of one name are alternatives; fields of different names must all match.
    const auto match = [&](const QByteArray& item) { return sd_journal_add_match(raw, item.constData(), 0); };
    r = match(field("_PID", QByteArray::number(qint64(m_options.pid))));
    sd_id128_t boot;
    if (r >= 0 && sd_id128_get_boot(&boot) >= 0) {
        char text[SD_ID128_STRING_MAX];
        r = match(field("_BOOT_ID", sd_id128_to_string(boot, text)));
    }
    if (r >= 0)
        r = match(field(JournalFields::subsystem, query.subsystem.toUtf8()));
    for (const QString& category : query.categories)
        if (r >= 0)
            r = match(field(JournalFields::category, category.toUtf8()));
    if (r < 0)
        return unexpected(LogReadError{errorText(r)});

    sd_journal_set_data_threshold(raw, 0);
    const std::uint64_t sinceUsec = std::uint64_t(std::max<qint64>(0, query.since.toMSecsSinceEpoch())) * 1000;
    r = sd_journal_seek_realtime_usec(raw, sinceUsec);
    if (r < 0)
        return unexpected(LogReadError{errorText(r)});

    std::vector<LogRecord> records;
    while ((r = sd_journal_next(raw)) > 0) {
        std::uint64_t usec = 0;
        if (sd_journal_get_realtime_usec(raw, &usec) < 0 || usec < sinceUsec)
            continue;
        const auto category = fieldValue(raw, JournalFields::category);
        if (!category || !query.categories.contains(QString::fromUtf8(*category)))
            continue;
        LogRecord record;
        record.time = QDateTime::fromMSecsSinceEpoch(qint64(usec / 1000));
        record.category = QString::fromUtf8(*category);
        const auto kind = fieldValue(raw, JournalFields::kind);
        if (kind && *kind != "message") {
            record.kind = LogRecord::Kind::signpost;
            record.message = QString::fromUtf8(fieldValue(raw, JournalFields::signpostName).value_or(QByteArray()));
        } else {
            const auto redacted = fieldValue(raw, JournalFields::redactedMessage);
            record.message =
                QString::fromUtf8(redacted ? *redacted : fieldValue(raw, "MESSAGE").value_or(QByteArray()));
        }
        records.push_back(std::move(record));
    }
    if (r < 0)
        return unexpected(LogReadError{errorText(r)});
    return records;
}

Expected<std::vector<LogRecord>, LogReadError> ProcessLogReader::entries(const LogQuery& query) const
{
    if (!readsJournal())
        return m_memory.entries(query);
    return m_journalThenMemory.entries(query);
}

} // namespace mosaro
