#include "Diagnostics/Log.h"

#include <atomic>

namespace mosaro::Log {

namespace {
std::atomic<Level> g_minimumLevel{Level::info};
std::atomic<bool> g_signposts{true};
std::atomic<bool> g_revealPrivate{false};
std::atomic<std::uint64_t> g_nextSignpostID{1};

QString argText(const Arg& arg)
{
    return std::visit(
        [](const auto& v) -> QString {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, QString>)
                return v;
            else if constexpr (std::is_same_v<T, bool>)
                return v ? QStringLiteral("1") : QStringLiteral("0");
            else
                return QString::number(v);
        },
        arg);
}

std::int64_t argInteger(const Arg& arg)
{
    return std::visit(
        [](const auto& v) -> std::int64_t {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, QString>)
                return v.toLongLong();
            else
                return std::int64_t(v);
        },
        arg);
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

QString compose(const QString& format, const std::vector<Arg>& args, bool revealPrivate)
{
    QString out;
    out.reserve(format.size() + 16);
    std::size_t next = 0;
    const qsizetype n = format.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = format[i];
        if (c != u'%') {
            out += c;
            continue;
        }
        if (i + 1 < n && format[i + 1] == u'%') {
            out += u'%';
            ++i;
            continue;
        }
        qsizetype j = i + 1;
        QString markers;
        if (j < n && format[j] == u'{') {
            const qsizetype close = format.indexOf(u'}', j);
            if (close < 0) {
                out += format.mid(i);
                break;
            }
            markers = format.mid(j + 1, close - j - 1);
            j = close + 1;
        }
        QString length;
        while (j < n && (format[j] == u'h' || format[j] == u'l' || format[j] == u'z' || format[j] == u'q'))
            length += format[j++];
        if (j >= n) {
            out += format.mid(i);
            break;
        }
        const QChar conversion = format[j];
        i = j;
        const QStringList flags = markers.split(u',', Qt::SkipEmptyParts);
        const bool isPublic = flags.contains(QStringLiteral("public"));
        const bool isPrivate = flags.contains(QStringLiteral("private"));
        const bool isBool = flags.contains(QStringLiteral("bool"));
        if (next >= args.size()) {
            out += QStringLiteral("<missing>");
            continue;
        }
        const Arg& arg = args[next++];
        switch (conversion.unicode()) {
        case u's':
        case u'@': {
            const bool hidden = isPrivate || !isPublic;
            out += (hidden && !revealPrivate) ? QStringLiteral("<private>") : argText(arg);
            break;
        }
        case u'd':
        case u'i':
        case u'u':
        case u'x': {
            if (isBool) {
                out += argInteger(arg) != 0 ? QStringLiteral("true") : QStringLiteral("false");
                break;
            }
            std::int64_t v = argInteger(arg);
            if (length == QLatin1String("h"))
                v = conversion == u'd' || conversion == u'i' ? std::int64_t(std::int16_t(v))
                                                             : std::int64_t(std::uint16_t(v));
            else if (length.isEmpty())
                v = conversion == u'd' || conversion == u'i' ? std::int64_t(std::int32_t(v))
                                                             : std::int64_t(std::uint32_t(v));
            out += conversion == u'x' ? QString::number(quint64(v), 16) : QString::number(v);
            break;
        }
        case u'f':
        case u'g':
            out += std::holds_alternative<double>(arg) ? QString::number(std::get<double>(arg)) : argText(arg);
            break;
        default:
            out += argText(arg);
            break;
        }
    }
    return out;
}

Store& Store::shared()
{
    static Store store;
    return store;
}

void Store::append(const Entry& entry)
{
    std::vector<Sink> sinks;
    {
        std::lock_guard lock(m_mutex);
        m_entries.push_back(entry);
        while (m_entries.size() > m_capacity)
            m_entries.pop_front();
        for (const auto& [id, sink] : m_sinks)
            sinks.push_back(sink);
    }
    for (const auto& sink : sinks)
        sink(entry);
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
}

void Store::setCapacity(std::size_t capacity)
{
    std::lock_guard lock(m_mutex);
    m_capacity = capacity;
    while (m_entries.size() > m_capacity)
        m_entries.pop_front();
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
    entry.format = QString::fromUtf8(format);
    entry.message = compose(entry.format, args, g_revealPrivate);
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
    SignpostIntervalState state{QString::fromUtf8(name), 0};
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
    e.format = QString::fromUtf8(message);
    e.message = e.format;
    Store::shared().append(e);
}

#define MOSARO_LOGGER(fn, name)                                                                                        \
    const Logger& fn()                                                                                                 \
    {                                                                                                                  \
        static const Logger logger{QStringLiteral(name)};                                                              \
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
    static const Signposter signposter{QStringLiteral("perf")};
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
