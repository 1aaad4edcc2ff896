#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <concepts>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace mosaro::Log {

inline const QString subsystem = QStringLiteral("tech.brenmark.mosaro");

enum class Level {
    debug,
    info,
    error
};
QString levelName(Level level);

using Arg = std::variant<std::int64_t, std::uint64_t, double, bool, QString>;

struct Entry {
    enum class Kind {
        message,
        signpostBegin,
        signpostEnd
    };
    Kind kind = Kind::message;
    QDateTime time;
    QString category;
    Level level = Level::info;
    QString format;        // the format as written, e.g. "AX set %{public}s failed: %d"
    std::vector<Arg> args; // the arguments, texts cut at maxArgumentBytes (private ones included,
                           // for in-process readers)
    QString message;       // the composed message with private texts as "<private>", whatever
                           // the reveal switch says: what the diagnostics report shows
    QString signpostName;  // signposts only
    std::uint64_t signpostID = 0;
};

// Composes an os_log-style format: the conversions of printf (d i u o x X c p, f F e E g G a A,
// s @) with flags, width, precision and length modifiers, %%, and the {public}, {private},
// {bool} and {bool,public} markers. Texts are private unless marked public; numbers and
// Booleans are always shown. Any argument fits any conversion without undefined behaviour:
// integers narrow to the length modifier's type as printf does (so -1 reads 4294967295 for %u);
// floating values given to an integer conversion are truncated and held within the type, and
// NaN and infinities read nan, inf and -inf; floating conversions print as printf does in the
// C locale, whatever the process's locale.
QString compose(const QString& format, const std::vector<Arg>& args, bool revealPrivate = false);

// A text argument longer than this many UTF-8 bytes is cut there (never inside a character)
// and ends in "…", in the store and in the journal alike.
inline constexpr std::size_t maxArgumentBytes = 1024;
QString truncatedArgument(const QString& text);

// Keeps the process's recent entries so that the diagnostics report can read them, and hands
// each entry to the sinks (journald, stderr).
//
// Bounded twice: the entries together never take more than byteLimit bytes (as footprint()
// counts them), and beyond `capacity` entries the oldest go, but the entry count never removes
// an entry of the last `keepWindow` before the newest one. So the last five minutes, which the
// report reads, stay whole whenever they fit in the byte limit.
class Store {
public:
    using Sink = std::function<void(const Entry&)>;
    static constexpr std::size_t defaultCapacity = 20000;
    static constexpr std::size_t defaultByteLimit = std::size_t(4) << 20;
    static constexpr qint64 keepWindowSeconds = qint64(5) * 60;
    static Store& shared();

    void append(const Entry& entry);
    std::vector<Entry> entries() const;
    std::vector<Entry> entriesSince(const QDateTime& since) const;
    void clear();
    void setCapacity(std::size_t capacity);
    void setByteLimit(std::size_t bytes);
    // What the entries held now take, as footprint() counts them.
    std::size_t byteSize() const;
    // An entry's memory: the record and every text and argument it owns (texts shared with the
    // format table are not counted again).
    static std::size_t footprint(const Entry& entry);

    int addSink(Sink sink);
    void removeSink(int id);

    // Where entries get their time from; tests replace it.
    void setClock(std::function<QDateTime()> clock);
    QDateTime now() const;

private:
    void trim();

    mutable std::mutex m_mutex;
    std::deque<Entry> m_entries;
    std::deque<std::size_t> m_footprints; // one per entry
    std::size_t m_bytes = 0;
    std::size_t m_capacity = defaultCapacity;
    std::size_t m_byteLimit = defaultByteLimit;
    std::map<int, Sink> m_sinks;
    int m_nextSink = 1;
    std::function<QDateTime()> m_clock;
};

// Levels below the minimum cost only the check; debug is off unless switched on.
void setMinimumLevel(Level level);
Level minimumLevel();
void setSignpostsEnabled(bool enabled);
bool signpostsEnabled();
// The stand-in for "private data enabled": while on, the journal and standard error show
// private arguments. Entry::message, and so the diagnostics report, stays redacted.
void setRevealPrivate(bool reveal);
bool revealPrivate();
// Switches private data on when the arguments hold --log-private or the environment has
// MOSARO_LOG_PRIVATE=1; returns whether it is on.
bool enablePrivateDataIfRequested(const QStringList& arguments);
// The message as the journal and standard error show it: private arguments revealed while the
// switch is on, otherwise the entry's redacted message.
QString shownMessage(const Entry& entry);

namespace detail {
template <class T>
Arg toArg(T&& value)
{
    using D = std::remove_cvref_t<T>;
    if constexpr (std::is_invocable_v<D&>) {
        return toArg(value()); // deferred argument: evaluated only when the level is enabled
    } else if constexpr (std::is_same_v<D, bool>) {
        return value;
    } else if constexpr (std::is_integral_v<D> && std::is_signed_v<D>) {
        return std::int64_t(value);
    } else if constexpr (std::is_integral_v<D>) {
        return std::uint64_t(value);
    } else if constexpr (std::is_floating_point_v<D>) {
        return double(value);
    } else if constexpr (std::is_enum_v<D>) {
        return std::int64_t(value);
    } else {
        return QString(std::forward<T>(value));
    }
}
} // namespace detail

class Logger {
public:
    explicit Logger(QString category) : m_category(std::move(category)) {}
    const QString& category() const { return m_category; }
    bool isEnabled(Level level) const;

    template <class... A>
    void log(Level level, const char* format, A&&... args) const
    {
        if (!isEnabled(level))
            return;
        write(level, format, {detail::toArg(std::forward<A>(args))...});
    }
    template <class... A>
    void debug(const char* format, A&&... args) const
    {
        log(Level::debug, format, std::forward<A>(args)...);
    }
    template <class... A>
    void info(const char* format, A&&... args) const
    {
        log(Level::info, format, std::forward<A>(args)...);
    }
    template <class... A>
    void error(const char* format, A&&... args) const
    {
        log(Level::error, format, std::forward<A>(args)...);
    }

private:
    void write(Level level, const char* format, std::vector<Arg> args) const;
    QString m_category;
};

struct SignpostIntervalState {
    QString name;
    std::uint64_t id = 0; // 0 when signposts were disabled at the beginning
};

// Named intervals with an end message, kept as begin and end entries in the log store.
class Signposter {
public:
    explicit Signposter(QString category) : m_category(std::move(category)) {}
    SignpostIntervalState beginInterval(const char* name) const;
    void endInterval(const SignpostIntervalState& state, const char* message = "") const;
    const QString& category() const { return m_category; }

private:
    Entry entry(Entry::Kind kind, const SignpostIntervalState& state) const;
    QString m_category;
};

const Logger& lifecycle();
const Logger& overlay();
const Logger& permission();
const Logger& preferences();
const Logger& windowmanager();
const Logger& onboarding();
const Signposter& perf();

// The categories the diagnostics report reads, in order (onboarding is not among them).
const QStringList& reportCategories();

} // namespace mosaro::Log
