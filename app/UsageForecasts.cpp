#include "app/UsageForecasts.h"

#include <algorithm>

void UsageForecasts::teach(const QList<ProviderSnapshot> &history)
{
    // The history only grows at its end (pruning takes from the start), so the
    // new snapshots are at the end, from the newest taught on. (An invalid
    // date-time is earlier than any: at first, everything is new.)
    QDateTime newestTaught;
    for (const auto &[provider, at] : m_taughtUpTo)
        newestTaught = std::max(newestTaught, at);
    qsizetype first = history.size();
    while (first > 0 && history[first - 1].collectedAt >= newestTaught)
        --first;
    for (qsizetype i = first; i < history.size(); ++i) {
        const ProviderSnapshot &snapshot = history[i];
        const auto [known, added] = m_forecasters.try_emplace(snapshot.provider, snapshot.provider);
        const auto taught = m_taughtUpTo.find(snapshot.provider);
        if (taught != m_taughtUpTo.end() && snapshot.collectedAt <= taught->second)
            continue;
        known->second.add(snapshot);
        m_taughtUpTo[snapshot.provider] = snapshot.collectedAt;
    }
}

void UsageForecasts::update(const QList<ProviderSnapshot> &history, const QMap<UsageProvider, ProviderSnapshot> &latest,
                            const QDateTime &now)
{
    teach(history);
    m_forecasts.clear();
    for (const ProviderSnapshot &snapshot : latest) {
        const auto [forecaster, added] = m_forecasters.try_emplace(snapshot.provider, snapshot.provider);
        for (WindowForecast &forecast : forecaster->second.forecast(snapshot, now))
            m_forecasts.push_back(std::move(forecast));
    }
}

std::vector<WindowForecast> UsageForecasts::forProvider(UsageProvider provider) const
{
    std::vector<WindowForecast> out;
    std::copy_if(m_forecasts.cbegin(), m_forecasts.cend(), std::back_inserter(out),
                 [provider](const WindowForecast &forecast) { return forecast.provider == provider; });
    return out;
}
