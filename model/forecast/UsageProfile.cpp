#include "model/forecast/UsageProfile.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kHour = 3600;
// The weight a day keeps after each further day: a half-life of about ten days.
constexpr double kDailyKeep = 0.933;
// Seconds of made-up observation at the level above that an hour starts from.
constexpr double kPriorSeconds = 3600;
constexpr double kLongestInterval = 8 * 86400;
// Habits keep to the clock only roughly (lunch at noon give or take half an
// hour): each hour's rate takes this share from each neighbouring hour.
constexpr double kNeighbourShare = 0.25;

long long floorDiv(double value, double divisor)
{
    return static_cast<long long>(std::floor(value / divisor));
}

// Hour of the week, 0 = Monday 00:00 UTC (1970-01-01 was a Thursday).
int hourOfWeek(double at)
{
    const long long hours = floorDiv(at, kHour) + 3 * 24;
    return static_cast<int>(((hours % 168) + 168) % 168);
}

bool isWeekend(int hourOfWeek)
{
    return hourOfWeek >= 5 * 24;
}

// Weekday hours 0-23, weekend hours 24-47: the profile pools each hour of the
// day within its kind of day.
std::size_t hourKind(int hourOfWeek)
{
    const int kind = (isWeekend(hourOfWeek) ? 24 : 0) + hourOfWeek % 24;
    return static_cast<std::size_t>(kind);
}

} // namespace

void UsageProfile::decayTo(double at)
{
    const long long day = floorDiv(at, 86400);
    if (!m_started) {
        m_started = true;
        m_day = day;
        return;
    }
    if (day <= m_day)
        return;
    const double keep = std::pow(kDailyKeep, static_cast<double>(std::min(day - m_day, 10000LL)));
    for (double &value : m_used)
        value *= keep;
    for (double &value : m_open)
        value *= keep;
    m_totalUsed *= keep;
    m_totalOpen *= keep;
    m_day = day;
}

void UsageProfile::addWithinHour(int hour, double seconds, double used)
{
    m_used[static_cast<std::size_t>(hour)] += used;
    m_open[static_cast<std::size_t>(hour)] += seconds;
    m_totalUsed += used;
    m_totalOpen += seconds;
}

void UsageProfile::add(double from, double to, double used)
{
    const double length = to - from;
    if (!(length > 0) || length > kLongestInterval || !std::isfinite(used))
        return;
    decayTo(to);
    used = std::max(0.0, used);
    double start = from;
    while (start < to) {
        const double hourEnd = std::min(to, (static_cast<double>(floorDiv(start, kHour)) + 1) * kHour);
        const double part = hourEnd - start;
        addWithinHour(hourOfWeek(start), part, used * part / length);
        start = hourEnd;
    }
    m_ratesValid = false;
}

void UsageProfile::refreshRates() const
{
    const double overall = m_totalOpen > 0 ? m_totalUsed / m_totalOpen : 0;
    std::array<double, 48> kindUsed{}, kindOpen{};
    std::array<double, 168> raw{};
    for (int hour = 0; hour < 168; ++hour) {
        const std::size_t kind = hourKind(hour);
        kindUsed[kind] += m_used[static_cast<std::size_t>(hour)];
        kindOpen[kind] += m_open[static_cast<std::size_t>(hour)];
    }
    for (int hour = 0; hour < 168; ++hour) {
        const std::size_t kind = hourKind(hour);
        const double kindRate = (kindUsed[kind] + overall * kPriorSeconds) / (kindOpen[kind] + kPriorSeconds);
        const auto index = static_cast<std::size_t>(hour);
        raw[index] = (m_used[index] + kindRate * kPriorSeconds) / (m_open[index] + kPriorSeconds);
    }
    for (int hour = 0; hour < 168; ++hour) {
        const auto index = static_cast<std::size_t>(hour);
        m_rates[index] = (1 - 2 * kNeighbourShare) * raw[index]
                         + kNeighbourShare * raw[static_cast<std::size_t>((hour + 167) % 168)]
                         + kNeighbourShare * raw[static_cast<std::size_t>((hour + 1) % 168)];
    }
    m_ratesValid = true;
}

double UsageProfile::rateAt(double at) const
{
    if (!m_ratesValid)
        refreshRates();
    return m_rates[static_cast<std::size_t>(hourOfWeek(at))];
}
