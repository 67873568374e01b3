#include "model/Json.h"

#include "model/JsonGrammar.h"

#include <QJsonParseError>

Result<void> requireJsonGrammar(QByteArrayView data, const QString &subject)
{
    if (const std::optional<JsonGrammarError> grammar = checkJsonGrammar(data)) {
        return Error::platform(QStringLiteral("%1 is not valid JSON (%2 at offset %3)")
                                   .arg(subject, QString::fromLatin1(grammar->reason))
                                   .arg(grammar->offset));
    }
    return {};
}

Result<QJsonDocument> parseJson(const QByteArray &data, const QString &subject)
{
    // Qt's reader repairs some damage (a number such as .5, unknown escapes,
    // raw control characters) instead of refusing it.
    if (Result<void> grammar = requireJsonGrammar(data, subject); !grammar)
        return grammar.error();
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
