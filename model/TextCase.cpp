#include "model/TextCase.h"

QString capitalizeWords(const QString &text)
{
    QString result;
    result.reserve(text.size());
    bool atWordStart = true;
    for (const QChar c : text) {
        if (c.isSpace()) {
            result.append(c);
            atWordStart = true;
        } else {
            result.append(atWordStart ? c.toUpper() : c.toLower());
            atWordStart = false;
        }
    }
    return result;
}
