#pragma once

#include "model/ProviderSnapshot.h"
#include "model/forecast/WindowForecast.h"

#include <QDateTime>
#include <QString>

// What the run-out forecast says in words, in the user's locale and time zone.
namespace ForecastTexts {

// A time of day in the locale's short form, without seconds: "15:40".
QString clockTime(const QDateTime &at);
// "1 hr 10 min", "45 min", "2 hr", "3 days 4 hr".
QString durationText(qint64 seconds);

// Under a window row of a full-size card: "At this pace: full at 15:40, 1 hr
// 10 min before reset", "On pace · lasts until reset", "12% ahead of an even
// pace · lasts until reset", "8% in reserve · lasts until reset"; empty when
// nothing is forecast.
QString cardLine(const WindowForecast &forecast, const UsageWindow &window);
// In a compact card's row: "Full at 15:40", or empty.
QString footer(const WindowForecast &forecast);
// "Claude Code · 5-hour runs out first, at 15:40".
QString firstToRunOut(const WindowForecast &forecast, const UsageWindow &window);
// "Claude Code · 5-hour: at this pace full at 15:40, 1 hr 10 min before it resets".
QString warning(const WindowForecast &forecast, const UsageWindow &window);

} // namespace ForecastTexts
