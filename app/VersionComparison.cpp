#include "app/VersionComparison.h"

#include <QList>

namespace {

enum class PartType { number, word, separator };

struct Part {
    PartType type;
    QString text;
};

PartType typeOf(QChar c)
{
    if (c.isDigit())
        return PartType::number;
    if (c.isLetter())
        return PartType::word;
    return PartType::separator;
}

QList<Part> split(const QString &version)
{
    QList<Part> parts;
    const QString trimmed = version.trimmed();
    for (const QChar c : trimmed) {
        const PartType type = typeOf(c);
        // Every separator character stands alone; digits and letters form runs.
        if (!parts.isEmpty() && parts.last().type == type && type != PartType::separator)
            parts.last().text += c;
        else
            parts.append({type, QString(c)});
    }
    return parts;
}

int compareNumbers(QString a, QString b)
{
    while (a.size() > 1 && a.front() == QLatin1Char('0'))
        a.remove(0, 1);
    while (b.size() > 1 && b.front() == QLatin1Char('0'))
        b.remove(0, 1);
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

int sign(int value)
{
    return (value > 0) - (value < 0);
}

// How the rest of a longer version compares with nothing: a word (perhaps
// after separators) makes it a pre-release, a number makes it newer.
int restComparedWithNothing(const QList<Part> &parts, qsizetype from)
{
    for (qsizetype i = from; i < parts.size(); ++i) {
        if (parts[i].type == PartType::word)
            return -1;
        if (parts[i].type == PartType::number)
            return 1;
    }
    return 0;
}

} // namespace

int compareVersions(const QString &a, const QString &b)
{
    const QList<Part> left = split(a);
    const QList<Part> right = split(b);
    const qsizetype common = std::min(left.size(), right.size());
    for (qsizetype i = 0; i < common; ++i) {
        const Part &l = left[i];
        const Part &r = right[i];
        if (l.type != r.type) {
            // A number beats a separator or a word at the same place: "1.3.1" > "1.3b".
            if (l.type == PartType::number)
                return 1;
            if (r.type == PartType::number)
                return -1;
            // A word marks a pre-release: "1.3b" < "1.3-1".
            return l.type == PartType::word ? -1 : 1;
        }
        if (l.type == PartType::number) {
            if (const int order = compareNumbers(l.text, r.text))
                return sign(order);
        } else if (l.type == PartType::word) {
            if (const int order = l.text.compare(r.text, Qt::CaseInsensitive))
                return sign(order);
        }
    }
    if (left.size() > common)
        return restComparedWithNothing(left, common);
    if (right.size() > common)
        return -restComparedWithNothing(right, common);
    return 0;
}
