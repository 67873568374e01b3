// Measures the history chart on the 90-day archive with the renderer the
// application uses (Qt Quick's software renderer):
//   - from a history change (series rebuilt from all snapshots) to the chart's
//     first frame at 900 x 260;
//   - one frame after a window resize;
//   - resident memory added by showing the chart.
//
//   history_benchmark [ROUNDS]
#include "RealisticHistory.h"
#include "ui/history/HistoryPlot.h"
#include "ui/history/HistorySeries.h"

#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QQuickWindow>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double residentMegabytes()
{
    QFile status(QStringLiteral("/proc/self/statm"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = status.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * 4096 / (1024.0 * 1024.0) : 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication application(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QByteArray(argv[1]).toInt()) : 30;
    const QList<ProviderSnapshot> history = realisticHistory(QDateTime::currentDateTimeUtc());
    const QSet<UsageProvider> visible{UsageProvider::codex, UsageProvider::claude};
    qsizetype points = 0;
    for (const HistorySeries &series : buildHistorySeries(history, visible))
        points += series.points.size();
    std::printf("%lld snapshots, %lld points\n", static_cast<long long>(history.size()),
                static_cast<long long>(points));
    QCoreApplication::processEvents();
    const double before = residentMegabytes();

    auto *window = new QQuickWindow;
    window->resize(900, 260);
    auto *plot = new HistoryPlot(window->contentItem());
    plot->setSize(QSizeF(900, 260));
    window->show();
    for (const int days : {90, 7}) {
        plot->setRangeDays(days);
        std::vector<double> change, resize;
        for (int round = 0; round < rounds; ++round) {
            QElapsedTimer timer;
            timer.start();
            plot->setSeries(buildHistorySeries(history, visible));
            static_cast<void>(window->grabWindow());
            change.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);

            const int width = round % 2 == 0 ? 920 : 900;
            timer.restart();
            window->resize(width, 260);
            plot->setWidth(width);
            static_cast<void>(window->grabWindow());
            resize.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        }
        std::printf("range %2d days: history change to first frame  median %7.2f ms  (max %7.2f)\n", days,
                    median(change), *std::max_element(change.begin(), change.end()));
        std::printf("range %2d days: frame after a resize           median %7.2f ms  (max %7.2f)\n", days,
                    median(resize), *std::max_element(resize.begin(), resize.end()));
    }
    std::printf("resident memory added by the chart: %.1f MB (%.1f -> %.1f MB)\n", residentMegabytes() - before, before,
                residentMegabytes());
    delete window;
    return 0;
}
