#pragma once

#include "model/ProviderSnapshot.h"

#include <QJsonObject>

// Snapshots and JSON objects that several tests share.
namespace SnapshotSamples {

// 2026-01-31T17:05:09Z
QDateTime wholeSecond();

// A snapshot with every optional member set and two windows.
ProviderSnapshot full(const QDateTime &collectedAt);

// Rows for a data-driven test of the rules every snapshot reader follows:
// columns "object" (QJsonObject, with ISO 8601 dates) and "decodes" (bool).
// An object that decodes has no optional members and was collected at
// wholeSecond() by codex.
void addDecodingRows();

} // namespace SnapshotSamples
