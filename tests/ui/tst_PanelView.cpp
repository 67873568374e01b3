// The panel and the dashboard's overview and history as a person sees them:
// the real views, the real shell, a model fed by fake collectors; every state
// is also grabbed to a PNG under the build folder's "screenshots". And the
// history chart's own arithmetic: snapshots into series, points per pixel column.
#include "RealisticHistory.h"
#include "storage/ArchiveFormat.h"
#include "system/AtomicFile.h"
#include "tests/ui/ViewTestApplication.h"
#include "ui/dashboard/DashboardPlacement.h"
#include "ui/history/ColumnMerge.h"
#include "ui/history/HistoryPlot.h"
#include "ui/history/HistorySeries.h"
#include "ui/menubar/MenuBarPanelController.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QScopeGuard>

#include <algorithm>

using namespace ViewInspection;

using SeriesPoints = QMap<QString, QList<double>>;
Q_DECLARE_METATYPE(SeriesPoints)
Q_DECLARE_METATYPE(QSet<UsageProvider>)

namespace {

// Whether every visible item named `name` under `root` reads as light text.
bool readsOnDark(QQuickItem *root, const char *name)
{
    const QList<QQuickItem *> items = visibleItems(root, name);
    return !items.isEmpty() && std::ranges::all_of(items, [](QQuickItem *item) {
        return item->property("color").value<QColor>().lightnessF() > 0.6;
    });
}

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

class PanelViewTest : public QObject, private ViewTestApplication
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void panelFromPlaceholdersToCards();
    void overviewOnADarkDesktop();
    void dashboardFrameOnTheScreen_data();
    void dashboardFrameOnTheScreen();
    void forecastInCardsHeaderAndWarning();
    void buildSeries_data();
    void buildSeries();
    void mergedColumnsSetThePixelsOfTheFullLine();
    void longPausesBreakTheLine_data();
    void longPausesBreakTheLine();
    void historyPageAtNinetyDays();

private:
    QQuickItem *openPanel();
    // The application over an archive holding `history`.
    void startWithHistory(const QList<ProviderSnapshot> &history);
    ProviderSnapshot usage(UsageProvider provider, QList<double> percents) const
    {
        return m_fakes->usage(provider, percents);
    }
};

void PanelViewTest::init()
{
    // The chart's own arithmetic needs no application: the view tests start it.
    m_folder = std::make_unique<QTemporaryDir>();
}

void PanelViewTest::cleanup()
{
    stopApplication();
    QGuiApplication::setPalette(QPalette());
}

QQuickItem *PanelViewTest::openPanel()
{
    m_app->panel().show(QRect(400, 10, 22, 22));
    QQuickWindow *window = m_app->panel().window();
    if (!window || !QTest::qWaitForWindowExposed(window))
        return nullptr;
    return window->contentItem();
}

void PanelViewTest::startWithHistory(const QList<ProviderSnapshot> &history)
{
    QVERIFY(
        AtomicFile::write(m_folder->filePath(QStringLiteral("usage-history.json")), ArchiveFormat::encode({history}))
            .ok());
    startApplication();
}

void PanelViewTest::panelFromPlaceholdersToCards()
{
    startApplication();
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    QVERIFY(visibleItem(panel, "placeholder_codex"));
    QVERIFY(visibleItem(panel, "placeholder_claude"));
    QCOMPARE(visibleItems(panel, "placeholderSpinner").size(), 2);
    screenshot(m_app->panel().window(), "panel-placeholders");

    ProviderSnapshot claude = usage(UsageProvider::claude, {});
    claude.state = CollectorState::error;
    claude.message = QStringLiteral("Claude Code is not signed in.");
    finishRound({usage(UsageProvider::codex, {74.9, 75, 89.99, 90, 130, -5}), claude});
    QTRY_COMPARE(visibleItems(panel, "windowRow").size(), 6);
    QVERIFY(visibleItems(panel, "placeholder_codex").isEmpty());
    QCOMPARE(texts(panel, "usedText"), (QStringList{"75%", "75%", "90%", "90%", "100%", "0%"}));
    QCOMPARE(texts(panel, "remainingText"), (QStringList{"25% remaining", "25% remaining", "10% remaining",
                                                         "10% remaining", "0% remaining", "100% remaining"}));
    QQuickItem *claudeCard = visibleItem(panel, "providerCard_claude");
    QCOMPARE(texts(claudeCard, "cardEmptyText"), QStringList{"Claude Code is not signed in."});
    QCOMPARE(texts(claudeCard, "stateBadge"), QStringList{"ERROR"});
    QTest::qWait(50); // let the scene graph draw the new rows
    const QImage image = screenshot(m_app->panel().window(), "panel-gauges");
    const QColor accent = QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight);
    const QColor orange(QStringLiteral("#e07b00"));
    const QColor red(QStringLiteral("#d72d24"));
    const QList<QColor> expected{accent, orange, orange, red, red};
    const QList<QQuickItem *> rows = visibleItems(panel, "windowRow");
    for (int row = 0; row < expected.size(); ++row)
        QCOMPARE(colourAtCentre(image, visibleItem(rows[row], "gaugeFill")).name(), expected[row].name());
    // 130 % fills the whole track; −5 % leaves it empty.
    QCOMPARE(visibleItem(rows[4], "gaugeFill")->width(), visibleItem(rows[4], "gaugeTrack")->width());
    QVERIFY(visibleItems(rows[5], "gaugeFill").isEmpty());

    // Without a message of its own, an empty card says so.
    claude.message.reset();
    m_model->refreshNow();
    finishRound({usage(UsageProvider::codex, {10}), claude});
    QTRY_COMPARE(texts(panel, "cardEmptyText"), QStringList{"No usage data available."});

    m_model->setProvider(UsageProvider::codex, false);
    m_model->setProvider(UsageProvider::claude, false);
    QCOMPARE(texts(panel, "bothHiddenText"),
             QStringList{"Both providers are hidden. Turn one back on in the dashboard settings."});
    for (const char *action : {"openDashboardButton", "checkForUpdatesButton", "quitButton"})
        QVERIFY2(visibleItem(panel, action), action);
    // The actions follow the text at once, and the window holds all of them.
    const auto bottom = [](QQuickItem *item) { return item->mapToScene({0, item->height()}).y(); };
    QTRY_VERIFY(visibleItem(panel, "openDashboardButton")->mapToScene({0, 0}).y()
                    - bottom(visibleItem(panel, "bothHiddenText"))
                < 50);
    QTRY_VERIFY(bottom(visibleItem(panel, "quitButton")) <= m_app->panel().window()->height());
    screenshot(m_app->panel().window(), "panel-both-hidden");

    // Escape closes it; the tray icon toggles it.
    QQuickWindow *window = m_app->panel().window();
    window->requestActivate();
    QTest::keyClick(window, Qt::Key_Escape);
    QTRY_VERIFY(!m_app->panel().isPanelOpen());
    m_app->panel().toggle(QRect(400, 10, 22, 22));
    QVERIFY(m_app->panel().isPanelOpen());
    m_app->panel().toggle(QRect(400, 10, 22, 22));
    QVERIFY(!window->isVisible());

    // Its dashboard button closes the panel first.
    QVERIFY(openPanel());
    QStringList order;
    connect(&m_app->panel(), &MenuBarPanelController::openChanged, this,
            [&](bool open) { order.append(open ? "panel opened" : "panel closed"); });
    connect(m_model.get(), &AppModel::isDashboardOpenChanged, this,
            [&] { order.append(m_model->isDashboardOpen() ? "dashboard opened" : "dashboard closed"); });
    click(visibleItem(panel, "openDashboardButton"));
    QTRY_COMPARE(order, (QStringList{"panel closed", "dashboard opened"}));
    QVERIFY(m_app->dashboard().window()->isVisible());
}

void PanelViewTest::overviewOnADarkDesktop()
{
    startApplication();
    QGuiApplication::setPalette(darkDesktopPalette());
    ProviderSnapshot claude = usage(UsageProvider::claude, {12, 64});
    claude.planName = QStringLiteral("Max");
    claude.creditBalance = QStringLiteral("$12.34 of $50.00");
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    finishRound({usage(UsageProvider::codex, {42, 7}), claude});
    QTRY_VERIFY(visibleItem(panel, "providerCard_claude"));
    QVERIFY2(visibleItems(panel, "fableNote").isEmpty(), "compact cards never show the note");
    QTest::qWait(50);
    const QImage image = screenshot(m_app->panel().window(), "panel-dark");
    QVERIFY(readsOnDark(panel, "cardTitle"));
    QVERIFY(readsOnDark(panel, "windowLabel"));
    QVERIFY(image.pixelColor(image.width() / 2, image.height() - 4).lightnessF() < 0.3);
    // Plan and credits make the footer long, but nothing sticks out of the card.
    QQuickItem *card = visibleItem(panel, "providerCard_claude");
    for (const char *name : {"stateBadge", "creditText", "sourceText"}) {
        QQuickItem *item = visibleItem(card, name);
        QVERIFY2(item && item->mapRectToItem(card, item->boundingRect()).right() <= card->width() + 0.5, name);
    }

    QQuickItem *overview = openPage("overview");
    QVERIFY(overview);
    QTRY_VERIFY(visibleItem(overview, "providerCard_claude"));
    // The note about Fable is Claude's, until a window of that name shows up.
    QVERIFY(visibleItems(visibleItem(overview, "providerCard_codex"), "fableNote").isEmpty());
    QVERIFY(visibleItem(visibleItem(overview, "providerCard_claude"), "fableNote"));
    QTest::qWait(50);
    const QImage full = screenshot(m_app->dashboard().window(), "dashboard-overview-dark");
    // Opened on a screen lower than its preferred height, it fits the screen.
    QQuickWindow *dashboard = m_app->dashboard().window();
    QCOMPARE(dashboard->frameGeometry(), dashboard->screen()->availableGeometry().adjusted(148, 0, -148, 0));
    QVERIFY(readsOnDark(overview, "cardTitle"));
    QVERIFY(readsOnDark(overview, "usedText"));
    QVERIFY(colourAtCentre(full, visibleItem(overview->window()->contentItem(), "sidebar_providers")).lightnessF()
            < 0.3);
    claude.windows[1].label = QStringLiteral("Fable");
    m_model->refreshNow();
    finishRound({usage(UsageProvider::codex, {42, 7}), claude});
    QTRY_VERIFY(visibleItems(visibleItem(overview, "providerCard_claude"), "fableNote").isEmpty());

    // Quitting with the dashboard open keeps its frame for the next start.
    const QRect moved(100, 20, 960, 680);
    dashboard->setGeometry(moved);
    QTRY_COMPARE(dashboard->geometry(), moved);
    m_app.reset();
    QCOMPARE(QSettings(m_folder->filePath(QStringLiteral("frame.ini")), QSettings::IniFormat)
                 .value(QStringLiteral("dashboardFrame"))
                 .toRect(),
             moved);
}

void PanelViewTest::dashboardFrameOnTheScreen_data()
{
    QTest::addColumn<QRect>("saved");
    QTest::addColumn<QRect>("available");
    QTest::addColumn<QRect>("frame");

    const QRect laptop(0, 32, 1366, 736);
    QTest::newRow("first opening on a large screen") << QRect() << QRect(0, 0, 1920, 1080) << QRect(470, 160, 980, 760);
    QTest::newRow("saved frame, still on the screen") << QRect(10, 40, 1000, 700) << laptop << QRect(10, 40, 1000, 700);
    QTest::newRow("saved on a larger monitor, partly on this one")
        << QRect(900, 300, 1600, 1000) << laptop << QRect(0, 32, 1366, 736);
    QTest::newRow("saved across the right edge") << QRect(1200, 100, 980, 640) << laptop << QRect(386, 100, 980, 640);
    QTest::newRow("saved where no screen is any more")
        << QRect(3000, 0, 980, 760) << laptop << QRect(193, 32, 980, 736);
    QTest::newRow("screen smaller than the minimum") << QRect() << QRect(0, 0, 800, 600) << QRect(0, 0, 900, 620);
    QTest::newRow("no screen known") << QRect(5, 5, 990, 700) << QRect() << QRect(5, 5, 990, 700);
}

void PanelViewTest::dashboardFrameOnTheScreen()
{
    QFETCH(QRect, saved);
    QFETCH(QRect, available);
    QFETCH(QRect, frame);
    QCOMPARE(dashboardFrame(saved, QSize(980, 760), QSize(900, 620), available), frame);
}

void PanelViewTest::forecastInCardsHeaderAndWarning()
{
    // Three hours of a 5-hour window climbing steadily to 75 %: at this pace it
    // is full an hour before it resets.
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const auto reading = [&](int minutesAgo) {
        const UsageWindow window =
            SnapshotSamples::fiveHour(UsageProvider::codex, 75.0 - minutesAgo * 25.0 / 60, now.addSecs(2 * 3600));
        return SnapshotSamples::connected(UsageProvider::codex, now.addSecs(-minutesAgo * 60), {window});
    };
    QList<ProviderSnapshot> history;
    for (int minutesAgo = 180; minutesAgo > 0; minutesAgo -= 3)
        history.append(reading(minutesAgo));
    startWithHistory(history);
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    finishRound({reading(0), usage(UsageProvider::claude, {12})});
    QTRY_VERIFY(!texts(panel, "firstToRunOut").value(0).isEmpty());

    const QString header = texts(panel, "firstToRunOut").value(0);
    QVERIFY2(header.startsWith("OpenAI Codex · 5-hour runs out first, at "), qPrintable(header));
    const QStringList footers = texts(visibleItem(panel, "providerCard_codex"), "runOutText");
    QCOMPARE(footers.size(), 1);
    QVERIFY2(footers[0].startsWith("· Full at "), qPrintable(footers[0]));
    QVERIFY(texts(visibleItem(panel, "providerCard_claude"), "runOutText").isEmpty());
    QTest::qWait(50);
    screenshot(m_app->panel().window(), "panel-forecast");

    QQuickItem *codex = visibleItem(openPage("overview"), "providerCard_codex");
    QVERIFY(codex);
    const QStringList lines = texts(codex, "forecastLine");
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].startsWith("At this pace: full at ") && lines[0].endsWith(" before reset"), qPrintable(lines[0]));
    // The round warned of it as well.
    QCOMPARE(std::ranges::count_if(m_fakes->posts,
                                   [](const AppFakes::Post &post) {
                                       return post.body.startsWith("OpenAI Codex · 5-hour: at this pace full at ");
                                   }),
             1);
}

void PanelViewTest::buildSeries_data()
{
    const QSet<UsageProvider> both{UsageProvider::codex, UsageProvider::claude};
    const auto usage = [](UsageProvider provider, QList<double> percents) {
        return AppFakes().usage(provider, percents);
    };
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

void PanelViewTest::buildSeries()
{
    QFETCH(QList<ProviderSnapshot>, snapshots);
    QFETCH(QSet<UsageProvider>, visible);
    QFETCH(SeriesPoints, expected);
    QCOMPARE(percents(buildHistorySeries(snapshots, visible)), expected);
}

void PanelViewTest::mergedColumnsSetThePixelsOfTheFullLine()
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

void PanelViewTest::longPausesBreakTheLine_data()
{
    QTest::addColumn<int>("minutes");
    QTest::addColumn<int>("pieces");
    QTest::newRow("29 minutes apart") << 29 << 1;
    QTest::newRow("31 minutes apart") << 31 << 2;
}

void PanelViewTest::longPausesBreakTheLine()
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
    QList<int> length(image.height(), 0);
    QList<int> found(image.height(), 0);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            length[y] += isLine(x, y) ? 1 : 0;
            found[y] += isLine(x, y) && (x == 0 || !isLine(x - 1, y)) ? 1 : 0;
        }
    }
    QCOMPARE(found[std::max_element(length.begin(), length.end()) - length.begin()], pieces);
}

void PanelViewTest::historyPageAtNinetyDays()
{
    // Every eighth round of the benchmark's 90 days, a reading every 24 minutes
    // (close enough for unbroken lines): the whole span and every series, at
    // an eighth of the size.
    const QList<ProviderSnapshot> full = realisticHistory(QDateTime::currentDateTimeUtc());
    QList<ProviderSnapshot> history;
    for (qsizetype i = 0; i + 1 < full.size(); i += 16)
        history << full[i] << full[i + 1]; // codex and claude of one round
    startWithHistory(history);
    QTRY_VERIFY_WITH_TIMEOUT(!m_model->history().isEmpty(), 30000);
    QQuickItem *page = openPage("history");
    QVERIFY(page);
    auto *plot = qobject_cast<HistoryPlot *>(visibleItem(page, "historyPlot"));
    QVERIFY(plot);

    // Seven days at first; each button sets its range, ending at 90 days.
    QCOMPARE(plot->rangeStart().daysTo(plot->rangeEnd()), 7);
    for (const auto &[button, days] :
         QList<std::pair<QString, int>>{{"range_1", 1}, {"range_30", 30}, {"range_90", 90}}) {
        click(visibleItem(page, button));
        QCOMPARE(plot->rangeStart().secsTo(plot->rangeEnd()), days * 86400LL);
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
    QCOMPARE(texts(page, "emptyStateTitle"), QStringList{"No history yet"});
    m_model->setProvider(UsageProvider::codex, true);
    m_model->setProvider(UsageProvider::claude, true);
    QCOMPARE(plot->seriesNames(), all);
}

LIMITRA_VIEW_TEST_MAIN(PanelViewTest)
#include "tst_PanelView.moc"
