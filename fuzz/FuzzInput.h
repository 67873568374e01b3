#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

// The fuzzer's bytes as a QByteArray that owns them.
inline QByteArray fuzzBytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
}

// A failed property: abort, so that the fuzzer keeps the input.
#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            __builtin_trap();                                                                                          \
    } while (false)
