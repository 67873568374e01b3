// The panel and the dashboard's overview as a person sees them: the real
// views, the real shell, a model fed by fake collectors; every state is also
// grabbed to a PNG under the build folder's "screenshots".
#include "../app/AppFakes.h"
#include "ViewInspection.h"
#include "ViewTestApplication.h"
#include "app/UpdaterModel.h"
#include "storage/ArchiveFormat.h"
#include "system/AtomicFile.h"
#include "ui/dashboard/DashboardWindowController.h"
#include "ui/menubar/MenuBarPanelController.h"
#include "ui/shell/LimitraApplication.h"

#include <algorithm>

#include <QApplication>
#include <QPalette>
#include <QQuickStyle>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LimitraPlugin)

using namespace ViewInspection;

class PanelViewTest : public QObject, private ViewTestApplication
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void placeholdersUntilTheFirstSnapshot();
    void bothProvidersHidden();
    void cardWithoutWindows_data();
    void cardWithoutWindows();
    void gaugesFollowThePercentages();
    void panelClosesOnEscapeAndSecondActivation();
    void openDashboardClosesThePanelFirst();
    void overviewShowsFullCardsWithTheFableNote();
    void darkDesktopScheme();
    void forecastInCardsHeaderAndWarning();

private:
    // Finishes the first round with these snapshots (a provider left out fails).
    void finishRound(const QList<ProviderSnapshot> &snapshots);
    QQuickItem *openPanel();
};

void PanelViewTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    startApplication();
}

void PanelViewTest::cleanup()
{
    stopApplication();
}

void PanelViewTest::finishRound(const QList<ProviderSnapshot> &snapshots)
{
    QTRY_VERIFY(!m_fakes->collections.empty());
    m_fakes->finishAll([&](UsageProvider provider) -> Result<ProviderSnapshot> {
        for (const ProviderSnapshot &snapshot : snapshots) {
            if (snapshot.provider == provider)
                return snapshot;
        }
        return LimitraError::invalidResponse(QStringLiteral("left out by the test"));
    });
    QTRY_VERIFY(!m_model->isRefreshing());
}

QQuickItem *PanelViewTest::openPanel()
{
    m_app->panel().show(QRect(400, 10, 22, 22));
    QQuickWindow *window = m_app->panel().window();
    if (!window || !QTest::qWaitForWindowExposed(window))
        return nullptr;
    return window->contentItem();
}

void PanelViewTest::placeholdersUntilTheFirstSnapshot()
{
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    QVERIFY(visibleItem(panel, "placeholder_codex"));
    QVERIFY(visibleItem(panel, "placeholder_claude"));
    QVERIFY(visibleItems(panel, "providerCard_codex").isEmpty());
    QCOMPARE(visibleItems(panel, "placeholderSpinner").size(), 2);
    screenshot(m_app->panel().window(), "panel-placeholders");

    finishRound({usage(UsageProvider::codex, {42})});
    QTRY_VERIFY(visibleItem(panel, "providerCard_codex"));
    QVERIFY(visibleItems(panel, "placeholder_codex").isEmpty());
    QCOMPARE(texts(panel, "usedText"), QStringList{"42%"});
}

void PanelViewTest::bothProvidersHidden()
{
    m_model->setProvider(UsageProvider::codex, false);
    m_model->setProvider(UsageProvider::claude, false);
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    QCOMPARE(texts(panel, "bothHiddenText"),
             QStringList{"Both providers are hidden. Turn one back on in the dashboard settings."});
    QVERIFY(visibleItems(panel, "placeholder_codex").isEmpty());
    QVERIFY(visibleItems(panel, "placeholder_claude").isEmpty());
    for (const char *action : {"openDashboardButton", "checkForUpdatesButton", "quitButton"})
        QVERIFY2(visibleItem(panel, action), action);
    screenshot(m_app->panel().window(), "panel-both-hidden");
}

void PanelViewTest::cardWithoutWindows_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("shown");
    QTest::newRow("without message") << QString() << "No usage data available.";
    QTest::newRow("with message") << "Claude Code is not signed in."
                                  << "Claude Code is not signed in.";
}

void PanelViewTest::cardWithoutWindows()
{
    QFETCH(QString, message);
    QFETCH(QString, shown);
    ProviderSnapshot claude = usage(UsageProvider::claude, {});
    claude.state = CollectorState::error;
    if (!message.isEmpty())
        claude.message = message;
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    finishRound({usage(UsageProvider::codex, {10}), claude});
    QTRY_VERIFY(visibleItem(panel, "providerCard_claude"));
    QQuickItem *card = visibleItem(panel, "providerCard_claude");
    QCOMPARE(texts(card, "cardEmptyText"), QStringList{shown});
    QCOMPARE(texts(card, "stateBadge"), QStringList{"ERROR"});
    QVERIFY(visibleItems(card, "windowRow").isEmpty());
    screenshot(m_app->panel().window(), QStringLiteral("panel-no-windows-") + QTest::currentDataTag());
}

void PanelViewTest::gaugesFollowThePercentages()
{
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    finishRound({usage(UsageProvider::codex, {74.9, 75, 89.99, 90, 130, -5})});
    QTRY_COMPARE(visibleItems(panel, "windowRow").size(), 6);
    QCOMPARE(texts(panel, "usedText"), (QStringList{"75%", "75%", "90%", "90%", "100%", "0%"}));
    QCOMPARE(texts(panel, "remainingText"), (QStringList{"25% remaining", "25% remaining", "10% remaining",
                                                         "10% remaining", "0% remaining", "100% remaining"}));
    QTest::qWait(50); // let the scene graph draw the new rows
    const QImage image = screenshot(m_app->panel().window(), "panel-gauges");

    const QColor accent = QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight);
    const QColor orange(QStringLiteral("#e07b00"));
    const QColor red(QStringLiteral("#d72d24"));
    const QList<QColor> expected{accent, orange, orange, red, red};
    const QList<QQuickItem *> rows = visibleItems(panel, "windowRow");
    for (int row = 0; row < expected.size(); ++row) {
        QQuickItem *fill = visibleItem(rows[row], "gaugeFill");
        QVERIFY2(fill, qPrintable(QString::number(row)));
        QCOMPARE(colourAtCentre(image, fill).name(), expected[row].name());
    }
    // 130 % fills the whole track; −5 % leaves it empty.
    QCOMPARE(visibleItem(rows[4], "gaugeFill")->width(), visibleItem(rows[4], "gaugeTrack")->width());
    QVERIFY(visibleItems(rows[5], "gaugeFill").isEmpty());
}

void PanelViewTest::panelClosesOnEscapeAndSecondActivation()
{
    QVERIFY(openPanel());
    QQuickWindow *window = m_app->panel().window();
    window->requestActivate();
    QTest::keyClick(window, Qt::Key_Escape);
    QTRY_VERIFY(!m_app->panel().isPanelOpen());

    m_app->panel().toggle(QRect(400, 10, 22, 22));
    QVERIFY(m_app->panel().isPanelOpen());
    m_app->panel().toggle(QRect(400, 10, 22, 22));
    QVERIFY(!m_app->panel().isPanelOpen());
    QVERIFY(!window->isVisible());
}

void PanelViewTest::openDashboardClosesThePanelFirst()
{
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    QStringList order;
    connect(&m_app->panel(), &MenuBarPanelController::openChanged, this,
            [&](bool open) { order.append(open ? "panel opened" : "panel closed"); });
    connect(m_model.get(), &AppModel::isDashboardOpenChanged, this,
            [&] { order.append(m_model->isDashboardOpen() ? "dashboard opened" : "dashboard closed"); });
    click(visibleItem(panel, "openDashboardButton"));
    QTRY_COMPARE(order, (QStringList{"panel closed", "dashboard opened"}));
    QVERIFY(m_app->dashboard().window()->isVisible());
}

void PanelViewTest::overviewShowsFullCardsWithTheFableNote()
{
    ProviderSnapshot claude = usage(UsageProvider::claude, {12, 64});
    claude.planName = QStringLiteral("Max");
    claude.modelName = QStringLiteral("Opus");
    claude.creditBalance = QStringLiteral("$12.34 of $50.00");
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    finishRound({usage(UsageProvider::codex, {42, 7}), claude});
    QTRY_VERIFY(visibleItem(panel, "providerCard_claude"));
    QVERIFY2(visibleItems(panel, "fableNote").isEmpty(), "compact cards never show the note");
    screenshot(m_app->panel().window(), "panel-two-providers");

    m_app->openDashboard();
    QQuickWindow *dashboard = m_app->dashboard().window();
    QVERIFY(QTest::qWaitForWindowExposed(dashboard));
    QQuickItem *overview = visibleItem(dashboard->contentItem(), "overviewPage");
    QVERIFY(overview);
    QTRY_VERIFY(visibleItem(overview, "providerCard_claude"));
    QVERIFY(visibleItems(visibleItem(overview, "providerCard_codex"), "fableNote").isEmpty());
    QQuickItem *claudeCard = visibleItem(overview, "providerCard_claude");
    QVERIFY(visibleItem(claudeCard, "fableNote"));
    QCOMPARE(texts(claudeCard, "planName"), QStringList{"Max"});
    QCOMPARE(texts(claudeCard, "creditText"), QStringList{"Credits: $12.34 of $50.00"});
    QTest::qWait(50);
    screenshot(dashboard, "dashboard-overview");

    // A Claude window labelled "Fable" makes the note go.
    claude.windows[1].label = QStringLiteral("Fable");
    m_model->refreshNow();
    finishRound({usage(UsageProvider::codex, {42, 7}), claude});
    QTRY_VERIFY(visibleItems(visibleItem(overview, "providerCard_claude"), "fableNote").isEmpty());
}

void PanelViewTest::darkDesktopScheme()
{
    QGuiApplication::setPalette(darkDesktopPalette());
    const auto lightAgain = qScopeGuard([] { QGuiApplication::setPalette(QPalette()); });
    const auto readsOnDark = [](QQuickItem *root, const char *name) {
        const QList<QQuickItem *> items = visibleItems(root, name);
        return !items.isEmpty() && std::ranges::all_of(items, [](QQuickItem *item) {
            return item->property("color").value<QColor>().lightnessF() > 0.6;
        });
    };
    QQuickItem *panel = openPanel();
    QVERIFY(panel);
    finishRound({usage(UsageProvider::codex, {42, 7}), usage(UsageProvider::claude, {12, 64})});
    QTRY_VERIFY(visibleItem(panel, "providerCard_claude"));
    QTest::qWait(50);
    const QImage image = screenshot(m_app->panel().window(), "panel-dark");
    QVERIFY(readsOnDark(panel, "cardTitle"));
    QVERIFY(readsOnDark(panel, "windowLabel"));
    QVERIFY(image.pixelColor(image.width() / 2, image.height() - 4).lightnessF() < 0.3);

    m_app->openDashboard();
    QQuickWindow *dashboard = m_app->dashboard().window();
    QVERIFY(QTest::qWaitForWindowExposed(dashboard));
    QQuickItem *overview = visibleItem(dashboard->contentItem(), "overviewPage");
    QTRY_VERIFY(visibleItem(overview, "providerCard_claude"));
    QTest::qWait(50);
    const QImage full = screenshot(dashboard, "dashboard-overview-dark");
    QVERIFY(readsOnDark(overview, "cardTitle"));
    QVERIFY(readsOnDark(overview, "usedText"));
    QVERIFY(colourAtCentre(full, visibleItem(dashboard->contentItem(), "sidebar_providers")).lightnessF() < 0.3);
}

void PanelViewTest::forecastInCardsHeaderAndWarning()
{
    // Three hours of a 5-hour window climbing steadily to 75 %: at this pace it
    // is full an hour before it resets.
    stopApplication();
    m_folder = std::make_unique<QTemporaryDir>();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime reset = now.addSecs(2 * 3600);
    const auto reading = [&](int minutesAgo) {
        ProviderSnapshot snapshot = usage(UsageProvider::codex, {75.0 - minutesAgo * 25.0 / 60}, reset);
        snapshot.windows[0].windowMinutes = 300;
        snapshot.collectedAt = now.addSecs(-minutesAgo * 60);
        return snapshot;
    };
    QList<ProviderSnapshot> history;
    for (int minutesAgo = 180; minutesAgo > 0; minutesAgo -= 3)
        history.append(reading(minutesAgo));
    QVERIFY(
        AtomicFile::write(m_folder->filePath(QStringLiteral("usage-history.json")), ArchiveFormat::encode({history}))
            .ok());
    startApplication();
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

    m_app->openDashboard();
    QQuickWindow *dashboard = m_app->dashboard().window();
    QVERIFY(QTest::qWaitForWindowExposed(dashboard));
    QQuickItem *codex = visibleItem(visibleItem(dashboard->contentItem(), "overviewPage"), "providerCard_codex");
    QVERIFY(codex);
    const QStringList lines = texts(codex, "forecastLine");
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines[0].startsWith("At this pace: full at ") && lines[0].endsWith(" before reset"), qPrintable(lines[0]));
    QTest::qWait(50);
    screenshot(dashboard, "dashboard-forecast");

    // The warning comes once for this window, not on the next refresh.
    const auto warnings = [&] {
        return std::ranges::count_if(m_fakes->posts, [](const AppFakes::Post &post) {
            return post.body.startsWith("OpenAI Codex · 5-hour: at this pace full at ");
        });
    };
    QCOMPARE(warnings(), 1);
    m_model->refreshNow();
    finishRound({reading(0), usage(UsageProvider::claude, {12})});
    QCOMPARE(warnings(), 1);
}

int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    PanelViewTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_PanelView.moc"
