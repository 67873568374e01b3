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
// 64-bit range, written the way Qt writes it back ("-0" comes back as "0").
bool survivesAsIs(const QByteArray &literal)
{
    for (const char c : literal) {
        if (c == '.' || c == 'e' || c == 'E')
            return false;
    }
    bool ok = false;
    const qlonglong value = literal.toLongLong(&ok);
    return ok && QByteArray::number(value) == literal;
}

// Whether Qt would change this string literal's value (quotes included): it
// drops U+FEFF and turns lone surrogates into U+FFFD.
bool stringSurvivesAsIs(QByteArrayView literal)
{
    if (literal.contains("\xEF\xBB\xBF"))
        return false;
    for (qsizetype i = 0; i + 5 < literal.size(); ++i) {
        if (literal[i] != '\\')
            continue;
        if (literal[i + 1] == 'u') {
            const QByteArray hex = literal.sliced(i + 2, 4).toByteArray().toUpper();
            if (hex == "FEFF" || (hex[0] == 'D' && hex[1] >= '8'))
                return false;
        }
        ++i; // the escaped character is no escape itself
    }
    return true;
}

// One past the closing quote of the string that opens at `from` (past the
// end when it is not closed).
qsizetype stringEnd(const QByteArray &json, qsizetype from)
{
    for (qsizetype i = from + 1; i < json.size(); ++i) {
        if (json[i] == '\\')
            ++i;
        else if (json[i] == '"')
            return i + 1;
    }
    return json.size() + 1;
}

} // namespace

QByteArray JsonNumberShield::token() const
{
    return '"' + m_prefix + QByteArray::number(m_numbers.size()) + '"';
}

JsonNumberShield::JsonNumberShield()
    // A random prefix cannot collide with a string the file already holds.
    : m_prefix("limitra-number-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces) + '-')
{
}

QByteArray JsonNumberShield::shield(const QByteArray &json)
{
    // A text that already holds the prefix (it cannot guess it, but it can
    // hold anything) would have that string replaced on the way back.
    while (m_numbers.isEmpty() && json.contains(m_prefix))
        m_prefix = "limitra-number-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces) + '-';
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
            const qsizetype end = stringEnd(json, i);
            if (end <= json.size() && !stringSurvivesAsIs(QByteArrayView(json).sliced(i, end - i))) {
                result.append(token());
                m_numbers.append(json.sliced(i, end - i));
                i = end - 1;
                continue;
            }
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
                result.append(token());
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
