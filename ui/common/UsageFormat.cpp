#include "ui/common/UsageFormat.h"

#include <cmath>

namespace {

// Not-a-number counts as nothing used: a broken figure must not paint a limit red.
double usedOrZero(double usedPercent)
{
    return std::isnan(usedPercent) ? 0 : usedPercent;
}

QString percentText(qint64 value)
{
    return QString::number(value) + QLatin1Char('%');
}

} // namespace

namespace UsageFormat {

QString usedText(double usedPercent)
{
    const double used = usedOrZero(usedPercent);
    if (used <= 0)
        return percentText(0);
    return percentText(std::llround(std::min(used, 100.0)));
}

QString remainingText(double usedPercent)
{
    const double used = usedOrZero(usedPercent);
    qint64 remaining = 0;
    if (used <= 0)
        remaining = 100;
    else if (used <= 100)
        remaining = std::llround(100 - used);
    return percentText(remaining) + QStringLiteral(" remaining");
}

double gaugeValue(double usedPercent)
{
    return std::clamp(usedOrZero(usedPercent), 0.0, 100.0);
}

UsageLevel::Value level(double usedPercent)
{
    const double used = usedOrZero(usedPercent);
    if (used >= 90)
        return UsageLevel::Critical;
    if (used >= 75)
        return UsageLevel::Warning;
    return UsageLevel::Normal;
}

QString badgeText(CollectorState state)
{
    switch (state) {
    case CollectorState::connected:
        return QStringLiteral("LIVE");
    case CollectorState::fallback:
        return QStringLiteral("FALLBACK");
    case CollectorState::stale:
        return QStringLiteral("STALE");
    case CollectorState::unavailable:
        return QStringLiteral("SETUP");
    case CollectorState::error:
        break;
    }
    return QStringLiteral("ERROR");
}

QString sourceLabel(UsageSource source)
{
    switch (source) {
    case UsageSource::codexAppServer:
        return QStringLiteral("OpenAI account limits");
    case UsageSource::claudeStatusLine:
        return QStringLiteral("Claude account · live bridge");
    case UsageSource::claudeUsageCommand:
        return QStringLiteral("Claude account · fallback");
    case UsageSource::sample:
        break;
    }
    return QStringLiteral("Sample data");
}

} // namespace UsageFormat
