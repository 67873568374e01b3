#pragma once

#include "model/ProviderSnapshot.h"
#include "model/forecast/ProviderForecaster.h"

#include <QDateTime>
#include <QList>
#include <QMap>

#include <map>
#include <optional>
#include <vector>

// The run-out forecast of each provider's latest snapshot. One forecaster per
// provider learns from the history as it grows, each snapshot once, so a
// refresh costs microseconds however long the history is.
class UsageForecasts
{
public:
    // Teaches the snapshots of `history` (in collection order) that came after
    // the last one taught. A whole 90-day history takes a fifth of a second.
    void teach(const QList<ProviderSnapshot> &history);
    // teach(), then forecasts every snapshot of `latest` at `now`.
    void update(const QList<ProviderSnapshot> &history, const QMap<UsageProvider, ProviderSnapshot> &latest,
                const QDateTime &now);

    const std::vector<WindowForecast> &all() const { return m_forecasts; }
    std::vector<WindowForecast> forProvider(UsageProvider provider) const;

private:
    std::map<UsageProvider, ProviderForecaster> m_forecasters;
    std::map<UsageProvider, QDateTime> m_taughtUpTo;
    std::vector<WindowForecast> m_forecasts;
};
