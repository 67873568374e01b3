#include "model/UsageWindow.h"

#include "model/RelativeTime.h"

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
