// The history chart: how snapshots become series, that merging points per pixel
// column draws the same pixels, and the history page in the dashboard at 90 days.
#include "../app/AppFakes.h"
#include "RealisticHistory.h"
#include "ViewInspection.h"
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
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LimitraPlugin)

using namespace ViewInspection;

using SeriesPoints = QMap<QString, QList<double>>;
Q_DECLARE_METATYPE(SeriesPoints)
Q_DECLARE_METATYPE(QSet<UsageProvider>)

class HistoryViewTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void buildSeries_data();
    void buildSeries();
    void mergedColumnsSetThePixelsOfTheFullLine();

    void init();
    void cleanup();
    void pageAtNinetyDays_data();
    void pageAtNinetyDays();
    void hidingAProviderRemovesItsSeries();
    void rangeControlSetsTheTimeAxis();

private:
    QQuickItem *openHistoryPage();

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<AppFakes> m_fakes;
    std::unique_ptr<AppModel> m_model;
    std::unique_ptr<UpdaterModel> m_updater;
    std::unique_ptr<LimitraApplication> m_app;
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
    painter.setPen(QPen(Qt::black, 1));
    painter.drawPolyline(polyline.constData(), static_cast<int>(polyline.size()));
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
        if (drawn(merged) != drawn(polyline))
            QFAIL(qPrintable(QStringLiteral("round %1: the merged line differs").arg(round)));
    }
}

void HistoryViewTest::init()
{
    if (QString::fromLatin1(QTest::currentTestFunction()).startsWith(QLatin1String("buildSeries"))
        || QString::fromLatin1(QTest::currentTestFunction()).startsWith(QLatin1String("merged")))
        return;
    m_folder = std::make_unique<QTemporaryDir>();
    const QByteArray archive = ArchiveFormat::encode({realisticHistory(QDateTime::currentDateTimeUtc())});
    QVERIFY(AtomicFile::write(m_folder->filePath(QStringLiteral("usage-history.json")), archive).ok());
    m_fakes = std::make_unique<AppFakes>();
    m_model = std::make_unique<AppModel>(m_fakes->services(m_folder->path()));
    UpdaterModel::Options options;
    options.firstCheckDelay = std::chrono::hours(24);
    m_updater = std::make_unique<UpdaterModel>(options);
    m_app = std::make_unique<LimitraApplication>(*m_model, *m_updater, m_folder->filePath(QStringLiteral("frame.ini")));
    QTRY_VERIFY_WITH_TIMEOUT(!m_model->history().isEmpty(), 30000);
}

void HistoryViewTest::cleanup()
{
    m_app.reset();
    m_updater.reset();
    m_model.reset();
    m_fakes.reset();
    m_folder.reset();
    QGuiApplication::setPalette(QPalette());
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

void HistoryViewTest::pageAtNinetyDays_data()
{
    QTest::addColumn<bool>("dark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

void HistoryViewTest::pageAtNinetyDays()
{
    QFETCH(bool, dark);
    if (dark) {
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(0x1e, 0x1e, 0x1e));
        palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
        palette.setColor(QPalette::Base, QColor(0x2a, 0x2a, 0x2a));
        palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
        palette.setColor(QPalette::Button, QColor(0x33, 0x33, 0x33));
        palette.setColor(QPalette::ButtonText, QColor(0xe8, 0xe8, 0xe8));
        QGuiApplication::setPalette(palette);
    }
    QQuickItem *page = openHistoryPage();
    QVERIFY(page);
    QCOMPARE(texts(page, "historyNote"),
             QStringList{"Limitra keeps 90 days of snapshots on this computer. Hidden providers are excluded."});
    QVERIFY(!visibleItem(page, "noHistoryState"));
    click(visibleItem(page, "range_90"));
    auto *plot = qobject_cast<HistoryPlot *>(visibleItem(page, "historyPlot"));
    QVERIFY(plot);
    QCOMPARE(plot->rangeDays(), 90);
    QCOMPARE(plot->seriesNames(), (QStringList{"Claude · 5-hour", "Claude · Weekly", "Claude · Opus", "Codex · 5-hour",
                                               "Codex · Weekly", "Codex · 5-hour · GPT-5.1-Codex-Max"}));

    // The read-out names the point under the pointer.
    QTest::mouseMove(plot->window(), plot->mapToScene(QPointF(plot->width() - 14, 100)).toPoint());
    QTRY_VERIFY(!plot->readout().isEmpty());
    QVERIFY2(plot->readout().contains(QStringLiteral("%")), qPrintable(plot->readout()));
    QTest::qWait(50);
    screenshot(m_app->dashboard().window(), dark ? "dashboard-history-90-days-dark" : "dashboard-history-90-days");
}

void HistoryViewTest::hidingAProviderRemovesItsSeries()
{
    QQuickItem *page = openHistoryPage();
    QVERIFY(page);
    auto *plot = qobject_cast<HistoryPlot *>(visibleItem(page, "historyPlot"));
    QVERIFY(plot);
    const QStringList all = plot->seriesNames();
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

void HistoryViewTest::rangeControlSetsTheTimeAxis()
{
    QQuickItem *page = openHistoryPage();
    QVERIFY(page);
    auto *plot = qobject_cast<HistoryPlot *>(visibleItem(page, "historyPlot"));
    QVERIFY(plot);
    const QList<std::pair<QString, int>> ranges{{"range_7", 7}, {"range_1", 1}, {"range_30", 30}, {"range_90", 90}};
    QCOMPARE(plot->rangeStart().daysTo(plot->rangeEnd()), 7);
    for (const auto &[button, days] : ranges) {
        click(visibleItem(page, button));
        QCOMPARE(plot->rangeStart().secsTo(plot->rangeEnd()), days * 86400LL);
    }
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
