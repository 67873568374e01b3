#include "app/ForecastTexts.h"

#include <QLocale>

#include <cmath>

namespace ForecastTexts {

namespace {

// A pace this close to even is "on pace".
constexpr double kEvenPace = 5;

QString beforeReset(const WindowForecast &forecast, const UsageWindow &window)
{
    return durationText(forecast.runsOutAt->secsTo(*window.resetsAt));
}

QString windowName(const WindowForecast &forecast, const UsageWindow &window)
{
    return displayName(forecast.provider) + QStringLiteral(" · ") + window.label;
}

} // namespace

QString clockTime(const QDateTime &at)
{
    const QLocale locale;
    QString format = locale.timeFormat(QLocale::ShortFormat);
    // Some locales' short form still has seconds; a forecast has no use for them.
    format.remove(QStringLiteral(":ss"));
    return locale.toString(at.toLocalTime().time(), format);
}

QString durationText(qint64 seconds)
{
    const qint64 minutes = std::max<qint64>(0, seconds) / 60;
    const qint64 days = minutes / (24 * 60);
    const qint64 hours = minutes / 60 % 24;
    QStringList parts;
    if (days > 0)
        parts.append(days == 1 ? QStringLiteral("1 day") : QStringLiteral("%1 days").arg(days));
    if (hours > 0)
        parts.append(QStringLiteral("%1 hr").arg(hours));
    if (days == 0 && (minutes % 60 > 0 || hours == 0))
        parts.append(QStringLiteral("%1 min").arg(minutes % 60));
    return parts.join(QLatin1Char(' '));
}

QString cardLine(const WindowForecast &forecast, const UsageWindow &window)
{
    if (forecast.runsOutAt && window.resetsAt)
        return QStringLiteral("At this pace: full at %1, %2 before reset")
            .arg(clockTime(*forecast.runsOutAt), beforeReset(forecast, window));
    if (!forecast.pace)
        return {};
    const double pace = *forecast.pace;
    const auto points = static_cast<qint64>(std::round(std::fabs(pace)));
    if (std::fabs(pace) < kEvenPace)
        return QStringLiteral("On pace · lasts until reset");
    if (pace > 0)
        return QStringLiteral("%1% ahead of an even pace · lasts until reset").arg(points);
    return QStringLiteral("%1% in reserve · lasts until reset").arg(points);
}

QString footer(const WindowForecast &forecast)
{
    return forecast.runsOutAt ? QStringLiteral("Full at %1").arg(clockTime(*forecast.runsOutAt)) : QString();
}

QString firstToRunOut(const WindowForecast &forecast, const UsageWindow &window)
{
    return QStringLiteral("%1 runs out first, at %2").arg(windowName(forecast, window), clockTime(*forecast.runsOutAt));
}

QString warning(const WindowForecast &forecast, const UsageWindow &window)
{
    return QStringLiteral("%1: at this pace full at %2, %3 before it resets")
        .arg(windowName(forecast, window), clockTime(*forecast.runsOutAt), beforeReset(forecast, window));
}

} // namespace ForecastTexts
