#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QString>

// Parses `data` with the strict reader: the top level must be an object or an
// array, and nothing but white space may follow it. The error names `subject`,
// e.g. "~/.claude/settings.json is not valid JSON (illegal value at offset 0)".
Result<QJsonDocument> parseJson(const QByteArray &data, const QString &subject);
