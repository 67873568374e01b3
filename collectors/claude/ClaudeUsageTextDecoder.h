#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

// Reads the text Claude Code draws for `/usage` (escape sequences, redraws and
// all) into a snapshot: the session window, the weekly window for all models,
// the weekly windows of single models, the usage credits (a window and the
// amount spent), their reset moments, and the plan and model names from the
// account line.
namespace ClaudeUsageTextDecoder {

Result<ProviderSnapshot> decode(const QString &text, const QDateTime &collectedAt);

// The next moment a reset line names, in the time zone it names (the system's
// when none or an unknown one): "Resets 2:59pm (Europe/Berlin)",
// "Resets 10pm", "Resets Nov 20 at 3pm", "Resets Mar 5, 7pm",
// "Resets Mar 20, 12:30pm", "Resets Jan 6, 2027, 1:48am", "Resets Dec 1"
// (the start of that day), "Resets Sat 5:00 AM".
std::optional<QDateTime> parseReset(const QString &text, const QDateTime &now);

// The percentage directly before "used": "100% 99% used" (the bar's rounded
// figure, then the exact one) gives 99.
std::optional<double> usedPercent(const QString &line);

// From the first line with " · Claude ": "Opus 4.1 · Claude Max · Org" and
// "Opus 5.5 · Claude Max" give "Max".
std::optional<QString> planName(const QStringList &lines);

// Whether `text` holds the whole usage screen, so that it can be read now.
bool showsWholeScreen(const QString &text);

// Whether `text` is what Claude Code shows when no account is signed in.
bool showsSignedOut(const QString &text);

} // namespace ClaudeUsageTextDecoder
