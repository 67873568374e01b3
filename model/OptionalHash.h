#pragma once

#include <QHashFunctions>

#include <optional>

// A hash of an optional value that tells "absent" from any present value.
template <typename T>
size_t optionalHash(const std::optional<T> &value)
{
    return value ? qHashMulti(1, *value) : 0;
}
