// The helper's input boundary scanner: cut into chunks anywhere (the first
// byte chooses the cuts), it decides as it does on the whole input, and a
// document it calls complete is exactly one JSON value by the strict grammar.
#include "FuzzInput.h"
#include "collectors/claude/JsonBoundaryScanner.h"
#include "model/JsonGrammar.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const unsigned step = data[0] % 7 + 1;
    const QByteArray input = fuzzBytes(data + 1, size - 1);

    JsonBoundaryScanner whole;
    whole.feed(input);
    JsonBoundaryScanner chunked;
    for (qsizetype at = 0; at < input.size(); at += step)
        chunked.feed(QByteArrayView(input).sliced(at, std::min<qsizetype>(step, input.size() - at)));
    FUZZ_CHECK(whole.state() == chunked.state());

    if (whole.state() == JsonBoundaryScanner::State::complete) {
        // The shortest prefix the scanner completes on is the document.
        for (qsizetype end = 1; end <= input.size(); ++end) {
            JsonBoundaryScanner prefix;
            if (prefix.feed(QByteArrayView(input).first(end)) == JsonBoundaryScanner::State::complete) {
                const QByteArrayView document = QByteArrayView(input).first(end);
                // Grammatical documents end exactly there; the scanner does not
                // validate, so only the converse is a property.
                if (!checkJsonGrammar(document)) {
                    for (qsizetype shorter = 1; shorter < end; ++shorter)
                        FUZZ_CHECK(checkJsonGrammar(QByteArrayView(input).first(shorter)).has_value());
                }
                break;
            }
        }
    }
    return 0;
}
