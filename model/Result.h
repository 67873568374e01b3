#pragma once

#include "model/Error.h"

#include <type_traits>
#include <utility>
#include <variant>

// The outcome of an operation that can fail: a value or an Error.
template <typename T>
class [[nodiscard]] Result
{
public:
    Result(T value) // NOLINT(google-explicit-constructor)
        : m_value(std::in_place_index<0>, std::move(value))
    {
    }
    Result(Error error) // NOLINT(google-explicit-constructor)
        : m_value(std::in_place_index<1>, std::move(error))
    {
    }
    Result(LimitraError error) // NOLINT(google-explicit-constructor)
        : m_value(std::in_place_index<1>, Error(std::move(error)))
    {
    }

    bool ok() const { return m_value.index() == 0; }
    explicit operator bool() const { return ok(); }

    T &value() & { return std::get<0>(m_value); }
    const T &value() const & { return std::get<0>(m_value); }
    T &&value() && { return std::get<0>(std::move(m_value)); }
    T &operator*() & { return value(); }
    const T &operator*() const & { return value(); }
    T *operator->() { return &value(); }
    const T *operator->() const { return &value(); }

    const Error &error() const { return std::get<1>(m_value); }

private:
    std::variant<T, Error> m_value;
};

template <>
class [[nodiscard]] Result<void>
{
public:
    Result() = default;
    Result(Error error) // NOLINT(google-explicit-constructor)
        : m_error(std::move(error))
    {
    }
    Result(LimitraError error) // NOLINT(google-explicit-constructor)
        : m_error(Error(std::move(error)))
    {
    }

    bool ok() const { return !m_error.has_value(); }
    explicit operator bool() const { return ok(); }
    const Error &error() const { return *m_error; }

private:
    std::optional<Error> m_error;
};
