#include "model/forecast/WindowForecast.h"

std::optional<double> windowPace(const UsageWindow &window, const QDateTime &now)
{
    if (!window.resetsAt || !window.windowMinutes || *window.windowMinutes <= 0)
        return std::nullopt;
    const double length = static_cast<double>(*window.windowMinutes) * 60.0;
    const double untilReset = static_cast<double>(now.msecsTo(*window.resetsAt)) / 1000.0;
    if (untilReset <= 0)
        return std::nullopt;
    const double elapsed = length - untilReset;
    if (elapsed < 0.03 * length)
        return std::nullopt;
    return window.usedPercent - 100.0 * elapsed / length;
}

std::optional<WindowForecast> mostAtRisk(const std::vector<WindowForecast> &forecasts)
{
    const WindowForecast *first = nullptr;
    for (const WindowForecast &forecast : forecasts) {
        if (forecast.runsOutAt && (!first || *forecast.runsOutAt < *first->runsOutAt))
            first = &forecast;
    }
    if (!first)
        return std::nullopt;
    return *first;
}
