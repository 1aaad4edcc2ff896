#pragma once

#include <utility>
#include <variant>

namespace mosaro {

template <class E>
struct Unexpected {
    E error;
};

template <class E>
Unexpected<std::decay_t<E>> unexpected(E&& e)
{
    return {std::forward<E>(e)};
}

// A value or an error: the result of an operation that can fail with a subsystem's error type.
template <class T, class E>
class Expected {
public:
    Expected(T value) : m_storage(std::in_place_index<0>, std::move(value)) {}
    template <class G>
    Expected(Unexpected<G> e) : m_storage(std::in_place_index<1>, E(std::move(e.error)))
    {}

    bool hasValue() const { return m_storage.index() == 0; }
    explicit operator bool() const { return hasValue(); }

    T& value() & { return std::get<0>(m_storage); }
    const T& value() const& { return std::get<0>(m_storage); }
    T&& value() && { return std::get<0>(std::move(m_storage)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    const E& error() const { return std::get<1>(m_storage); }

    T valueOr(T fallback) const { return hasValue() ? value() : std::move(fallback); }

private:
    std::variant<T, E> m_storage;
};

// Success without a value.
struct Ok {
    friend bool operator==(const Ok&, const Ok&) = default;
};

template <class E>
using Status = Expected<Ok, E>;

} // namespace mosaro
