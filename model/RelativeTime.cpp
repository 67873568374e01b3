#include "model/RelativeTime.h"

#include <array>
#include <cstdlib>

namespace {

struct Unit {
    qint64 seconds;
    const char *singular;
    const char *plural;
};

constexpr qint64 kMinute = 60;
constexpr qint64 kHour = 60 * kMinute;
constexpr qint64 kDay = 24 * kHour;

// From the largest unit down; a unit is used once the interval reaches it.
constexpr std::array kUnits{
    Unit{365 * kDay, "yr.", "yr."}, Unit{30 * kDay, "mo.", "mo."}, Unit{7 * kDay, "wk.", "wk."},
    Unit{kDay, "day", "days"},      Unit{kHour, "hr.", "hr."},     Unit{kMinute, "min.", "min."},
    Unit{1, "sec.", "sec."},
};

} // namespace

QString relativeTimeText(const QDateTime &target, const QDateTime &now)
{
    const qint64 deltaMs = now.msecsTo(target);
    const bool future = deltaMs >= 0;
    const qint64 seconds = std::llabs(deltaMs) / 1000;

    const Unit *unit = &kUnits.back();
    for (const Unit &candidate : kUnits) {
        if (seconds >= candidate.seconds) {
            unit = &candidate;
            break;
        }
    }
    const qint64 count = seconds / unit->seconds;
    const QString amount =
        QString::number(count) + QLatin1Char(' ') + QLatin1String(count == 1 ? unit->singular : unit->plural);
    return future ? QStringLiteral("in ") + amount : amount + QStringLiteral(" ago");
}
