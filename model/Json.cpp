#include "model/Json.h"

#include <QJsonParseError>

Result<QJsonDocument> parseJson(const QByteArray &data, const QString &subject)
{
    QJsonParseError parseError{};
    QJsonDocument document = QJsonDocument::fromJson(data, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return Error::platform(QStringLiteral("%1 is not valid JSON (%2 at offset %3)")
                                   .arg(subject, parseError.errorString())
                                   .arg(parseError.offset));
    }
    return document;
}

std::optional<double> jsonNumber(const QJsonValue &value)
{
    if (value.isDouble())
        return value.toDouble();
    if (value.isBool())
        return value.toBool() ? 1.0 : 0.0;
    return std::nullopt;
}
