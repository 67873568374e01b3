// forecast-replay HISTORY_FILE
//
// Runs the forecast over a history file (the archive's own format) as the
// application would have seen it: at every multiple of 900 s since the epoch
// from the file's earliest to its latest collection time, each provider's
// newest snapshot at or before that instant (the later one in the file among
// equal times), unless it is more than 1800 s old, gives one JSON line per
// window below 100 %:
//
//   {"at": T, "provider": "claude", "window": ID, "used": PERCENT,
//    "resetsAt": SECONDS|null, "runsOutAt": SECONDS|null, "pace": POINTS|null}
//
// The forecasters learn from the snapshots in collection order and see
// nothing later than the instant they answer for, so a file cut after any
// instant gives the same lines up to it. A file that cannot be read as a
// history ends the program with status 1 and a message on standard error.
#include "model/forecast/ProviderForecaster.h"
#include "storage/ArchiveFormat.h"
#include "system/FileSystem.h"

#include <QLocale>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

namespace {

constexpr qint64 kStepMsecs = 900 * 1000;
constexpr qint64 kStaleMsecs = 1800 * 1000;

qint64 floorDivide(qint64 value, qint64 divisor)
{
    const qint64 quotient = value / divisor;
    return (value % divisor != 0 && value < 0) ? quotient - 1 : quotient;
}

void appendNumber(QByteArray &out, double value)
{
    if (!std::isfinite(value))
        out += "null";
    else if (value == std::trunc(value) && std::fabs(value) < 9e15)
        out += QByteArray::number(static_cast<qint64>(value));
    else
        out += QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
}

void appendSeconds(QByteArray &out, const std::optional<QDateTime> &date)
{
    if (date)
        appendNumber(out, static_cast<double>(date->toMSecsSinceEpoch()) / 1000.0);
    else
        out += "null";
}

void appendLine(QByteArray &out, qint64 at, const ProviderSnapshot &snapshot, const UsageWindow &window,
                const WindowForecast &forecast)
{
    out += "{\"at\": ";
    out += QByteArray::number(at);
    out += ", \"provider\": ";
    ArchiveFormat::appendJsonString(out, rawValue(snapshot.provider));
    out += ", \"window\": ";
    ArchiveFormat::appendJsonString(out, window.id);
    out += ", \"used\": ";
    appendNumber(out, window.usedPercent);
    out += ", \"resetsAt\": ";
    appendSeconds(out, window.resetsAt);
    out += ", \"runsOutAt\": ";
    appendSeconds(out, forecast.runsOutAt);
    out += ", \"pace\": ";
    if (forecast.pace)
        appendNumber(out, *forecast.pace);
    else
        out += "null";
    out += "}\n";
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: forecast-replay HISTORY_FILE\n");
        return 2;
    }
    Result<QByteArray> bytes = FileSystem::readFile(QString::fromLocal8Bit(argv[1]));
    if (!bytes) {
        std::fprintf(stderr, "forecast-replay: %s\n", qPrintable(bytes.error().description()));
        return 1;
    }
    bytes->reserve(bytes->size() + ArchiveFormat::kReadPadding);
    Result<UsageArchive> archive = ArchiveFormat::decode(*bytes);
    if (!archive) {
        std::fprintf(stderr, "forecast-replay: %s\n", qPrintable(archive.error().description()));
        return 1;
    }
    QList<ProviderSnapshot> &snapshots = archive->snapshots;
    if (snapshots.isEmpty())
        return 0;
    // Collection order; among equal times, file order.
    std::stable_sort(snapshots.begin(), snapshots.end(), [](const ProviderSnapshot &a, const ProviderSnapshot &b) {
        return a.collectedAt < b.collectedAt;
    });
    const qint64 first = snapshots.first().collectedAt.toMSecsSinceEpoch();
    const qint64 last = snapshots.last().collectedAt.toMSecsSinceEpoch();

    std::map<UsageProvider, ProviderForecaster> forecasters;
    std::map<UsageProvider, const ProviderSnapshot *> latest;
    for (const UsageProvider provider : allCases<UsageProvider>)
        forecasters.emplace(provider, ProviderForecaster(provider));

    QByteArray out;
    qsizetype next = 0;
    for (qint64 step = floorDivide(first + kStepMsecs - 1, kStepMsecs); step * kStepMsecs <= last; ++step) {
        const qint64 at = step * kStepMsecs;
        while (next < snapshots.size() && snapshots[next].collectedAt.toMSecsSinceEpoch() <= at) {
            const ProviderSnapshot &snapshot = snapshots[next++];
            forecasters.at(snapshot.provider).add(snapshot);
            latest[snapshot.provider] = &snapshot;
        }
        const QDateTime now = QDateTime::fromMSecsSinceEpoch(at, Qt::UTC);
        bool anyFresh = false;
        for (const auto &[provider, snapshot] : latest) {
            if (at - snapshot->collectedAt.toMSecsSinceEpoch() > kStaleMsecs)
                continue;
            anyFresh = true;
            const std::vector<WindowForecast> forecasts = forecasters.at(provider).forecast(*snapshot, now);
            for (const WindowForecast &forecast : forecasts) {
                const auto window = std::find_if(snapshot->windows.cbegin(), snapshot->windows.cend(),
                                                 [&](const UsageWindow &w) { return w.id == forecast.windowId; });
                if (window->usedPercent < 100)
                    appendLine(out, at / 1000, *snapshot, *window, forecast);
            }
        }
        // Nothing to say until the next snapshot: skip the empty decision
        // times (a file may span centuries).
        if (!anyFresh && next < snapshots.size())
            step = std::max(step, floorDivide(snapshots[next].collectedAt.toMSecsSinceEpoch() - 1, kStepMsecs));
        if (out.size() > (1 << 20)) {
            std::fwrite(out.constData(), 1, static_cast<size_t>(out.size()), stdout);
            out.clear();
        }
    }
    std::fwrite(out.constData(), 1, static_cast<size_t>(out.size()), stdout);
    return std::fflush(stdout) == 0 ? 0 : 1;
}
