#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

// Reads the text Claude Code draws for `/usage` (escape sequences, redraws and
// all) into a snapshot: the session window, the weekly window for all models,
// the weekly windows of single models, their reset moments, and the plan and
// model names from the account line.
namespace ClaudeUsageTextDecoder {

Result<ProviderSnapshot> decode(const QString &text, const QDateTime &collectedAt);

// The next moment a reset line names, in the time zone it names (the system's
// when none or an unknown one): "Resets 2:59pm (Europe/Berlin)",
// "Resets 10pm", "Resets Nov 20 at 3pm", "Resets Mar 5, 7pm",
// "Resets Mar 20, 12:30pm", "Resets Sat 5:00 AM".
std::optional<QDateTime> parseReset(const QString &text, const QDateTime &now);

// The number nearest before the first `marker` in `line`: "▌▌ 23% used" gives 23.
std::optional<double> firstNumber(QChar marker, const QString &line);

// From the first line with " · Claude ": "Opus 4.1 · Claude Max · Org" gives "Max".
std::optional<QString> planName(const QStringList &lines);

} // namespace ClaudeUsageTextDecoder
