#pragma once

#include "model/ProviderSnapshot.h"
#include "model/forecast/WindowForecast.h"
#include "model/forecast/WindowTrack.h"

#include <QDateTime>
#include <QList>

#include <vector>

// Forecasts one provider's windows from its own history. It learns from the
// snapshots it is given, one at a time in collection order, and keeps only
// compact statistics per window (no snapshot), so a caller can keep one per
// provider and add each new snapshot as it arrives: a refresh then costs one
// `add` and one `forecast`, however long the history. Pure: no clock, no I/O;
// the answer depends only on the snapshots added and the arguments.
class ProviderForecaster
{
public:
    explicit ProviderForecaster(UsageProvider provider);

    UsageProvider provider() const { return m_provider; }

    // Learns from `snapshot`. Snapshots of another provider, and those older
    // than the last one added, are ignored; snapshots without windows (errors)
    // teach nothing.
    void add(const ProviderSnapshot &snapshot);

    // One forecast per window of `latest` (normally the last snapshot added),
    // as seen at `now`; a window id that repeats counts once.
    std::vector<WindowForecast> forecast(const ProviderSnapshot &latest, const QDateTime &now) const;

private:
    UsageProvider m_provider;
    std::vector<WindowTrack> m_tracks;
    double m_lastAt = 0;
    bool m_seen = false;
};

// The forecast for each window of `provider`'s latest snapshot at or before
// `now`, learnt from that provider's snapshots in `history` (the archive, in
// collection order) up to `now`. Empty when there is no such snapshot. Reads
// the whole history: a caller that refreshes often keeps a
// ProviderForecaster instead.
std::vector<WindowForecast> forecastProvider(const QList<ProviderSnapshot> &history, UsageProvider provider,
                                             const QDateTime &now);
