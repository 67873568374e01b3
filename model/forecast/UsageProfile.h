#pragma once

#include <array>

// How fast one window's usage grows at each hour of the week while the window
// is open, learned from its history. Older weeks weigh less (a day's weight
// shrinks by a fixed factor), so a user whose habits change is followed
// within days. Times are Unix seconds; hours of the week count in UTC, which
// keeps the result independent of the machine's time zone (a user's habits
// repeat in UTC as well as in local time).
class UsageProfile
{
public:
    // `used` percentage points were used over the open interval [from, to).
    // Intervals are given in time order; one longer than eight days says
    // nothing about hours and is ignored.
    void add(double from, double to, double used);

    // The expected growth at instant `at`, in percentage points per second.
    // An hour seen rarely leans on the same hour of other days of its kind
    // (weekday or weekend), and that on the window's overall rate.
    double rateAt(double at) const;

    // Time seen so far, in (decayed) seconds.
    double observedSeconds() const { return m_totalOpen; }

private:
    void decayTo(double at);
    void addWithinHour(int hourOfWeek, double seconds, double used);
    void refreshRates() const;

    std::array<double, 168> m_used{};
    std::array<double, 168> m_open{};
    double m_totalUsed = 0;
    double m_totalOpen = 0;
    long long m_day = 0;
    bool m_started = false;

    mutable std::array<double, 168> m_rates{};
    mutable bool m_ratesValid = false;
};
