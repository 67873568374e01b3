#include "ui/history/HistorySeries.h"

#include <QHash>

#include <algorithm>
#include <cmath>

QList<HistorySeries> buildHistorySeries(const QList<ProviderSnapshot> &snapshots,
                                        const QSet<UsageProvider> &visibleProviders)
{
    QList<HistorySeries> series;
    QHash<QString, qsizetype> indexByWindow; // provider and window id
    QSet<QString> names;
    for (const ProviderSnapshot &snapshot : snapshots) {
        if (!visibleProviders.contains(snapshot.provider) || snapshot.windows.isEmpty())
            continue;
        const QString prefix = shortName(snapshot.provider) + QStringLiteral(" · ");
        const qint64 msecs = snapshot.collectedAt.toMSecsSinceEpoch();
        for (const UsageWindow &window : snapshot.windows) {
            const QString key = prefix + window.id;
            qsizetype index = indexByWindow.value(key, -1);
            if (index < 0) {
                // Two windows of one provider may share a label (a model's own
                // 5-hour limit beside the main one): one line through both
                // would zigzag between unrelated limits.
                QString name = prefix + window.label;
                if (names.contains(name))
                    name += QStringLiteral(" · ") + window.scope.value_or(window.id);
                names.insert(name);
                index = series.size();
                indexByWindow.insert(key, index);
                series.append(HistorySeries{name, {}});
            }
            // NaN has no place on a 0..100 axis: it counts as nothing used.
            const double percent = std::isnan(window.usedPercent) ? 0.0 : std::clamp(window.usedPercent, 0.0, 100.0);
            series[index].points.append(HistoryPoint{msecs, percent});
        }
    }
    return series;
}
