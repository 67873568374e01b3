#pragma once

#include <QByteArray>
#include <QList>

// Keeps numbers exactly as written through a parse-and-rewrite with Qt's JSON,
// which holds integers only within the signed 64-bit range and other numbers
// as doubles (an integer beyond that range would come back rounded, and a
// number beyond a double's range would not parse at all). Before parsing,
// every number that is not a 64-bit integer, and every string whose value Qt
// would change (one holding U+FEFF or a lone surrogate), is replaced by a
// unique string token; after writing, the tokens are replaced by the
// original text. Used for
// files other programs own, whose values must survive our edits unchanged.
class JsonNumberShield
{
public:
    JsonNumberShield();

    // `json` with the fragile numbers replaced by tokens. Text that is not
    // valid JSON comes back in a form that still fails to parse.
    QByteArray shield(const QByteArray &json);
    // Puts the original numbers back into JSON written from shielded values.
    QByteArray restore(const QByteArray &json) const;

private:
    QByteArray token() const;

    QByteArray m_prefix;
    QList<QByteArray> m_numbers;
};
