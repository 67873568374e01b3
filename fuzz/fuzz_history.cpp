// The history reader: it agrees with the strict grammar on what is a
// document, and what it reads, written again, reads back the same.
#include "FuzzInput.h"
#include "model/JsonGrammar.h"
#include "storage/ArchiveFormat.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray file = fuzzBytes(data, size);
    file.reserve(file.size() + ArchiveFormat::kReadPadding);
    const Result<UsageArchive> archive = ArchiveFormat::decode(file);
    if (!archive)
        return 0;
    FUZZ_CHECK(!checkJsonGrammar(file).has_value());
    QByteArray written = ArchiveFormat::encode(*archive);
    written.reserve(written.size() + ArchiveFormat::kReadPadding);
    const Result<UsageArchive> again = ArchiveFormat::decode(written);
    FUZZ_CHECK(again.ok());
    FUZZ_CHECK(again->snapshots == archive->snapshots);
    return 0;
}
