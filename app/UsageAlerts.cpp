#include "app/UsageAlerts.h"

#include "app/Preferences.h"
#include "app/platform/Notifier.h"

#include <cmath>

UsageAlerts::UsageAlerts(Preferences &preferences, Notifier &notifier)
    : m_preferences(preferences)
    , m_notifier(notifier)
{
}

QString UsageAlerts::identity(UsageProvider provider, const UsageWindow &window, double threshold)
{
    // Whole seconds and whole percents, cut toward zero.
    const QString resetStamp =
        window.resetsAt ? QString::number(window.resetsAt->toMSecsSinceEpoch() / 1000) : QStringLiteral("unknown");
    return QStringLiteral("%1.%2.%3.%4")
        .arg(rawValue(provider), window.id, resetStamp, QString::number(static_cast<qint64>(std::trunc(threshold))));
}

void UsageAlerts::maybeNotify(const ProviderSnapshot &snapshot, bool enabled, double threshold, const QDateTime &now)
{
    if (!enabled)
        return;
    for (const UsageWindow &window : snapshot.windows) {
        if (threshold > window.usedPercent)
            continue;
        const QString id = identity(snapshot.provider, window, threshold);
        if (m_preferences.wasNotified(id))
            continue;
        const QString title = QStringLiteral("%1 usage is %2%")
                                  .arg(shortName(snapshot.provider))
                                  .arg(static_cast<qint64>(std::round(window.usedPercent)));
        const QString body = window.label + QStringLiteral(" limit · ") + window.resetDescription(now);
        m_notifier.post(id, title, body);
        // Marked at once, whatever became of the notification: never retried.
        m_preferences.markNotified(id);
    }
}
