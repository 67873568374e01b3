// What the Codex numbers mean: the "account/rateLimits/read" result as windows.
#include "collectors/codex/CodexRPCSession.h"

#include "model/DateCoding.h"
#include "model/Json.h"
#include "model/TextCase.h"

#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <utility>

namespace CodexRPCSession {

namespace {

using LimitEntry = std::pair<QString, QJsonObject>;

// Every limit family the result reports, in the order their windows are listed.
std::optional<QList<LimitEntry>> limitEntries(const QJsonObject &result)
{
    const QJsonValue byId = result.value(QStringLiteral("rateLimitsByLimitId"));
    if (byId.isObject() && !byId.toObject().isEmpty()) {
        const QJsonObject limits = byId.toObject();
        QList<LimitEntry> entries;
        bool allObjects = true;
        for (auto it = limits.begin(); it != limits.end() && allObjects; ++it) {
            allObjects = it.value().isObject();
            entries.append({it.key(), it.value().toObject()});
        }
        if (allObjects) {
            std::sort(entries.begin(), entries.end(),
                      [](const LimitEntry &a, const LimitEntry &b) { return a.first.toUtf8() < b.first.toUtf8(); });
            return entries;
        }
    }
    const QJsonValue single = result.value(QStringLiteral("rateLimits"));
    if (single.isObject()) {
        const QJsonObject limit = single.toObject();
        const QJsonValue id = limit.value(QStringLiteral("limitId"));
        return QList<LimitEntry>{{id.isString() ? id.toString() : QStringLiteral("codex"), limit}};
    }
    return std::nullopt;
}

// A window length in whole minutes; none when it is missing, and the window is
// unusable (outer none) when the number is beyond any sensible length.
std::optional<std::optional<qint64>> windowMinutes(const QJsonValue &value)
{
    const std::optional<double> minutes = jsonNumber(value);
    if (!minutes)
        return std::optional<qint64>();
    const double whole = std::trunc(*minutes);
    if (!std::isfinite(whole) || std::fabs(whole) > kMaxWindowMinutes)
        return std::nullopt;
    return std::optional<qint64>(static_cast<qint64>(whole));
}

} // namespace

QString label(std::optional<qint64> minutes, const QString &fallback)
{
    if (!minutes)
        return fallback;
    const qint64 value = *minutes;
    if (value == 300)
        return QStringLiteral("5-hour");
    if (value == 10080)
        return QStringLiteral("Weekly");
    if (value == 1440)
        return QStringLiteral("Daily");
    if (value >= 40320 && value <= 44640)
        return QStringLiteral("Monthly");
    if (value % 1440 == 0)
        return QString::number(value / 1440) + QStringLiteral("-day");
    if (value % 60 == 0)
        return QString::number(value / 60) + QStringLiteral("-hour");
    return QString::number(value) + QStringLiteral("-minute");
}

Result<ProviderSnapshot> decode(const QJsonObject &result, const QDateTime &collectedAt)
{
    const std::optional<QList<LimitEntry>> entries = limitEntries(result);
    if (!entries)
        return LimitraError::invalidResponse(QStringLiteral("rate limits were absent"));

    std::optional<QString> plan;
    std::optional<QString> credit;
    QList<UsageWindow> windows;
    for (const auto &[limitId, limit] : *entries) {
        const QJsonValue planType = limit.value(QStringLiteral("planType"));
        if (!plan && planType.isString())
            plan = planType.toString();
        const QJsonValue limitName = limit.value(QStringLiteral("limitName"));
        const std::optional<QString> scopeName =
            limitName.isString() ? std::optional<QString>(limitName.toString()) : std::nullopt;

        const QJsonValue credits = limit.value(QStringLiteral("credits"));
        if (credits.isObject()) {
            const QJsonObject creditObject = credits.toObject();
            const QJsonValue unlimited = creditObject.value(QStringLiteral("unlimited"));
            const QJsonValue balance = creditObject.value(QStringLiteral("balance"));
            if (unlimited.isBool() && unlimited.toBool())
                credit = QStringLiteral("Unlimited");
            else if (balance.isString())
                credit = balance.toString();
        }

        for (const QString &slot : {QStringLiteral("primary"), QStringLiteral("secondary")}) {
            const QJsonValue windowValue = limit.value(slot);
            if (!windowValue.isObject())
                continue;
            const QJsonObject window = windowValue.toObject();
            const std::optional<double> used = jsonNumber(window.value(QStringLiteral("usedPercent")));
            if (!used)
                continue;
            const std::optional<std::optional<qint64>> minutes =
                windowMinutes(window.value(QStringLiteral("windowDurationMins")));
            if (!minutes)
                continue;
            std::optional<QDateTime> resetsAt;
            if (const std::optional<double> seconds = jsonNumber(window.value(QStringLiteral("resetsAt"))))
                resetsAt = dateFromUnixSeconds(*seconds);

            std::optional<QString> scope = scopeName;
            if (!scope && limitId != QLatin1String("codex"))
                scope = limitId;
            addWindow(windows, UsageWindow{
                                   .id = QStringLiteral("codex.") + limitId + QLatin1Char('.') + slot,
                                   .label = label(*minutes, slot.left(1).toUpper() + slot.mid(1)),
                                   .usedPercent = *used,
                                   .resetsAt = resetsAt,
                                   .windowMinutes = *minutes,
                                   .scope = scope,
                               });
        }
    }

    ProviderSnapshot snapshot;
    snapshot.provider = UsageProvider::codex;
    snapshot.collectedAt = collectedAt;
    snapshot.source = UsageSource::codexAppServer;
    snapshot.state = windows.isEmpty() ? CollectorState::unavailable : CollectorState::connected;
    snapshot.windows = windows;
    if (plan)
        snapshot.planName = capitalizeWords(QString(*plan).replace(QLatin1Char('_'), QLatin1Char(' ')));
    snapshot.creditBalance = credit;
    if (windows.isEmpty())
        snapshot.message = QStringLiteral("Codex did not report subscription usage windows.");
    return snapshot;
}

} // namespace CodexRPCSession
