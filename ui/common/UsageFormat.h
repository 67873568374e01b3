#pragma once

#include "model/CollectorState.h"
#include "model/UsageSource.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// How full a window is, as the gauges, the tray icon and the badges colour it.
namespace UsageLevel {
Q_NAMESPACE
QML_ELEMENT

enum Value {
    Normal,   // the accent colour
    Warning,  // orange: 75 % or more
    Critical, // red: 90 % or more
};
Q_ENUM_NS(Value)

} // namespace UsageLevel

// The numbers and words the views show for a window or a snapshot. Percentages
// are shown whole and within 0..100; the colours change at 75 and 90, inclusive.
namespace UsageFormat {

// "42%": 0 at or below 0, else the value capped at 100 and rounded.
QString usedText(double usedPercent);
// "58% remaining": 100 at or below 0, 0 above 100, else 100 minus the value, rounded.
QString remainingText(double usedPercent);
// What the gauge shows, 0..100.
double gaugeValue(double usedPercent);
UsageLevel::Value level(double usedPercent);

// "LIVE", "FALLBACK", "STALE", "SETUP", "ERROR".
QString badgeText(CollectorState state);
// "OpenAI account limits", "Claude account · live bridge", ...
QString sourceLabel(UsageSource source);

} // namespace UsageFormat
