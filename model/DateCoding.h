#pragma once

#include <QDateTime>
#include <QJsonValue>

#include <optional>

// How a file writes its dates.
enum class DateCoding {
    // "2026-01-31T17:05:09Z": UTC, whole seconds (the history file).
    iso8601,
    // A JSON number of seconds, with fraction, since 2001-01-01 00:00:00 UTC
    // (the fallback and widget files).
    referenceDateSeconds,
};

QJsonValue encodeDate(const QDateTime &date, DateCoding coding);
std::optional<QDateTime> decodeDate(const QJsonValue &value, DateCoding coding);

// "2026-01-31T17:05:09Z"; fractions of a second are cut off.
QString iso8601Text(const QDateTime &date);

// The moment `seconds` after 1970-01-01 00:00:00 UTC, or none when it falls
// outside the years 1 to 9999, which no file could write and read back (a
// number in milliseconds lands there).
std::optional<QDateTime> dateFromUnixSeconds(double seconds);
double referenceDateSeconds(const QDateTime &date);
std::optional<QDateTime> dateFromReferenceDateSeconds(double seconds);
