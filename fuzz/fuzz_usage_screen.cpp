// The /usage screen decoder: any screen decodes or is refused, with one
// window per id and only finite percentages.
#include "FuzzInput.h"
#include "collectors/claude/ClaudeUsageTextDecoder.h"

#include <QSet>

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QDateTime now = QDateTime::fromSecsSinceEpoch(1790000000, Qt::UTC);
    const QString screen = QString::fromUtf8(fuzzBytes(data, size));
    ClaudeUsageTextDecoder::showsWholeScreen(screen);
    ClaudeUsageTextDecoder::showsSignedOut(screen);
    const Result<ProviderSnapshot> snapshot = ClaudeUsageTextDecoder::decode(screen, now);
    if (snapshot) {
        QSet<QString> ids;
        for (const UsageWindow &window : snapshot->windows) {
            ids.insert(window.id);
            FUZZ_CHECK(std::isfinite(window.usedPercent));
        }
        FUZZ_CHECK(ids.size() == snapshot->windows.size());
    }
    return 0;
}
