// Measures the usage history at 90 days: the first load, one round's append,
// and the process's peak resident memory; and the same for the straightforward
// approach (parse and re-encode the whole file with Qt's JSON every round).
//
//   archive_benchmark generate PATH          write a realistic 90-day archive
//   archive_benchmark measure PATH ROUNDS    the store as the application uses it
//   archive_benchmark naive PATH ROUNDS      the straightforward approach
//
// Run each mode in a process of its own (benchmarks/archive does), so that the
// peak memory is that mode's alone.
#include "RealisticHistory.h"
#include "model/Json.h"
#include "model/SnapshotJson.h"
#include "storage/ArchiveFile.h"
#include "storage/ArchiveFormat.h"
#include "system/AtomicFile.h"
#include "system/FileSystem.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sys/resource.h>

namespace {

constexpr int kRoundSeconds = 180;
constexpr int kDays = 90;

long peakResidentKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

// One round's new snapshots: both providers, three minutes after the last.
QList<ProviderSnapshot> nextRound(const QDateTime &at, int round)
{
    QList<ProviderSnapshot> round2;
    for (UsageProvider provider : allCases<UsageProvider>) {
        ProviderSnapshot snapshot;
        snapshot.provider = provider;
        snapshot.collectedAt = at;
        snapshot.state = CollectorState::connected;
        snapshot.windows = {UsageWindow{rawValue(provider) + QStringLiteral(".five_hour"), QStringLiteral("5-hour"),
                                        double(round % 100), at.addSecs(3600), 300, std::nullopt}};
        round2.append(snapshot);
    }
    return round2;
}

// The straightforward approach, as a first implementation would do it.
Result<QList<ProviderSnapshot>> naiveAppend(const QString &path, const QList<ProviderSnapshot> &added,
                                            const QDateTime &now)
{
    QList<ProviderSnapshot> history;
    if (Result<QByteArray> bytes = FileSystem::readFile(path)) {
        const QJsonArray list = QJsonDocument::fromJson(*bytes).object().value(QStringLiteral("snapshots")).toArray();
        for (const QJsonValue &value : list) {
            if (Result<ProviderSnapshot> snapshot = decodeSnapshot(value, DateCoding::iso8601))
                history.append(*snapshot);
        }
    }
    history.append(added);
    const QDateTime cutoff = now.addDays(-kDays);
    history.removeIf([&cutoff](const ProviderSnapshot &s) { return s.collectedAt < cutoff; });
    std::stable_sort(history.begin(), history.end(), [](const ProviderSnapshot &a, const ProviderSnapshot &b) {
        return a.collectedAt < b.collectedAt;
    });
    QJsonArray list;
    for (const ProviderSnapshot &snapshot : history)
        list.append(encodeSnapshot(snapshot, DateCoding::iso8601));
    const QByteArray text = QJsonDocument(QJsonObject{{QStringLiteral("snapshots"), list}}).toJson();
    if (Result<void> written = AtomicFile::write(path, text); !written)
        return written.error();
    return history;
}

int measure(const QString &path, int rounds, bool naive)
{
    QDateTime now = QDateTime::currentDateTimeUtc();
    ArchiveFile archive(path, kDays * 86400.0, [&now] { return now; });
    QElapsedTimer timer;
    timer.start();
    qsizetype loaded = 0;
    if (naive) {
        Result<QByteArray> bytes = FileSystem::readFile(path);
        loaded = QJsonDocument::fromJson(*bytes).object().value(QStringLiteral("snapshots")).toArray().size();
    } else {
        loaded = archive.load().value().size();
    }
    const double loadMs = timer.nsecsElapsed() / 1e6;

    QList<double> appendMs;
    for (int round = 0; round < rounds; ++round) {
        now = now.addSecs(kRoundSeconds);
        timer.restart();
        const Result<QList<ProviderSnapshot>> history =
            naive ? naiveAppend(path, nextRound(now, round), now) : archive.append(nextRound(now, round));
        appendMs.append(timer.nsecsElapsed() / 1e6);
        if (!history) {
            std::fprintf(stderr, "append failed: %s\n", qPrintable(history.error().description()));
            return 1;
        }
    }
    std::printf("%-28s snapshots %lld, file %.1f MB\n",
                naive ? "straightforward approach:" : "UsageArchiveStore:", static_cast<long long>(loaded),
                QFileInfo(path).size() / 1e6);
    std::printf("  first load            %8.1f ms\n", loadMs);
    std::printf("  first append          %8.1f ms\n", appendMs.value(0));
    std::printf("  append, median of %3d %8.1f ms\n", rounds, median(appendMs));
    std::printf("  peak resident memory  %8.1f MB\n", peakResidentKilobytes() / 1024.0);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QString mode = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QString();
    const QString path = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    if (mode == QLatin1String("generate") && !path.isEmpty()) {
        const QByteArray text = ArchiveFormat::encode({realisticHistory(QDateTime::currentDateTimeUtc())});
        return AtomicFile::write(path, text).ok() ? 0 : 1;
    }
    if ((mode == QLatin1String("measure") || mode == QLatin1String("naive")) && argc > 3)
        return measure(path, QByteArray(argv[3]).toInt(), mode == QLatin1String("naive"));
    std::fprintf(stderr, "usage: %s generate PATH | measure PATH ROUNDS | naive PATH ROUNDS\n", argv[0]);
    return 2;
}
