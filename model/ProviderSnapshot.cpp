#include "model/ProviderSnapshot.h"

#include "model/RelativeTime.h"

QString ProviderSnapshot::freshnessDescription(const QDateTime &now) const
{
    return QStringLiteral("Updated ") + relativeTimeText(collectedAt, now);
}
