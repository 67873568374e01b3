#pragma once

#include "model/UsageProvider.h"
#include "model/UsageWindow.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

// What the forecast says about one window of a provider's latest snapshot.
struct WindowForecast {
    UsageProvider provider = UsageProvider::codex;
    QString windowId;
    // Percentage points used beyond (positive) or short of (negative) an even
    // spread of the limit over the window; see `windowPace`.
    std::optional<double> pace;
    // When the window reaches 100 % at the pace the user's own history leads
    // to expect; only when that comes before the reset. Absent for a window
    // that is already full or has no reset time.
    std::optional<QDateTime> runsOutAt;

    friend bool operator==(const WindowForecast &, const WindowForecast &) = default;
};

// usedPercent − 100 × elapsed / (windowMinutes × 60), where elapsed is
// windowMinutes × 60 − (resetsAt − now) seconds. Absent without a reset time
// or a positive length, at or after the reset, and while less than 3 % of the
// window has passed (too early for the figure to mean anything).
std::optional<double> windowPace(const UsageWindow &window, const QDateTime &now);

// The forecast that runs out first, across any number of providers; none when
// nothing is forecast to run out. Among equal times the first one wins.
std::optional<WindowForecast> mostAtRisk(const std::vector<WindowForecast> &forecasts);
