#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QJsonObject>
#include <QSemaphore>
#include <QString>

#include <functional>
#include <optional>

// One measurement through `codex app-server --listen stdio://`: start the
// server, initialise, ask for the account's rate limits, decode them, stop the
// server and everything it started. Blocks the calling thread.
namespace CodexRPCSession {

// Waits up to `timeout` seconds for `answered`; false when the time ran out.
using Wait = std::function<bool(QSemaphore &answered, double timeout)>;
bool waitOnTheClock(QSemaphore &answered, double timeout);

// `timeout` (seconds) applies to each of the two waits for an answer, which
// `wait` performs (tests decide there when the time runs out).
Result<ProviderSnapshot> collect(const QString &executablePath, double timeout, const Wait &wait = waitOnTheClock);

// The version this client reports to the server.
QString appVersion();

// The response for `operation`, or the failure it carries.
Result<QJsonObject> validate(const std::optional<QJsonObject> &response, const QString &operation);

// The "result" of "account/rateLimits/read" as a snapshot.
Result<ProviderSnapshot> decode(const QJsonObject &result, const QDateTime &collectedAt);

// "5-hour", "Weekly", "2-day", ... for a window length; `fallback` without one.
QString label(std::optional<qint64> minutes, const QString &fallback);

} // namespace CodexRPCSession
