#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// The longest window length, in whole minutes of either sign, that a
// collector takes and every snapshot reader reads back: one bound for all, so
// that nothing is stored that cannot be read again.
inline constexpr double kMaxWindowMinutes = 9e18;

// One rate-limit window of a provider.
struct UsageWindow {
    QString id; // stable across refreshes, e.g. "claude.five_hour"
    QString label;
    double usedPercent = 0; // as reported, not clamped
    std::optional<QDateTime> resetsAt;
    std::optional<qint64> windowMinutes;
    std::optional<QString> scope; // the limit family, absent for the main limit

    // "Reset unavailable", or "Resets " and the relative time from `now`.
    QString resetDescription(const QDateTime &now = QDateTime::currentDateTimeUtc()) const;

    friend bool operator==(const UsageWindow &, const UsageWindow &) = default;
};

// Over every member, as equality is, so that windows can key sets and hashes.
size_t qHash(const UsageWindow &window, size_t seed = 0);

// Adds `window` to a snapshot's windows unless one with its id is there: an id
// appears once per snapshot (the first one wins), whatever the source says, so
// that everything keyed by id (the views' lists, the alerts) can rely on it.
void addWindow(QList<UsageWindow> &windows, UsageWindow window);
