// The history chart drawn with Qt Charts instead, on the same 90-day series, to
// compare with history_benchmark. Debian 12 ships Qt Charts for Qt 6 only as
// its QML module (no C++ headers), so the points go in the way QML can put
// them: one append per point.
//
//   history_qtcharts_benchmark      (needs qml6-module-qtcharts)
#include "RealisticHistory.h"
#include "ui/history/HistorySeries.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>

#include <algorithm>
#include <cstdio>

int main(int argc, char *argv[])
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv); // Qt Charts draws with QGraphicsView
    const QList<HistorySeries> series = buildHistorySeries(realisticHistory(QDateTime::currentDateTimeUtc()),
                                                           {UsageProvider::codex, UsageProvider::claude});
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
import QtQuick
import QtCharts
Window {
    width: 900; height: 260; visible: true
    ChartView {
        id: chart
        anchors.fill: parent
        antialiasing: true
        legend.visible: false
        DateTimeAxis { id: time }
        ValueAxis { id: used; min: 0; max: 100 }
    }
    function load(all, from, to) {
        chart.removeAllSeries()
        time.min = new Date(from)
        time.max = new Date(to)
        for (const one of all) {
            const line = chart.createSeries(ChartView.SeriesTypeLine, one.name, time, used)
            for (let i = 0; i < one.t.length; ++i)
                line.append(one.t[i], one.p[i])
        }
    }
})",
                      QUrl());
    auto *window = qobject_cast<QQuickWindow *>(component.create());
    if (!window) {
        std::fprintf(stderr, "%s\n", qPrintable(component.errorString()));
        return 1;
    }
    QVariantList all;
    qint64 last = 0;
    qsizetype points = 0;
    for (const HistorySeries &one : series) {
        QVariantList times, percents;
        for (const HistoryPoint &point : one.points) {
            times.append(static_cast<double>(point.msecs));
            percents.append(point.percent);
            last = std::max(last, point.msecs);
        }
        points += one.points.size();
        all.append(QVariantMap{
            {QStringLiteral("name"), one.name}, {QStringLiteral("t"), times}, {QStringLiteral("p"), percents}});
    }
    std::printf("%lld points\n", static_cast<long long>(points));
    for (const int days : {90, 7}) {
        QElapsedTimer timer;
        timer.start();
        QMetaObject::invokeMethod(window, "load", Q_ARG(QVariant, all),
                                  Q_ARG(QVariant, static_cast<double>(last - days * 86400000LL)),
                                  Q_ARG(QVariant, static_cast<double>(last)));
        static_cast<void>(window->grabWindow());
        std::printf("Qt Charts, range %2d days: history change to first frame %.0f ms\n", days,
                    static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    delete window;
    return 0;
}
