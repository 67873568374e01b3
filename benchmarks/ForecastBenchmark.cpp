// Cost of the forecast on a history file (benchmarks/forecast-cost makes a
// 90-day one):
//
//   forecast_benchmark PATH [REFRESHES]
//
// "refresh": the application keeps one ProviderForecaster per provider; each
// refresh adds the new snapshot of both providers and forecasts both. Timed
// over REFRESHES refreshes, three minutes apart, after the whole history.
// "whole history": forecastProvider for both providers from the whole
// history, as a caller that keeps nothing would do it (five runs).
#include "model/forecast/ProviderForecaster.h"
#include "storage/ArchiveFormat.h"
#include "system/FileSystem.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s PATH [REFRESHES]\n", argv[0]);
        return 2;
    }
    const int refreshes = argc > 2 ? std::max(1, QByteArray(argv[2]).toInt()) : 1000;
    Result<QByteArray> bytes = FileSystem::readFile(QString::fromLocal8Bit(argv[1]));
    if (!bytes)
        return 1;
    bytes->reserve(bytes->size() + ArchiveFormat::kReadPadding);
    Result<UsageArchive> archive = ArchiveFormat::decode(*bytes);
    if (!archive || archive->snapshots.isEmpty())
        return 1;
    const QList<ProviderSnapshot> &history = archive->snapshots;
    const QDateTime end = history.last().collectedAt;

    std::vector<double> whole;
    for (int run = 0; run < 5; ++run) {
        QElapsedTimer timer;
        timer.start();
        std::size_t windows = 0;
        for (const UsageProvider provider : allCases<UsageProvider>)
            windows += forecastProvider(history, provider, end).size();
        whole.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        if (windows == 0)
            return 1;
    }

    std::vector<ProviderForecaster> forecasters{ProviderForecaster(UsageProvider::codex),
                                                ProviderForecaster(UsageProvider::claude)};
    std::vector<ProviderSnapshot> latest(2);
    for (const ProviderSnapshot &snapshot : history) {
        const auto index = static_cast<std::size_t>(snapshot.provider == UsageProvider::claude);
        forecasters[index].add(snapshot);
        latest[index] = snapshot;
    }
    std::vector<double> perRefresh;
    std::size_t runOuts = 0;
    for (int round = 1; round <= refreshes; ++round) {
        const QDateTime now = end.addSecs(qint64(round) * 180);
        QElapsedTimer timer;
        timer.start();
        for (std::size_t index = 0; index < 2; ++index) {
            ProviderSnapshot next = latest[index];
            next.collectedAt = now;
            forecasters[index].add(next);
            for (const WindowForecast &forecast : forecasters[index].forecast(next, now))
                runOuts += forecast.runsOutAt.has_value();
        }
        perRefresh.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::printf("%lld snapshots\n", static_cast<long long>(history.size()));
    std::printf("refresh, both providers, median of %d: %.3f ms\n", refreshes, median(perRefresh));
    std::printf("whole history, both providers, median of 5: %.1f ms\n", median(whole));
    std::printf("(%zu run-outs forecast)\n", runOuts);
    return 0;
}
