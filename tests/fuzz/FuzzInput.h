#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mosaro::fuzz {

// Takes typed values off the front of a fuzzer's input; an exhausted input gives zeros.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    template <class T>
    T take()
    {
        T value{};
        const std::size_t n = std::min(sizeof(T), m_size);
        if (n > 0)
            std::memcpy(&value, m_data, n);
        m_data += n;
        m_size -= n;
        return value;
    }

    // Up to `max` bytes, the length taken from the input first.
    QByteArray bytes(std::size_t max)
    {
        const std::size_t n = std::min<std::size_t>({take<std::uint16_t>(), max, m_size});
        QByteArray out(reinterpret_cast<const char*>(m_data), qsizetype(n));
        m_data += n;
        m_size -= n;
        return out;
    }
    QByteArray rest()
    {
        QByteArray out(reinterpret_cast<const char*>(m_data), qsizetype(m_size));
        m_data += m_size;
        m_size = 0;
        return out;
    }
    bool empty() const { return m_size == 0; }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};

} // namespace mosaro::fuzz

// A broken invariant is a crash the fuzzer reports with its input.
#define MOSARO_FUZZ_CHECK(condition)                                                                                   \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            __builtin_trap();                                                                                          \
    } while (false)
