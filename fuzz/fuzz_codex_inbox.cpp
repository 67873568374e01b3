// The Codex session's receiving side: any output, in any chunks, leaves the
// inbox with answers only to the requests it was told about, and each answer
// that is an object maps to a snapshot or an error.
#include "FuzzInput.h"
#include "collectors/codex/CodexRPCSession.h"
#include "collectors/codex/RPCInbox.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const unsigned step = data[0] % 13 + 1;
    const QByteArray output = fuzzBytes(data + 1, size - 1);
    RPCInbox inbox;
    inbox.prepare(1);
    inbox.prepare(2);
    for (qsizetype at = 0; at < output.size(); at += step)
        inbox.consume(QByteArrayView(output).sliced(at, std::min<qsizetype>(step, output.size() - at)));
    FUZZ_CHECK(!inbox.response(3).has_value());
    for (const qint64 id : {1, 2}) {
        if (const std::optional<QJsonObject> answer = inbox.response(id)) {
            const QJsonValue result = answer->value(QStringLiteral("result"));
            if (result.isObject())
                (void)CodexRPCSession::decode(result.toObject(), QDateTime::fromSecsSinceEpoch(1790000000, Qt::UTC));
        }
    }
    return 0;
}
