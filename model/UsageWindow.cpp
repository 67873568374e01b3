#include "model/UsageWindow.h"

#include "model/RelativeTime.h"

QString UsageWindow::resetDescription(const QDateTime &now) const
{
    if (!resetsAt)
        return QStringLiteral("Reset unavailable");
    return QStringLiteral("Resets ") + relativeTimeText(*resetsAt, now);
}
