// The history chart: how snapshots become series, that merging points per pixel
// column draws the same pixels, and the history page in the dashboard at 90 days.
#include "../app/AppFakes.h"
#include "RealisticHistory.h"
#include "ViewInspection.h"
#include "ViewTestApplication.h"
#include "app/UpdaterModel.h"
#include "storage/ArchiveFormat.h"
#include "system/AtomicFile.h"
#include "ui/dashboard/DashboardWindowController.h"
#include "ui/history/ColumnMerge.h"
#include "ui/history/HistoryPlot.h"
#include "ui/history/HistorySeries.h"
#include "ui/shell/LimitraApplication.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>
#include <QQuickStyle>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LimitraPlugin)

using namespace ViewInspection;

using SeriesPoints = QMap<QString, QList<double>>;
Q_DECLARE_METATYPE(SeriesPoints)
Q_DECLARE_METATYPE(QSet<UsageProvider>)

class HistoryViewTest : public QObject, ViewTestApplication
{
    Q_OBJECT

private Q_SLOTS:
    void buildSeries_data();
    void buildSeries();
    void mergedColumnsSetThePixelsOfTheFullLine();
    void longPausesBreakTheLine_data();
    void longPausesBreakTheLine();
    void historyPageAtNinetyDays();

private:
    QQuickItem *openHistoryPage();
};

namespace {

ProviderSnapshot at(ProviderSnapshot snapshot, int minutes)
{
    snapshot.collectedAt = QDateTime(QDate(2026, 11, 20), QTime(12, 0), Qt::UTC).addSecs(minutes * 60);
    return snapshot;
}

SeriesPoints percents(const QList<HistorySeries> &series)
{
    SeriesPoints out;
    for (const HistorySeries &one : series) {
        QList<double> values;
        for (const HistoryPoint &point : one.points)
            values.append(point.percent);
        out.insert(one.name, values);
    }
    return out;
}

QImage drawn(const QList<QPoint> &polyline)
{
    QImage image(64, 48, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(HistoryPlot::linePen(Qt::black));
    HistoryPlot::drawLine(painter, polyline);
    return image;
}

} // namespace

void HistoryViewTest::buildSeries_data()
{
    const QSet<UsageProvider> both{UsageProvider::codex, UsageProvider::claude};
    QTest::addColumn<QList<ProviderSnapshot>>("snapshots");
    QTest::addColumn<QSet<UsageProvider>>("visible");
    QTest::addColumn<SeriesPoints>("expected");

    QTest::newRow("no snapshots") << QList<ProviderSnapshot>{} << both << SeriesPoints{};
    QTest::newRow("only snapshots without windows")
        << QList<ProviderSnapshot>{at(usage(UsageProvider::codex, {}), 0), at(usage(UsageProvider::claude, {}), 3)}
        << both << SeriesPoints{};
    QTest::newRow("same label, two providers")
        << QList<ProviderSnapshot>{at(usage(UsageProvider::codex, {10}), 0), at(usage(UsageProvider::claude, {20}), 0),
                                   at(usage(UsageProvider::codex, {11}), 3)}
        << both << SeriesPoints{{"Codex · 5-hour", {10, 11}}, {"Claude · 5-hour", {20}}};
    ProviderSnapshot scoped = usage(UsageProvider::codex, {10, 20});
    scoped.windows[1].label = QStringLiteral("5-hour");
    scoped.windows[1].scope = QStringLiteral("GPT-5.1-Codex-Max");
    QTest::newRow("same label, one provider")
        << QList<ProviderSnapshot>{at(scoped, 0)} << both
        << SeriesPoints{{"Codex · 5-hour", {10}}, {"Codex · 5-hour · GPT-5.1-Codex-Max", {20}}};
    QTest::newRow("limited to 0..100") << QList<ProviderSnapshot>{
        at(usage(UsageProvider::claude, {130, -5}), 0), at(usage(UsageProvider::claude, {100.5, 0.25}), 3),
        at(usage(UsageProvider::claude, {std::nan(""), 50}),
           6)} << both << SeriesPoints{{"Claude · 5-hour", {100, 100, 0}}, {"Claude · Weekly", {0, 0.25, 50}}};
    QTest::newRow("hidden provider left out")
        << QList<ProviderSnapshot>{at(usage(UsageProvider::codex, {10}), 0), at(usage(UsageProvider::claude, {20}), 0)}
        << QSet<UsageProvider>{UsageProvider::claude} << SeriesPoints{{"Claude · 5-hour", {20}}};
}

void HistoryViewTest::buildSeries()
{
    QFETCH(QList<ProviderSnapshot>, snapshots);
    QFETCH(QSet<UsageProvider>, visible);
    QFETCH(SeriesPoints, expected);
    const QList<HistorySeries> series = buildHistorySeries(snapshots, visible);
    QCOMPARE(percents(series), expected);
}

void HistoryViewTest::mergedColumnsSetThePixelsOfTheFullLine()
{
    QRandomGenerator random(16);
    for (int round = 0; round < 500; ++round) {
        // Many points on few columns, with jumps, flat stretches and repeats.
        QList<QPoint> polyline;
        int x = static_cast<int>(random.bounded(4));
        const int count = 1 + static_cast<int>(random.bounded(300));
        for (int i = 0; i < count && x < 64; ++i) {
            polyline.append(QPoint(x, static_cast<int>(random.bounded(48))));
            if (random.bounded(4) == 0)
                x += static_cast<int>(random.bounded(6));
        }
        const QList<QPoint> merged = mergeColumns(polyline);
        QVERIFY(merged.size() <= polyline.size());
        const QImage full = drawn(polyline);
        const QImage fewer = drawn(merged);
        for (int y = 0; y < full.height(); ++y) {
            for (int column = 0; column < full.width(); ++column) {
                const int want = qAlpha(full.pixel(column, y));
                const int got = qAlpha(fewer.pixel(column, y));
                // The same pixels set, none across half coverage: only the
                // shading of an edge may differ.
                if ((want > 0) != (got > 0) || (want >= 128) != (got >= 128))
                    QFAIL(qPrintable(QStringLiteral("round %1, pixel %2,%3: %4 instead of %5")
                                         .arg(round)
                                         .arg(column)
                                         .arg(y)
                                         .arg(got)
                                         .arg(want)));
            }
        }
    }
}

void HistoryViewTest::longPausesBreakTheLine_data()
{
    QTest::addColumn<int>("minutes");
    QTest::addColumn<int>("pieces");
    QTest::newRow("29 minutes apart") << 29 << 1;
    QTest::newRow("31 minutes apart") << 31 << 2;
}

void HistoryViewTest::longPausesBreakTheLine()
{
    QFETCH(int, minutes);
    QFETCH(int, pieces);
    HistoryPlot plot;
    plot.setSize(QSizeF(900, 260));
    plot.setRangeDays(1);
    const qint64 start = QDateTime::currentMSecsSinceEpoch() - 6 * 3600 * 1000;
    plot.setSeries({HistorySeries{QStringLiteral("Codex · 5-hour"), {{start, 37}, {start + minutes * 60000, 37}}}});
    QImage image(900, 260, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    plot.paint(&painter);
    painter.end();

    // Along the row that holds most of the line, count its pieces.
    const QColor line = HistoryPlot::seriesColour(0);
    const auto isLine = [&](int x, int y) {
        const QColor pixel = image.pixelColor(x, y);
        return pixel.alpha() == 255 && std::abs(pixel.red() - line.red()) < 8
               && std::abs(pixel.green() - line.green()) < 8 && std::abs(pixel.blue() - line.blue()) < 8;
    };
    int bestRow = 0;
    int bestCount = 0;
    for (int y = 0; y < image.height(); ++y) {
        int count = 0;
        for (int x = 0; x < image.width(); ++x)
            count += isLine(x, y) ? 1 : 0;
        if (count > bestCount) {
            bestCount = count;
            bestRow = y;
        }
    }
    int found = 0;
    for (int x = 0; x < image.width(); ++x) {
        if (isLine(x, bestRow) && (x == 0 || !isLine(x - 1, bestRow)))
            ++found;
    }
    QCOMPARE(found, pieces);
}

QQuickItem *HistoryViewTest::openHistoryPage()
{
    m_app->openDashboard();
    QQuickWindow *dashboard = m_app->dashboard().window();
    if (!QTest::qWaitForWindowExposed(dashboard))
        return nullptr;
    click(visibleItem(dashboard->contentItem(), "sidebar_history"));
    if (!QTest::qWaitFor([&] { return visibleItem(dashboard->contentItem(), "historyPage") != nullptr; }, 10000))
        return nullptr;
    return visibleItem(dashboard->contentItem(), "historyPage");
}

void HistoryViewTest::historyPageAtNinetyDays()
{
    m_folder = std::make_unique<QTemporaryDir>();
    const auto stop = qScopeGuard([this] {
        stopApplication();
        QGuiApplication::setPalette(QPalette());
    });
    const QByteArray archive = ArchiveFormat::encode({realisticHistory(QDateTime::currentDateTimeUtc())});
    QVERIFY(AtomicFile::write(m_folder->filePath(QStringLiteral("usage-history.json")), archive).ok());
    startApplication();
    QTRY_VERIFY_WITH_TIMEOUT(!m_model->history().isEmpty(), 30000);

    QQuickItem *page = openHistoryPage();
    QVERIFY(page);
    QCOMPARE(texts(page, "historyNote"),
             QStringList{"Limitra keeps 90 days of snapshots on this computer. Hidden providers are excluded."});
    QVERIFY(!visibleItem(page, "noHistoryState"));
    auto *plot = qobject_cast<HistoryPlot *>(visibleItem(page, "historyPlot"));
    QVERIFY(plot);

    // Seven days at first; each button sets its range, ending at 90 days.
    QCOMPARE(plot->rangeStart().daysTo(plot->rangeEnd()), 7);
    const QList<std::pair<QString, int>> ranges{{"range_1", 1}, {"range_30", 30}, {"range_7", 7}, {"range_90", 90}};
    for (const auto &[button, days] : ranges) {
        click(visibleItem(page, button));
        QCOMPARE(plot->rangeStart().secsTo(plot->rangeEnd()), days * 86400LL);
        if (days == 1) {
            QTest::qWait(50);
            screenshot(m_app->dashboard().window(), "dashboard-history-24-hours");
        }
    }
    const QStringList all{"Claude · 5-hour", "Claude · Weekly", "Claude · Opus",
                          "Codex · 5-hour",  "Codex · Weekly",  "Codex · 5-hour · GPT-5.1-Codex-Max"};
    QCOMPARE(plot->seriesNames(), all);

    // The read-out names the point under the pointer: down the newest column
    // until the pointer meets a line.
    for (int y = 0; y < plot->height() && plot->readout().isEmpty(); y += 4) {
        QTest::mouseMove(plot->window(), plot->mapToScene(QPointF(plot->width() - 14, y)).toPoint());
        QCoreApplication::processEvents();
    }
    QVERIFY2(plot->readout().contains(QStringLiteral("%")), qPrintable(plot->readout()));
    QTest::qWait(50);
    screenshot(m_app->dashboard().window(), "dashboard-history-90-days");

    // The desktop turns dark while the page is shown.
    QGuiApplication::setPalette(darkDesktopPalette());
    QTRY_VERIFY(plot->property("textColor").value<QColor>().lightnessF() > 0.6);
    QTest::qWait(50);
    screenshot(m_app->dashboard().window(), "dashboard-history-90-days-dark");

    // Hiding a provider takes its series away at once; showing brings them back.
    m_model->setProvider(UsageProvider::codex, false);
    QCOMPARE(plot->seriesNames(), (QStringList{"Claude · 5-hour", "Claude · Weekly", "Claude · Opus"}));
    m_model->setProvider(UsageProvider::claude, false);
    QVERIFY(plot->seriesNames().isEmpty());
    QVERIFY(visibleItem(page, "noHistoryState"));
    QCOMPARE(texts(page, "emptyStateTitle"), QStringList{"No history yet"});
    m_model->setProvider(UsageProvider::codex, true);
    m_model->setProvider(UsageProvider::claude, true);
    QCOMPARE(plot->seriesNames(), all);
}

int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    HistoryViewTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_HistoryView.moc"
