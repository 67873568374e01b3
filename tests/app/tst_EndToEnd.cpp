// The model with the real collectors and files, fake `codex` and `claude`
// programs on PATH and a throw-away home: one whole round.
#include "app/AppModel.h"
#include "storage/ArchiveFormat.h"
#include "storage/WidgetSnapshotStore.h"
#include "tests/support/FakeTools.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

class EndToEndTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneRoundLeavesWidgetFileAndArchive();
};

void EndToEndTest::oneRoundLeavesWidgetFileAndArchive()
{
    TestHome home;
    home.activate();
    FakeTools fakes;
    fakes.activate();
    const QString codex = fakes.codex("standard");
    const QString claude = fakes.claude("screen", 0.3);
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(QFileInfo(codex).absolutePath() + ":" + QFileInfo(claude).absolutePath())
                        + ":/usr/bin:/bin");

    AppModel model(AppModel::Services::real());
    QTRY_VERIFY_WITH_TIMEOUT(model.history().size() == 2 && !model.isRefreshing(), 60000);
    qputenv("PATH", path);

    const ProviderSnapshot codexSnapshot = model.latest().value(UsageProvider::codex);
    QCOMPARE(codexSnapshot.state, CollectorState::connected);
    QCOMPARE(codexSnapshot.source, UsageSource::codexAppServer);
    QCOMPARE(codexSnapshot.windows.size(), 2);
    const ProviderSnapshot claudeSnapshot = model.latest().value(UsageProvider::claude);
    QCOMPARE(claudeSnapshot.state, CollectorState::fallback);
    QCOMPARE(claudeSnapshot.source, UsageSource::claudeUsageCommand);
    QCOMPARE(claudeSnapshot.planName, QStringLiteral("Max"));
    QCOMPARE(model.menuBarTitle(), QStringLiteral("42%"));

    // The widget file, where widgets look for it.
    const QString widget = home.dataHome() + "/com.limitra.app.widgets/widget-usage.json";
    const QJsonArray providers = QJsonDocument::fromJson(readAll(widget)).object().value("providers").toArray();
    QCOMPARE(providers.size(), 2);
    QCOMPARE(providers[0].toObject().value("id").toString(), QStringLiteral("codex"));
    QCOMPARE(providers[0].toObject().value("windows").toArray().size(), 2);
    QCOMPARE(providers[1].toObject().value("state").toString(), QStringLiteral("fallback"));

    // The archive, and the fallback file the probe left.
    Result<UsageArchive> archive = ArchiveFormat::decode(readAll(home.appDirectory() + "/usage-history.json"));
    QVERIFY_OK(archive);
    QCOMPARE(archive->snapshots.size(), 2);
    QCOMPARE(archive->snapshots[0].provider, UsageProvider::codex);
    QVERIFY(QFile::exists(home.appDirectory() + "/claude-usage-fallback.json"));
    QCOMPARE(fakes.livingProcesses(), QList<pid_t>());
}

QTEST_GUILESS_MAIN(EndToEndTest)
#include "tst_EndToEnd.moc"
