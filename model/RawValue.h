#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// Every enumeration of the usage model is stored as a string (its raw value).
// Each enumeration header specialises `allCases` and overloads `rawValue`;
// this template reads a raw value back.
template <typename E>
inline constexpr auto allCases = nullptr;

template <typename E>
std::optional<E> fromRawValue(QStringView text)
{
    for (E value : allCases<E>) {
        if (rawValue(value) == text)
            return value;
    }
    return std::nullopt;
}
