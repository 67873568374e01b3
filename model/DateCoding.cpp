#include "model/DateCoding.h"

#include <cmath>

namespace {

// Seconds from 1970-01-01 to 2001-01-01, both UTC.
constexpr qint64 kReferenceDateUnixSeconds = 978307200;
// The moments every file writes and reads back: years 1 to 9999 in UTC (what
// ISO 8601 text holds in four digits). Dates beyond are taken as no date.
constexpr double kEarliestSeconds = -62135596800.0; // 0001-01-01T00:00:00Z
constexpr double kLatestSeconds = 253402300799.0;   // 9999-12-31T23:59:59Z

qint64 floorDiv(qint64 value, qint64 divisor)
{
    qint64 quotient = value / divisor;
    if (value % divisor != 0 && value < 0)
        --quotient;
    return quotient;
}

} // namespace

std::optional<QDateTime> dateFromUnixSeconds(double seconds)
{
    if (!std::isfinite(seconds) || seconds < kEarliestSeconds || seconds > kLatestSeconds)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0), Qt::UTC);
}

double referenceDateSeconds(const QDateTime &date)
{
    return static_cast<double>(date.toMSecsSinceEpoch() - kReferenceDateUnixSeconds * 1000) / 1000.0;
}

std::optional<QDateTime> dateFromReferenceDateSeconds(double seconds)
{
    if (!std::isfinite(seconds))
        return std::nullopt;
    return dateFromUnixSeconds(seconds + static_cast<double>(kReferenceDateUnixSeconds));
}

QString iso8601Text(const QDateTime &date)
{
    const qint64 wholeSeconds = floorDiv(date.toMSecsSinceEpoch(), 1000);
    return QDateTime::fromSecsSinceEpoch(wholeSeconds, Qt::UTC).toString(Qt::ISODate);
}

QJsonValue encodeDate(const QDateTime &date, DateCoding coding)
{
    switch (coding) {
    case DateCoding::iso8601:
        return iso8601Text(date);
    case DateCoding::referenceDateSeconds:
        return referenceDateSeconds(date);
    }
    Q_UNREACHABLE();
}

std::optional<QDateTime> decodeDate(const QJsonValue &value, DateCoding coding)
{
    switch (coding) {
    case DateCoding::iso8601: {
        const QString text = value.toString();
        if (!text.contains(QLatin1Char('T')))
            return std::nullopt;
        QDateTime date = QDateTime::fromString(text, Qt::ISODate);
        // A text without "Z" or an offset names no instant.
        if (!date.isValid() || date.timeSpec() == Qt::LocalTime)
            return std::nullopt;
        // Whole seconds, as the files write it: a fraction (of a second, or
        // of a minute, which ISO 8601 allows too) would not survive a rewrite.
        date = QDateTime::fromSecsSinceEpoch(floorDiv(date.toMSecsSinceEpoch(), 1000), Qt::UTC);
        // Only what the files can write back in four digits.
        if (date.date().year() < 1 || date.date().year() > 9999)
            return std::nullopt;
        return date;
    }
    case DateCoding::referenceDateSeconds:
        if (!value.isDouble())
            return std::nullopt;
        return dateFromReferenceDateSeconds(value.toDouble());
    }
    Q_UNREACHABLE();
}
