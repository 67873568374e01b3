#include "model/ProviderSnapshot.h"

#include "model/OptionalHash.h"
#include "model/RelativeTime.h"

#include <QHashFunctions>

QString ProviderSnapshot::freshnessDescription(const QDateTime &now) const
{
    return QStringLiteral("Updated ") + relativeTimeText(collectedAt, now);
}

size_t qHash(const ProviderSnapshot &snapshot, size_t seed)
{
    return qHashMulti(seed, snapshot.id, qToUnderlying(snapshot.provider), snapshot.collectedAt,
                      qToUnderlying(snapshot.source), qToUnderlying(snapshot.state),
                      qHashRange(snapshot.windows.cbegin(), snapshot.windows.cend()), optionalHash(snapshot.planName),
                      optionalHash(snapshot.creditBalance), optionalHash(snapshot.modelName),
                      optionalHash(snapshot.message));
}

size_t qHash(const UsageArchive &archive, size_t seed)
{
    return qHashRange(archive.snapshots.cbegin(), archive.snapshots.cend(), seed);
}
