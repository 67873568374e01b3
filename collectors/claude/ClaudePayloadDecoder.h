#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

// Turns a Claude Code status-line payload into a snapshot. Only "rate_limits"
// (one object per limit window) and "model"."display_name" are read.
namespace ClaudePayloadDecoder {

// `collectedAt` is when the payload was recorded; a snapshot older than
// `staleAfter` seconds at `now` is stale.
Result<ProviderSnapshot> decode(const QByteArray &data, const QDateTime &collectedAt, double staleAfter,
                                const QDateTime &now = QDateTime::currentDateTimeUtc());

// The vocabulary of Claude's window keys.
QString displayLabel(const QString &key);
std::optional<qint64> minutes(const QString &key);

} // namespace ClaudePayloadDecoder
