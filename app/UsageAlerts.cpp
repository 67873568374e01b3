#include "app/UsageAlerts.h"

#include "app/ForecastTexts.h"
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

void UsageAlerts::maybeWarnRunOut(const std::vector<WindowForecast> &forecasts,
                                  const QMap<UsageProvider, ProviderSnapshot> &latest, bool enabled)
{
    if (!enabled)
        return;
    for (const WindowForecast &forecast : forecasts) {
        const auto snapshot = latest.constFind(forecast.provider);
        if (snapshot == latest.cend() || !forecast.runsOutAt)
            continue;
        const auto window = std::find_if(snapshot->windows.cbegin(), snapshot->windows.cend(),
                                         [&](const UsageWindow &one) { return one.id == forecast.windowId; });
        if (window == snapshot->windows.cend() || !window->resetsAt
            || forecast.runsOutAt->secsTo(*window->resetsAt) < 30 * 60)
            continue;
        const QString id = QStringLiteral("runout.%1.%2.%3")
                               .arg(rawValue(forecast.provider), window->id,
                                    QString::number(window->resetsAt->toMSecsSinceEpoch() / 1000));
        if (m_preferences.wasNotified(id))
            continue;
        m_notifier.post(id, QStringLiteral("%1 limit runs out early").arg(shortName(forecast.provider)),
                        ForecastTexts::warning(forecast, *window));
        m_preferences.markNotified(id);
    }
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
