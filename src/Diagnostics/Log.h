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
    std::vector<Arg> args; // the arguments as given (private texts included, for in-process readers)
    QString message;       // the composed message as the log shows it, private texts as "<private>"
    QString signpostName;  // signposts only
    std::uint64_t signpostID = 0;
};

// Composes an os_log-style format: %s %d %ld %hu %u %f %%, with {public}, {private}, {bool}
// and {bool,public} markers. Texts are private unless marked public.
QString compose(const QString& format, const std::vector<Arg>& args, bool revealPrivate = false);

// Keeps the process's recent entries so that the diagnostics report can read them, and hands
// each entry to the sinks (journald, stderr).
class Store {
public:
    using Sink = std::function<void(const Entry&)>;
    static Store& shared();

    void append(const Entry& entry);
    std::vector<Entry> entries() const;
    std::vector<Entry> entriesSince(const QDateTime& since) const;
    void clear();
    void setCapacity(std::size_t capacity);

    int addSink(Sink sink);
    void removeSink(int id);

    // Where entries get their time from; tests replace it.
    void setClock(std::function<QDateTime()> clock);
    QDateTime now() const;

private:
    mutable std::mutex m_mutex;
    std::deque<Entry> m_entries;
    std::size_t m_capacity = 20000;
    std::map<int, Sink> m_sinks;
    int m_nextSink = 1;
    std::function<QDateTime()> m_clock;
};

// Levels below the minimum cost only the check; debug is off unless switched on.
void setMinimumLevel(Level level);
Level minimumLevel();
void setSignpostsEnabled(bool enabled);
bool signpostsEnabled();
void setRevealPrivate(bool reveal);

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
