#pragma once

#include "model/ProviderSnapshot.h"

#include <QJsonObject>

// Snapshots and JSON objects that several tests share.
namespace SnapshotSamples {

// 2026-01-31T17:05:09Z
QDateTime wholeSecond();

// The one builder of test snapshots: a connected snapshot of `provider`,
// collected at `at` from that provider's usual source, with `windows`.
ProviderSnapshot connected(UsageProvider provider, const QDateTime &at, QList<UsageWindow> windows = {});

// The five-hour ("<provider>.five_hour", 300 minutes) and weekly
// ("<provider>.seven_day", 10080 minutes) windows at `used` percent.
UsageWindow fiveHour(UsageProvider provider, double used, std::optional<QDateTime> resetsAt = std::nullopt);
UsageWindow weekly(UsageProvider provider, double used, std::optional<QDateTime> resetsAt = std::nullopt);

// A snapshot with every optional member set and two windows.
ProviderSnapshot full(const QDateTime &collectedAt);

// Rows for a data-driven test of the rules every snapshot reader follows:
// columns "object" (QJsonObject, with ISO 8601 dates) and "decodes" (bool).
// An object that decodes has no optional members and was collected at
// wholeSecond() by codex.
void addDecodingRows();

} // namespace SnapshotSamples
