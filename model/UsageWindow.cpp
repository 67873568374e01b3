#include "model/UsageWindow.h"

#include "model/OptionalHash.h"
#include "model/RelativeTime.h"

#include <QHashFunctions>

QString UsageWindow::resetDescription(const QDateTime &now) const
{
    if (!resetsAt)
        return QStringLiteral("Reset unavailable");
    return QStringLiteral("Resets ") + relativeTimeText(*resetsAt, now);
}

void addWindow(QList<UsageWindow> &windows, UsageWindow window)
{
    for (const UsageWindow &existing : windows) {
        if (existing.id == window.id)
            return;
    }
    windows.append(std::move(window));
}

size_t qHash(const UsageWindow &window, size_t seed)
{
    return qHashMulti(seed, window.id, window.label, window.usedPercent, optionalHash(window.resetsAt),
                      optionalHash(window.windowMinutes), optionalHash(window.scope));
}
