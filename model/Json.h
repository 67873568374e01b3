#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonDocument>
#include <QJsonValue>
#include <QString>

#include <optional>

// Parses `data` strictly: it must follow the JSON grammar exactly (see
// checkJsonGrammar), the top level must be an object or an array, and
// nothing but white space may follow it. The error names `subject`,
// e.g. "~/.claude/settings.json is not valid JSON (illegal value at offset 0)".
Result<QJsonDocument> parseJson(const QByteArray &data, const QString &subject);
// The grammar check alone, for text that Qt cannot read as it is (see JsonNumberShield).
Result<void> requireJsonGrammar(QByteArrayView data, const QString &subject);

// A JSON number as a double. Booleans count as numbers (true is 1, false is
// 0), as with the platform readers the file formats were first written for;
// null, strings and containers do not.
std::optional<double> jsonNumber(const QJsonValue &value);
