#include "model/forecast/ProviderForecaster.h"

#include <algorithm>
#include <cmath>

namespace {

double seconds(const QDateTime &date)
{
    return static_cast<double>(date.toMSecsSinceEpoch()) / 1000.0;
}

bool seenBefore(const QList<UsageWindow> &windows, qsizetype index)
{
    return std::any_of(windows.cbegin(), windows.cbegin() + index,
                       [&](const UsageWindow &window) { return window.id == windows[index].id; });
}

// Whether a full window of `windows` keeps `window` from growing until its
// reset: a provider refuses all use while any of its limits is reached, so a
// window that resets before the full one does cannot run out.
bool blockedUntilItsReset(const QList<UsageWindow> &windows, const UsageWindow &window, const QDateTime &now)
{
    return std::any_of(windows.cbegin(), windows.cend(), [&](const UsageWindow &other) {
        return other.id != window.id && other.usedPercent >= 100 && other.resetsAt && *other.resetsAt > now
               && *other.resetsAt >= *window.resetsAt;
    });
}

} // namespace

ProviderForecaster::ProviderForecaster(UsageProvider provider)
    : m_provider(provider)
{
}

void ProviderForecaster::add(const ProviderSnapshot &snapshot)
{
    if (snapshot.provider != m_provider)
        return;
    const double at = seconds(snapshot.collectedAt);
    if (m_seen && at < m_lastAt)
        return;
    m_seen = true;
    m_lastAt = at;
    for (qsizetype i = 0; i < snapshot.windows.size(); ++i) {
        const UsageWindow &window = snapshot.windows[i];
        if (seenBefore(snapshot.windows, i))
            continue;
        auto track = std::find_if(m_tracks.begin(), m_tracks.end(),
                                  [&](const WindowTrack &candidate) { return candidate.id() == window.id; });
        if (track == m_tracks.end()) {
            m_tracks.emplace_back(window.id);
            track = std::prev(m_tracks.end());
        }
        track->observe(at, window);
    }
}

std::vector<WindowForecast> ProviderForecaster::forecast(const ProviderSnapshot &latest, const QDateTime &now) const
{
    std::vector<WindowForecast> forecasts;
    std::vector<std::optional<QDateTime>> resets; // of each forecast's window
    const double nowSeconds = seconds(now);
    for (qsizetype i = 0; i < latest.windows.size(); ++i) {
        const UsageWindow &window = latest.windows[i];
        if (seenBefore(latest.windows, i))
            continue;
        WindowForecast forecast{latest.provider, window.id, windowPace(window, now), std::nullopt};
        const auto track = std::find_if(m_tracks.cbegin(), m_tracks.cend(),
                                        [&](const WindowTrack &candidate) { return candidate.id() == window.id; });
        if (window.resetsAt && track != m_tracks.cend() && !blockedUntilItsReset(latest.windows, window, now)) {
            const std::optional<double> runsOut =
                track->runsOutAt(nowSeconds, window.usedPercent, seconds(*window.resetsAt));
            if (runsOut) {
                // Whole milliseconds, still at or after now and before the reset.
                const auto msecs = static_cast<qint64>(std::ceil(*runsOut * 1000.0));
                const QDateTime at = QDateTime::fromMSecsSinceEpoch(std::max(msecs, now.toMSecsSinceEpoch()), Qt::UTC);
                if (at < *window.resetsAt)
                    forecast.runsOutAt = at;
            }
        }
        forecasts.push_back(std::move(forecast));
        resets.push_back(window.resetsAt);
    }
    // A window forecast to be full first blocks the others as a full one
    // does: one that resets before it cannot run out after it. (A window
    // with a run-out has a reset time.)
    std::vector<bool> blocked(forecasts.size(), false);
    for (size_t i = 0; i < forecasts.size(); ++i) {
        for (size_t j = 0; j < forecasts.size(); ++j) {
            const WindowForecast &mine = forecasts[i];
            const WindowForecast &other = forecasts[j];
            if (mine.runsOutAt && other.runsOutAt && *other.runsOutAt < *mine.runsOutAt && *resets[j] >= *resets[i])
                blocked[i] = true;
        }
    }
    for (size_t i = 0; i < forecasts.size(); ++i) {
        if (blocked[i])
            forecasts[i].runsOutAt.reset();
    }
    return forecasts;
}

std::vector<WindowForecast> forecastProvider(const QList<ProviderSnapshot> &history, UsageProvider provider,
                                             const QDateTime &now)
{
    ProviderForecaster forecaster(provider);
    const ProviderSnapshot *latest = nullptr;
    for (const ProviderSnapshot &snapshot : history) {
        if (snapshot.provider != provider || snapshot.collectedAt > now)
            continue;
        forecaster.add(snapshot);
        if (!latest || snapshot.collectedAt >= latest->collectedAt)
            latest = &snapshot;
    }
    if (!latest)
        return {};
    return forecaster.forecast(*latest, now);
}
