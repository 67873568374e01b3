#pragma once

#include "model/ProviderSnapshot.h"
#include "model/forecast/WindowForecast.h"

#include <vector>

class Notifier;
class Preferences;

// Posts a notification the first time a window's usage reaches the alert
// threshold, once per limit period: the window's reset time and the whole-
// number threshold are part of the alert's identity, whose mark is kept in
// the preferences (so it survives restarts).
class UsageAlerts
{
public:
    UsageAlerts(Preferences &preferences, Notifier &notifier);

    void maybeNotify(const ProviderSnapshot &snapshot, bool enabled, double threshold,
                     const QDateTime &now = QDateTime::currentDateTimeUtc());

    // Warns once per limit window, like the threshold alert, when a window is
    // forecast to run out at least 30 minutes before it resets.
    void maybeWarnRunOut(const std::vector<WindowForecast> &forecasts,
                         const QMap<UsageProvider, ProviderSnapshot> &latest, bool enabled);

    // "codex.<window id>.<reset seconds or unknown>.<threshold>"
    static QString identity(UsageProvider provider, const UsageWindow &window, double threshold);

private:
    Preferences &m_preferences;
    Notifier &m_notifier;
};
