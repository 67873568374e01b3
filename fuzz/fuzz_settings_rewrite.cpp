// The settings.json rewrite: a text the grammar refuses is refused; one it
// takes goes through Qt's reader and writer with every number and string
// kept, and comes out grammatical again.
#include "FuzzInput.h"
#include "model/Json.h"
#include "model/JsonGrammar.h"
#include "model/JsonNumberShield.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text = fuzzBytes(data, size);
    if (checkJsonGrammar(text))
        return 0;
    JsonNumberShield numbers;
    const Result<QJsonDocument> document = parseJson(numbers.shield(text), QStringLiteral("settings"));
    if (!document)
        return 0; // a top level that is not an object or array
    const QByteArray rewritten = numbers.restore(document->toJson(QJsonDocument::Compact));
    FUZZ_CHECK(!checkJsonGrammar(rewritten).has_value());
    // Written again, the same bytes come out. Their order may differ: Qt
    // sorts keys, and a key that travels as a token sorts by its random name.
    JsonNumberShield second;
    const Result<QJsonDocument> reread = parseJson(second.shield(rewritten), QStringLiteral("settings"));
    FUZZ_CHECK(reread.ok());
    QByteArray again = second.restore(reread->toJson(QJsonDocument::Compact));
    QByteArray once = rewritten;
    std::sort(again.begin(), again.end());
    std::sort(once.begin(), once.end());
    FUZZ_CHECK(again == once);
    return 0;
}
