#pragma once

#include "model/ProviderSnapshot.h"

#include <QList>
#include <QSet>
#include <QString>

// One plotted sample: when, and the used percentage limited to 0..100.
struct HistoryPoint {
    qint64 msecs = 0; // since the epoch, UTC
    double percent = 0;

    friend bool operator==(const HistoryPoint &, const HistoryPoint &) = default;
};

// One line of the chart: a provider's limit window, e.g. "Codex · 5h".
struct HistorySeries {
    QString name;
    QList<HistoryPoint> points; // in archive order

    friend bool operator==(const HistorySeries &, const HistorySeries &) = default;
};

// Where the line breaks: no snapshot for longer than this (the computer slept,
// the provider was hidden) is a gap, not a straight segment.
inline constexpr qint64 historyGapMsecs = 30 * 60 * 1000;

// Every point of the visible providers' snapshots, one series per provider
// window in order of first appearance; nothing is thinned or averaged. A series
// is named "Codex · 5-hour"; a second window of the same provider and label
// adds its scope ("Codex · 5-hour · GPT-5.1-Codex-Max").
QList<HistorySeries> buildHistorySeries(const QList<ProviderSnapshot> &snapshots,
                                        const QSet<UsageProvider> &visibleProviders);
