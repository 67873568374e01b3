#include "collectors/claude/ClaudePayloadDecoder.h"

#include "model/DateCoding.h"
#include "model/Json.h"
#include "model/TextCase.h"

#include <QJsonObject>

#include <algorithm>

namespace ClaudePayloadDecoder {

namespace {

std::optional<QString> scope(const QString &key)
{
    if (key.contains(QLatin1String("fable")))
        return QStringLiteral("Fable");
    if (key.contains(QLatin1String("opus")))
        return QStringLiteral("Opus");
    return std::nullopt;
}

// Keys in code-point order (UTF-8 byte order is code-point order).
QStringList sortedKeys(const QJsonObject &object)
{
    QStringList keys = object.keys();
    std::sort(keys.begin(), keys.end(), [](const QString &a, const QString &b) { return a.toUtf8() < b.toUtf8(); });
    return keys;
}

} // namespace

QString displayLabel(const QString &key)
{
    if (key == QLatin1String("five_hour"))
        return QStringLiteral("5-hour");
    if (key == QLatin1String("seven_day"))
        return QStringLiteral("Weekly");
    if (key == QLatin1String("fable") || key == QLatin1String("fable_weekly")
        || key == QLatin1String("fable_seven_day"))
        return QStringLiteral("Fable");
    if (key == QLatin1String("opus") || key == QLatin1String("opus_weekly"))
        return QStringLiteral("Opus");
    return capitalizeWords(key.split(QLatin1Char('_'), Qt::SkipEmptyParts).join(QLatin1Char(' ')));
}

std::optional<qint64> minutes(const QString &key)
{
    if (key == QLatin1String("five_hour"))
        return 300;
    if (key == QLatin1String("seven_day") || key == QLatin1String("fable") || key == QLatin1String("fable_weekly")
        || key == QLatin1String("fable_seven_day") || key == QLatin1String("opus_weekly"))
        return 10080;
    // "opus" alone has no known duration.
    return std::nullopt;
}

Result<ProviderSnapshot> decode(const QByteArray &data, const QDateTime &collectedAt, double staleAfter,
                                const QDateTime &now)
{
    Result<QJsonDocument> document = parseJson(data, QStringLiteral("The Claude status-line payload"));
    if (!document)
        return document.error();
    if (!document->isObject())
        return LimitraError::invalidResponse(QStringLiteral("Claude status-line payload is not an object"));
    const QJsonObject root = document->object();

    const QJsonObject limits = root.value(QStringLiteral("rate_limits")).toObject();
    QList<UsageWindow> windows;
    for (const QString &key : sortedKeys(limits)) {
        const QJsonValue member = limits.value(key);
        if (!member.isObject())
            continue;
        const QJsonObject limit = member.toObject();
        const std::optional<double> used = jsonNumber(limit.value(QStringLiteral("used_percentage")));
        if (!used)
            continue;
        std::optional<QDateTime> resetsAt;
        if (const auto seconds = jsonNumber(limit.value(QStringLiteral("resets_at"))))
            resetsAt = dateFromUnixSeconds(*seconds);
        addWindow(windows, UsageWindow{
                               .id = QStringLiteral("claude.") + key,
                               .label = displayLabel(key),
                               .usedPercent = *used,
                               .resetsAt = resetsAt,
                               .windowMinutes = minutes(key),
                               .scope = scope(key),
                           });
    }

    std::optional<QString> modelName;
    const QJsonValue displayName = root.value(QStringLiteral("model")).toObject().value(QStringLiteral("display_name"));
    if (displayName.isString())
        modelName = displayName.toString();

    ProviderSnapshot snapshot;
    snapshot.provider = UsageProvider::claude;
    snapshot.collectedAt = collectedAt;
    snapshot.source = UsageSource::claudeStatusLine;
    snapshot.windows = windows;
    snapshot.modelName = modelName;

    const double age = static_cast<double>(collectedAt.msecsTo(now)) / 1000.0;
    if (windows.isEmpty()) {
        snapshot.state = CollectorState::unavailable;
        snapshot.message = QStringLiteral("Claude has not reported plan limits yet. They appear after the first "
                                          "response for supported subscriptions.");
    } else if (age > staleAfter) {
        snapshot.state = CollectorState::stale;
        snapshot.message = QStringLiteral("This is the last usage reported by Claude Code.");
    } else {
        snapshot.state = CollectorState::connected;
    }
    return snapshot;
}

} // namespace ClaudePayloadDecoder
