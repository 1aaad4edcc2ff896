#include "Diagnostics/Log/Log.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <unordered_map>

namespace mosaro::Log {

namespace {
std::atomic<Level> g_minimumLevel{Level::info};
std::atomic<bool> g_signposts{true};
std::atomic<bool> g_revealPrivate{false};
std::atomic<std::uint64_t> g_nextSignpostID{1};

// The format texts of the handles' callers are string literals: one shared QString per format
// instead of a copy in every entry.
QString internedFormat(const char* format)
{
    // Never destroyed, like the store and the handles: the log stays usable while exit() runs.
    static std::mutex mutex;
    static auto& table = *new std::unordered_map<const char*, std::pair<QByteArray, QString>>;
    std::lock_guard lock(mutex);
    auto it = table.find(format);
    // The same address may hold another text later when a caller passes a temporary.
    if (it != table.end() && std::strcmp(it->second.first.constData(), format) == 0)
        return it->second.second;
    if (table.size() >= 512)
        table.clear();
    QByteArray bytes(format);
    QString text = QString::fromUtf8(bytes);
    table[format] = {std::move(bytes), text};
    return text;
}

// The header and the characters of a text's buffer.
std::size_t stringFootprint(const QString& text)
{
    if (text.isNull())
        return 0;
    return 32 + sizeof(char16_t) * std::size_t(std::max(text.capacity(), text.size()) + 1);
}

} // namespace

QString levelName(Level level)
{
    switch (level) {
    case Level::debug:
        return QStringLiteral("debug");
    case Level::info:
        return QStringLiteral("info");
    case Level::error:
        return QStringLiteral("error");
    }
    return {};
}

QString truncatedArgument(const QString& text)
{
    // At most three UTF-8 bytes per UTF-16 unit: short texts need no counting.
    if (std::size_t(text.size()) * 3 <= maxArgumentBytes)
        return text;
    std::size_t bytes = 0;
    qsizetype cut = 0;
    const qsizetype n = text.size();
    while (cut < n) {
        const char16_t c = text[cut].unicode();
        std::size_t width = 1;
        qsizetype units = 1;
        if (c >= 0x800) {
            width = 3;
            if (QChar::isHighSurrogate(c) && cut + 1 < n && QChar::isLowSurrogate(text[cut + 1].unicode())) {
                width = 4;
                units = 2;
            }
        } else if (c >= 0x80) {
            width = 2;
        }
        if (bytes + width > maxArgumentBytes)
            break;
        bytes += width;
        cut += units;
    }
    if (cut == n)
        return text;
    return text.left(cut) + QStringLiteral("…");
}

Store& Store::shared()
{
    // Never destroyed: whatever logs while the process exits still finds it.
    static Store& store = *new Store;
    return store;
}

std::size_t Store::footprint(const Entry& entry)
{
    // The category, the format and the signpost name are shared with the handles and the
    // format table; the message and the arguments are the entry's own.
    std::size_t bytes = sizeof(Entry) + 2 * sizeof(void*); // the record and its share of the deque
    bytes += stringFootprint(entry.message);
    bytes += entry.args.capacity() * sizeof(Arg);
    for (const Arg& arg : entry.args)
        if (const auto* text = std::get_if<QString>(&arg))
            bytes += stringFootprint(*text);
    return bytes;
}

void Store::append(const Entry& entry)
{
    std::vector<Sink> sinks;
    {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
        m_footprints.push_back(footprint(m_entries.back()));
        m_bytes += m_footprints.back();
        trim();
        for (const auto& [id, sink] : m_sinks)
            sinks.push_back(sink);
    }
    for (const auto& sink : sinks)
        sink(entry);
}

void Store::trim()
{
    const auto dropFront = [this] {
        m_bytes -= m_footprints.front();
        m_footprints.pop_front();
        m_entries.pop_front();
    };
    while (!m_entries.empty() && m_bytes > m_byteLimit)
        dropFront();
    if (m_entries.size() <= m_capacity)
        return;
    const QDateTime keepFrom = m_entries.back().time.addSecs(-keepWindowSeconds);
    while (m_entries.size() > m_capacity && m_entries.front().time < keepFrom)
        dropFront();
}

std::vector<Entry> Store::entries() const
{
    std::lock_guard lock(m_mutex);
    return {m_entries.begin(), m_entries.end()};
}

std::vector<Entry> Store::entriesSince(const QDateTime& since) const
{
    std::lock_guard lock(m_mutex);
    std::vector<Entry> result;
    for (const auto& e : m_entries) {
        if (e.time >= since)
            result.push_back(e);
    }
    return result;
}

void Store::clear()
{
    std::lock_guard lock(m_mutex);
    m_entries.clear();
    m_footprints.clear();
    m_bytes = 0;
}

void Store::setCapacity(std::size_t capacity)
{
    std::lock_guard lock(m_mutex);
    m_capacity = capacity;
    trim();
}

void Store::setByteLimit(std::size_t bytes)
{
    std::lock_guard lock(m_mutex);
    m_byteLimit = bytes;
    trim();
}

std::size_t Store::byteSize() const
{
    std::lock_guard lock(m_mutex);
    return m_bytes;
}

int Store::addSink(Sink sink)
{
    std::lock_guard lock(m_mutex);
    const int id = m_nextSink++;
    m_sinks.emplace(id, std::move(sink));
    return id;
}

void Store::removeSink(int id)
{
    std::lock_guard lock(m_mutex);
    m_sinks.erase(id);
}

void Store::setClock(std::function<QDateTime()> clock)
{
    std::lock_guard lock(m_mutex);
    m_clock = std::move(clock);
}

QDateTime Store::now() const
{
    std::function<QDateTime()> clock;
    {
        std::lock_guard lock(m_mutex);
        clock = m_clock;
    }
    return clock ? clock() : QDateTime::currentDateTime();
}

void setMinimumLevel(Level level)
{
    g_minimumLevel = level;
}
Level minimumLevel()
{
    return g_minimumLevel;
}
void setSignpostsEnabled(bool enabled)
{
    g_signposts = enabled;
}
bool signpostsEnabled()
{
    return g_signposts;
}
void setRevealPrivate(bool reveal)
{
    g_revealPrivate = reveal;
}
bool revealPrivate()
{
    return g_revealPrivate;
}

bool enablePrivateDataIfRequested(const QStringList& arguments)
{
    if (arguments.contains(QStringLiteral("--log-private")) || qgetenv("MOSARO_LOG_PRIVATE") == "1")
        setRevealPrivate(true);
    return revealPrivate();
}

QString shownMessage(const Entry& entry)
{
    if (entry.kind != Entry::Kind::message || !g_revealPrivate)
        return entry.message;
    return compose(entry.format, entry.args, true);
}

bool Logger::isEnabled(Level level) const
{
    return int(level) >= int(g_minimumLevel.load());
}

void Logger::write(Level level, const char* format, std::vector<Arg> args) const
{
    Entry entry;
    entry.kind = Entry::Kind::message;
    entry.time = Store::shared().now();
    entry.category = m_category;
    entry.level = level;
    entry.format = internedFormat(format);
    for (Arg& arg : args)
        if (auto* text = std::get_if<QString>(&arg))
            *text = truncatedArgument(*text);
    entry.message = compose(entry.format, args);
    entry.message.squeeze();
    entry.args = std::move(args);
    Store::shared().append(entry);
}

Entry Signposter::entry(Entry::Kind kind, const SignpostIntervalState& state) const
{
    Entry e;
    e.kind = kind;
    e.time = Store::shared().now();
    e.category = m_category;
    e.signpostName = state.name;
    e.signpostID = state.id;
    return e;
}

SignpostIntervalState Signposter::beginInterval(const char* name) const
{
    SignpostIntervalState state{internedFormat(name), 0};
    if (!g_signposts)
        return state;
    state.id = g_nextSignpostID++;
    Store::shared().append(entry(Entry::Kind::signpostBegin, state));
    return state;
}

void Signposter::endInterval(const SignpostIntervalState& state, const char* message) const
{
    if (state.id == 0 || !g_signposts)
        return;
    Entry e = entry(Entry::Kind::signpostEnd, state);
    e.format = internedFormat(message);
    e.message = e.format;
    Store::shared().append(e);
}

#define MOSARO_LOGGER(fn, name)                                                                                        \
    const Logger& fn()                                                                                                 \
    {                                                                                                                  \
        static const Logger& logger = *new Logger{QStringLiteral(name)};                                               \
        return logger;                                                                                                 \
    }
MOSARO_LOGGER(lifecycle, "lifecycle")
MOSARO_LOGGER(overlay, "overlay")
MOSARO_LOGGER(permission, "permission")
MOSARO_LOGGER(preferences, "preferences")
MOSARO_LOGGER(windowmanager, "windowmanager")
MOSARO_LOGGER(onboarding, "onboarding")
#undef MOSARO_LOGGER

const Signposter& perf()
{
    static const Signposter& signposter = *new Signposter{QStringLiteral("perf")};
    return signposter;
}

const QStringList& reportCategories()
{
    static const QStringList categories{QStringLiteral("lifecycle"),     QStringLiteral("overlay"),
                                        QStringLiteral("permission"),    QStringLiteral("preferences"),
                                        QStringLiteral("windowmanager"), QStringLiteral("perf")};
    return categories;
}

} // namespace mosaro::Log
