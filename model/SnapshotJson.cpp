#include "model/SnapshotJson.h"

#include "model/Json.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace {

Error decodingError(const QString &what)
{
    return Error::platform(QStringLiteral("Usage data could not be read: %1").arg(what));
}

void putOptional(QJsonObject &object, const QString &key, const std::optional<QString> &value)
{
    if (value)
        object.insert(key, *value);
}

// A missing key and JSON null both read as absent.
bool isAbsent(const QJsonValue &value)
{
    return value.isUndefined() || value.isNull();
}

Result<QString> requiredString(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (!value.isString())
        return decodingError(QStringLiteral("\"%1\" is missing or not a string").arg(key));
    return value.toString();
}

Result<std::optional<QString>> optionalString(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (isAbsent(value))
        return std::optional<QString>();
    if (!value.isString())
        return decodingError(QStringLiteral("\"%1\" is not a string").arg(key));
    return std::optional<QString>(value.toString());
}

Result<std::optional<QDateTime>> optionalDate(const QJsonObject &object, const QString &key, DateCoding dates)
{
    const QJsonValue value = object.value(key);
    if (isAbsent(value))
        return std::optional<QDateTime>();
    std::optional<QDateTime> date = decodeDate(value, dates);
    if (!date)
        return decodingError(QStringLiteral("\"%1\" is not a date").arg(key));
    return std::optional<QDateTime>(*date);
}

template <typename E>
Result<E> requiredEnum(const QJsonObject &object, const QString &key)
{
    Result<QString> text = requiredString(object, key);
    if (!text)
        return text.error();
    std::optional<E> value = fromRawValue<E>(*text);
    if (!value)
        return decodingError(QStringLiteral("\"%1\" has the unknown value \"%2\"").arg(key, *text));
    return *value;
}

} // namespace

QJsonObject encodeWindow(const UsageWindow &window, DateCoding dates)
{
    QJsonObject object{
        {QStringLiteral("id"), window.id},
        {QStringLiteral("label"), window.label},
        {QStringLiteral("usedPercent"), window.usedPercent},
    };
    if (window.resetsAt)
        object.insert(QStringLiteral("resetsAt"), encodeDate(*window.resetsAt, dates));
    if (window.windowMinutes)
        object.insert(QStringLiteral("windowMinutes"), *window.windowMinutes);
    putOptional(object, QStringLiteral("scope"), window.scope);
    return object;
}

QJsonObject encodeSnapshot(const ProviderSnapshot &snapshot, DateCoding dates)
{
    QJsonArray windows;
    for (const UsageWindow &window : snapshot.windows)
        windows.append(encodeWindow(window, dates));

    QJsonObject object{
        {QStringLiteral("id"), snapshot.id.toString(QUuid::WithoutBraces).toUpper()},
        {QStringLiteral("provider"), rawValue(snapshot.provider)},
        {QStringLiteral("collectedAt"), encodeDate(snapshot.collectedAt, dates)},
        {QStringLiteral("source"), rawValue(snapshot.source)},
        {QStringLiteral("state"), rawValue(snapshot.state)},
        {QStringLiteral("windows"), windows},
    };
    putOptional(object, QStringLiteral("planName"), snapshot.planName);
    putOptional(object, QStringLiteral("creditBalance"), snapshot.creditBalance);
    putOptional(object, QStringLiteral("modelName"), snapshot.modelName);
    putOptional(object, QStringLiteral("message"), snapshot.message);
    return object;
}

Result<UsageWindow> decodeWindow(const QJsonValue &value, DateCoding dates)
{
    if (!value.isObject())
        return decodingError(QStringLiteral("a window is not an object"));
    const QJsonObject object = value.toObject();

    UsageWindow window;
    Result<QString> id = requiredString(object, QStringLiteral("id"));
    if (!id)
        return id.error();
    window.id = *id;
    Result<QString> label = requiredString(object, QStringLiteral("label"));
    if (!label)
        return label.error();
    window.label = *label;

    const QJsonValue used = object.value(QStringLiteral("usedPercent"));
    if (!used.isDouble())
        return decodingError(QStringLiteral("\"usedPercent\" is missing or not a number"));
    window.usedPercent = used.toDouble();

    Result<std::optional<QDateTime>> resetsAt = optionalDate(object, QStringLiteral("resetsAt"), dates);
    if (!resetsAt)
        return resetsAt.error();
    window.resetsAt = *resetsAt;

    const QJsonValue minutes = object.value(QStringLiteral("windowMinutes"));
    if (!isAbsent(minutes)) {
        const qint64 whole = minutes.toInteger(0);
        if (!minutes.isDouble() || static_cast<double>(whole) != minutes.toDouble()
            || std::fabs(minutes.toDouble()) > kMaxWindowMinutes)
            return decodingError(QStringLiteral("\"windowMinutes\" is not a whole number"));
        window.windowMinutes = whole;
    }

    Result<std::optional<QString>> scope = optionalString(object, QStringLiteral("scope"));
    if (!scope)
        return scope.error();
    window.scope = *scope;
    return window;
}

Result<ProviderSnapshot> decodeSnapshot(const QJsonValue &value, DateCoding dates)
{
    if (!value.isObject())
        return decodingError(QStringLiteral("a snapshot is not an object"));
    const QJsonObject object = value.toObject();

    ProviderSnapshot snapshot;
    Result<QString> idText = requiredString(object, QStringLiteral("id"));
    if (!idText)
        return idText.error();
    snapshot.id = QUuid::fromString(*idText);
    if (idText->size() != 36 || snapshot.id.isNull())
        return decodingError(QStringLiteral("\"id\" is not a UUID"));

    Result<UsageProvider> provider = requiredEnum<UsageProvider>(object, QStringLiteral("provider"));
    if (!provider)
        return provider.error();
    snapshot.provider = *provider;

    std::optional<QDateTime> collectedAt = decodeDate(object.value(QStringLiteral("collectedAt")), dates);
    if (!collectedAt)
        return decodingError(QStringLiteral("\"collectedAt\" is missing or not a date"));
    snapshot.collectedAt = *collectedAt;

    Result<UsageSource> source = requiredEnum<UsageSource>(object, QStringLiteral("source"));
    if (!source)
        return source.error();
    snapshot.source = *source;
    Result<CollectorState> state = requiredEnum<CollectorState>(object, QStringLiteral("state"));
    if (!state)
        return state.error();
    snapshot.state = *state;

    const QJsonValue windows = object.value(QStringLiteral("windows"));
    if (!windows.isArray())
        return decodingError(QStringLiteral("\"windows\" is missing or not a list"));
    const QJsonArray list = windows.toArray();
    for (const auto &element : list) {
        Result<UsageWindow> window = decodeWindow(element, dates);
        if (!window)
            return window.error();
        addWindow(snapshot.windows, std::move(*window));
    }

    const std::pair<const char *, std::optional<QString> ProviderSnapshot::*> optionals[] = {
        {"planName", &ProviderSnapshot::planName},
        {"creditBalance", &ProviderSnapshot::creditBalance},
        {"modelName", &ProviderSnapshot::modelName},
        {"message", &ProviderSnapshot::message},
    };
    for (const auto &[key, member] : optionals) {
        Result<std::optional<QString>> text = optionalString(object, QLatin1String(key));
        if (!text)
            return text.error();
        snapshot.*member = *text;
    }
    return snapshot;
}

QByteArray encodeFallbackSnapshot(const ProviderSnapshot &snapshot)
{
    return QJsonDocument(encodeSnapshot(snapshot, DateCoding::referenceDateSeconds)).toJson(QJsonDocument::Compact);
}

Result<ProviderSnapshot> decodeFallbackSnapshot(const QByteArray &data)
{
    Result<QJsonDocument> document = parseJson(data, QStringLiteral("The Claude fallback snapshot"));
    if (!document)
        return document.error();
    if (!document->isObject())
        return decodingError(QStringLiteral("the fallback snapshot is not an object"));
    return decodeSnapshot(document->object(), DateCoding::referenceDateSeconds);
}
