#include "model/JsonNumberShield.h"

#include <QUuid>

namespace {

bool isNumberCharacter(char c)
{
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
bool isValidNumber(const QByteArray &literal)
{
    qsizetype i = 0;
    const qsizetype size = literal.size();
    const auto digits = [&] {
        const qsizetype start = i;
        while (i < size && literal[i] >= '0' && literal[i] <= '9')
            ++i;
        return i - start;
    };
    if (i < size && literal[i] == '-')
        ++i;
    if (i < size && literal[i] == '0')
        ++i;
    else if (digits() == 0)
        return false;
    if (i < size && literal[i] == '.') {
        ++i;
        if (digits() == 0)
            return false;
    }
    if (i < size && (literal[i] == 'e' || literal[i] == 'E')) {
        ++i;
        if (i < size && (literal[i] == '+' || literal[i] == '-'))
            ++i;
        if (digits() == 0)
            return false;
    }
    return i == size;
}

// Whether Qt keeps this number literal exactly: an integer in the signed
// 64-bit range.
bool survivesAsIs(const QByteArray &literal)
{
    for (const char c : literal) {
        if (c == '.' || c == 'e' || c == 'E')
            return false;
    }
    bool ok = false;
    literal.toLongLong(&ok);
    return ok;
}

} // namespace

JsonNumberShield::JsonNumberShield()
    // A random prefix cannot collide with a string the file already holds.
    : m_prefix("limitra-number-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces) + '-')
{
}

QByteArray JsonNumberShield::shield(const QByteArray &json)
{
    QByteArray result;
    result.reserve(json.size());
    bool inString = false;
    bool escaped = false;
    for (qsizetype i = 0; i < json.size(); ++i) {
        const char c = json[i];
        if (inString) {
            result.append(c);
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == '"') {
            inString = true;
            result.append(c);
            continue;
        }
        if (c == '-' || (c >= '0' && c <= '9')) {
            qsizetype end = i;
            while (end < json.size() && isNumberCharacter(json[end]))
                ++end;
            const QByteArray literal = json.mid(i, end - i);
            if (!isValidNumber(literal) || survivesAsIs(literal)) {
                // Invalid numbers stay, so the document stays invalid.
                result.append(literal);
            } else {
                result.append('"' + m_prefix + QByteArray::number(m_numbers.size()) + '"');
                m_numbers.append(literal);
            }
            i = end - 1;
            continue;
        }
        result.append(c);
    }
    return result;
}

QByteArray JsonNumberShield::restore(const QByteArray &json) const
{
    if (m_numbers.isEmpty())
        return json;
    const QByteArray opening = '"' + m_prefix;
    QByteArray result;
    result.reserve(json.size());
    qsizetype from = 0;
    while (true) {
        const qsizetype at = json.indexOf(opening, from);
        const qsizetype close = at < 0 ? -1 : json.indexOf('"', at + opening.size());
        if (close < 0)
            break;
        bool ok = false;
        const qsizetype index = json.mid(at + opening.size(), close - at - opening.size()).toLongLong(&ok);
        result.append(json.mid(from, at - from));
        if (ok && index >= 0 && index < m_numbers.size())
            result.append(m_numbers[index]);
        else
            result.append(json.mid(at, close + 1 - at));
        from = close + 1;
    }
    result.append(json.mid(from));
    return result;
}
