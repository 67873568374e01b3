#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QByteArray>
#include <QList>

// The history file "usage-history.json": {"snapshots": [...]}, pretty-printed
// with four-space indentation and sorted keys, dates as ISO 8601 texts in UTC
// with whole seconds. The layout is exactly what Qt's JSON writer produces, but
// written by hand so that every snapshot's text stands alone: a new file is
// the header, the snapshots' texts separated by ",\n", and the footer, which
// lets an append copy the unchanged texts of the previous file as they are.
namespace ArchiveFormat {

QByteArray header();
QByteArray footer();
QByteArray separator(bool first);
// Appends the text of one snapshot (without separator).
void appendSnapshot(QByteArray &out, const ProviderSnapshot &snapshot);
QByteArray encode(const UsageArchive &archive);
// Appends `text` as a JSON string, escaped the way Qt's JSON writer does.
void appendJsonString(QByteArray &out, const QString &text);

// Spare capacity the array handed to `decode` should have beyond its content,
// so that the parser can read ahead without copying it.
inline constexpr qsizetype kReadPadding = 64;

// Reads a history file. Strings that repeat (window ids, labels, messages)
// share one copy in memory, which keeps 90 days of snapshots small.
Result<UsageArchive> decode(const QByteArray &file);

// Whether `snapshots` are in the file's order (by collection time).
bool isSorted(const QList<ProviderSnapshot> &snapshots);

} // namespace ArchiveFormat
