// The status-line payload decoder: any input decodes or is refused, and what
// decodes holds one window per id.
#include "FuzzInput.h"
#include "collectors/claude/ClaudePayloadDecoder.h"

#include <QSet>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1790000000, Qt::UTC);
    const Result<ProviderSnapshot> snapshot = ClaudePayloadDecoder::decode(fuzzBytes(data, size), now, 300, now);
    if (snapshot) {
        QSet<QString> ids;
        for (const UsageWindow &window : snapshot->windows)
            ids.insert(window.id);
        FUZZ_CHECK(ids.size() == snapshot->windows.size());
    }
    return 0;
}
