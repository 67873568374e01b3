#pragma once

#include <QDateTime>
#include <QString>

// Fixed English abbreviated relative time from `now` to `target`, for example
// "in 2 hr.", "3 min. ago", "in 1 day", "in 0 sec.". The largest unit that
// fits is used and the count is cut toward zero: seconds below a minute, then
// minutes, hours, days (below a week), weeks (below 30 days), months (30 days,
// below 365 days) and years.
QString relativeTimeText(const QDateTime &target, const QDateTime &now);
