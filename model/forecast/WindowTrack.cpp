#include "model/forecast/WindowTrack.h"

#include <algorithm>
#include <cmath>
#include <tuple>

namespace {

constexpr double kSlot = 900;
constexpr double kKeptReadings = 3600;
// A reset time that moves by less than this still names the same window.
constexpr double kResetTolerance = 600;
// Before this much open time has been seen, the rates mean little.
constexpr double kLeastHistory = 2 * 3600;
// How much of an excess carries into the next quarter hour before the
// history has shown it, and how many quarter-hour pairs that guess counts for.
constexpr double kPriorPersistence = 0.7;
constexpr double kPriorPairs = 20;
constexpr double kPairKeep = 0.999;
// Percentage points of usage, as expected, that the intensity of a window starts from.
constexpr double kIntensityPrior = 5;
// Nothing is forecast further ahead than this.
constexpr double kLongestHorizon = 35 * 86400;
// How much the window's own pace since it began weighs against the usual
// rates, once it has run for this share of its length (less before).
constexpr double kOwnPaceWeight = 0.6;
constexpr double kOwnPaceSettles = 0.15;
// A run-out this close is reported as expected; one further off only if it
// would still come at a fraction of the expected rates, a fraction that
// falls to its lowest this much further ahead.
constexpr double kSureHorizon = 1800;
constexpr double kDoubtGrowth = 3 * 3600;
constexpr double kLowestFraction = 0.5;
// Once a run-out is reported for a window, it stays reported while this
// multiple of the expected rates would still fill the window.
constexpr double kKeepAlarmFactor = 1.3;

std::optional<double> seconds(const std::optional<QDateTime> &date)
{
    if (!date)
        return std::nullopt;
    return static_cast<double>(date->toMSecsSinceEpoch()) / 1000.0;
}

} // namespace

WindowTrack::WindowTrack(QString id)
    : m_id(std::move(id))
{
}

void WindowTrack::observe(double at, const UsageWindow &window)
{
    if (m_seen && at < m_lastAt)
        return;
    const double used = window.usedPercent;
    const std::optional<double> resetsAt = seconds(window.resetsAt);
    const std::optional<double> length = window.windowMinutes && *window.windowMinutes > 0
                                             ? std::optional<double>(static_cast<double>(*window.windowMinutes) * 60.0)
                                             : std::nullopt;

    m_length = length.value_or(0);
    const bool open = resetsAt && *resetsAt > at;
    const bool sameWindow = m_seen && open && m_lastReset && *m_lastReset > m_lastAt
                            && std::fabs(*resetsAt - *m_lastReset) <= kResetTolerance && used >= m_lastUsed - 1;
    if (sameWindow) {
        // A full window grows no further until it resets: nothing to learn.
        if (m_lastUsed < 100 && at > m_lastAt)
            learnInterval(m_lastAt, at, std::clamp(used - m_lastUsed, 0.0, 100.0));
    } else {
        m_recent.clear();
        m_windowStart.reset();
        if (open)
            m_windowStart = Reading{at, used};
        if (open && length && used >= 0 && used < 100) {
            // A window that began since the last look, and moments ago, has
            // used exactly what it shows since it began. (Some providers round
            // the start to the hour; an older start says little about when
            // the use began.)
            const double start = *resetsAt - *length;
            if (start <= at && (!m_seen || start >= m_lastAt) && at - start <= kSlot) {
                learnInterval(start, at, used);
                m_recent.push_back({start, 0});
                m_windowStart = Reading{start, 0};
            }
        }
    }
    if (open && at >= (m_recent.empty() ? at : m_recent.back().at))
        m_recent.push_back({at, used});
    while (m_recent.size() > 2 && m_recent[1].at <= at - kKeptReadings)
        m_recent.pop_front();

    m_seen = true;
    m_lastAt = at;
    m_lastUsed = used;
    m_lastReset = resetsAt;
    if (!sameWindow)
        m_alarmed = false;
    // Checked once a quarter hour: walking a week's window at every reading
    // would make learning a long history slow.
    const auto slot = static_cast<long long>(std::floor(at / kSlot));
    if (open && (!sameWindow || slot != m_alarmSlot)) {
        m_alarmSlot = slot;
        m_alarmed = runsOutAt(at, used, *resetsAt).has_value();
    }
}

void WindowTrack::learnInterval(double from, double to, double used)
{
    m_profile.add(from, to, used);
    addToSlots(from, to, used);
}

void WindowTrack::addToSlots(double from, double to, double used)
{
    const double length = to - from;
    if (!(length > 0))
        return;
    if (length > 2 * kSlot) {
        // A long gap: its usage cannot be placed in quarter hours.
        finishSlot();
        m_slotStarted = false;
        m_previousValid = false;
        return;
    }
    double start = from;
    while (start < to) {
        const auto slot = static_cast<long long>(std::floor(start / kSlot));
        const double end = std::min(to, static_cast<double>(slot + 1) * kSlot);
        if (!m_slotStarted || slot != m_slot) {
            if (m_slotStarted)
                finishSlot();
            m_slotStarted = true;
            m_slot = slot;
            m_slotUsed = 0;
            m_slotOpen = 0;
        }
        m_slotUsed += used * (end - start) / length;
        m_slotOpen += end - start;
        start = end;
    }
}

void WindowTrack::finishSlot()
{
    if (!m_slotStarted)
        return;
    if (m_slotOpen < 0.66 * kSlot) {
        m_previousValid = false;
        return;
    }
    const double excess = m_slotUsed / m_slotOpen - m_profile.rateAt((static_cast<double>(m_slot) + 0.5) * kSlot);
    if (m_previousValid && m_previousSlot == m_slot - 1) {
        m_pairProducts = m_pairProducts * kPairKeep + m_previousExcess * excess;
        m_pairSquares = m_pairSquares * kPairKeep + m_previousExcess * m_previousExcess;
        m_pairCount = m_pairCount * kPairKeep + 1;
    }
    m_previousValid = true;
    m_previousSlot = m_slot;
    m_previousExcess = excess;
    m_slotStarted = false;
}

double WindowTrack::persistence() const
{
    double fitted = kPriorPersistence;
    if (m_pairSquares > 0)
        fitted = m_pairProducts / m_pairSquares;
    const double blended = (fitted * m_pairCount + kPriorPersistence * kPriorPairs) / (m_pairCount + kPriorPairs);
    return std::clamp(blended, 0.0, 0.97);
}

// The rate of the last quarter hour above (or below) the usual one.
double WindowTrack::recentExcess(double scale) const
{
    if (m_recent.size() < 2)
        return 0;
    const Reading &last = m_recent.back();
    const double from = last.at - kSlot;
    const Reading *earlier = &m_recent.front();
    for (const Reading &reading : m_recent) {
        if (reading.at <= from)
            earlier = &reading;
    }
    double usedThen = earlier->used;
    double since = earlier->at;
    if (earlier->at < from) {
        // Interpolate between the reading before the quarter began and the next one.
        const auto next = std::find_if(m_recent.begin(), m_recent.end(),
                                       [from](const Reading &reading) { return reading.at > from; });
        if (next != m_recent.end() && next->at > earlier->at) {
            usedThen += (next->used - earlier->used) * (from - earlier->at) / (next->at - earlier->at);
            since = from;
        }
    }
    const double span = last.at - since;
    if (span < kSlot / 3)
        return 0;
    const double rate = std::max(0.0, last.used - usedThen) / span;
    return rate - scale * m_profile.rateAt(last.at - span / 2);
}

// How much more (or less) the open window has been used than the profile
// expected over the same hours, drawn towards 1 while little is known.
double WindowTrack::intensity() const
{
    if (!m_windowStart || m_recent.empty())
        return 1;
    const double from = m_windowStart->at;
    const double to = m_recent.back().at;
    double expected = 0;
    for (double t = from; t < to;) {
        const double next = std::min(to, (std::floor(t / kSlot) + 1) * kSlot);
        expected += m_profile.rateAt((t + next) / 2) * (next - t);
        t = next;
    }
    const double used = std::max(0.0, m_recent.back().used - m_windowStart->used);
    return std::clamp((used + kIntensityPrior) / (expected + kIntensityPrior), 0.2, 5.0);
}

// The window's own pace since it began, and how much it weighs: nothing
// until ten minutes of it have been seen, then more as the window ages (early
// on, a few minutes of use would say a week's window fills in days).
std::pair<double, double> WindowTrack::ownPace() const
{
    if (!m_windowStart || m_recent.empty())
        return {0, 0};
    const double span = m_recent.back().at - m_windowStart->at;
    if (span < 600)
        return {0, 0};
    const double pace = std::max(0.0, m_recent.back().used - m_windowStart->used) / span;
    const double weight =
        m_length > 0 ? kOwnPaceWeight * std::min(1.0, span / (kOwnPaceSettles * m_length)) : kOwnPaceWeight;
    return {pace, weight};
}

WindowTrack::Outlook WindowTrack::outlook(double now) const
{
    Outlook outlook;
    outlook.persistence = persistence();
    outlook.intensity = intensity();
    outlook.excess = m_recent.size() >= 2 ? recentExcess(outlook.intensity) : 0;
    outlook.excessFrom = m_recent.empty() ? now : m_recent.back().at;
    std::tie(outlook.pace, outlook.paceWeight) = ownPace();
    return outlook;
}

std::optional<double> WindowTrack::reachesFull(const Outlook &outlook, double now, double used, double resetsAt,
                                               double factor) const
{
    double remaining = 100 - std::max(used, 0.0);
    const double end = std::min(resetsAt, now + kLongestHorizon);
    for (double t = now; t < end;) {
        const double next = std::min(end, (std::floor(t / kSlot) + 1) * kSlot);
        const double middle = (t + next) / 2;
        const double carried =
            outlook.excess * std::pow(outlook.persistence, std::max(0.0, middle - outlook.excessFrom) / kSlot);
        const double usual = std::max(0.0, outlook.intensity * m_profile.rateAt(middle) + carried);
        const double rate = factor * ((1 - outlook.paceWeight) * usual + outlook.paceWeight * outlook.pace);
        const double gain = rate * (next - t);
        if (rate > 0 && gain >= remaining)
            return t + remaining / rate;
        remaining -= gain;
        t = next;
    }
    return std::nullopt;
}

std::optional<double> WindowTrack::runsOutAt(double now, double used, double resetsAt) const
{
    if (!(used < 100) || !(resetsAt > now) || m_profile.observedSeconds() < kLeastHistory)
        return std::nullopt;
    const Outlook seen = outlook(now);
    const std::optional<double> expected = reachesFull(seen, now, used, resetsAt, 1);
    if (m_alarmed) {
        // A warning that comes and goes with every pause is worth less than
        // one that holds until the forecast is clearly off.
        return expected ? expected : reachesFull(seen, now, used, resetsAt, kKeepAlarmFactor);
    }
    if (!expected)
        return std::nullopt;
    // The further off a run-out, the more the rest of the window can differ
    // from the usual: report it only if it would come even at a fraction of
    // the expected rates.
    const double doubt = std::clamp((*expected - now - kSureHorizon) / kDoubtGrowth, 0.0, 1.0);
    const double fraction = 1 - (1 - kLowestFraction) * doubt;
    if (fraction < 1 && !reachesFull(seen, now, used, resetsAt, fraction))
        return std::nullopt;
    return expected;
}
