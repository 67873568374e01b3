#pragma once

#include "model/DateCoding.h"
#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QByteArray>
#include <QJsonObject>

// JSON coding of the usage model. Keys are the field names; absent optional
// fields are left out (and read back as absent, as is a JSON null); enumerations
// are their raw values; snapshot ids are upper-case UUID texts.

QJsonObject encodeWindow(const UsageWindow &window, DateCoding dates);
QJsonObject encodeSnapshot(const ProviderSnapshot &snapshot, DateCoding dates);

Result<UsageWindow> decodeWindow(const QJsonValue &value, DateCoding dates);
Result<ProviderSnapshot> decodeSnapshot(const QJsonValue &value, DateCoding dates);

// The Claude fallback file: one snapshot, compact, dates in seconds since 2001.
QByteArray encodeFallbackSnapshot(const ProviderSnapshot &snapshot);
Result<ProviderSnapshot> decodeFallbackSnapshot(const QByteArray &data);
