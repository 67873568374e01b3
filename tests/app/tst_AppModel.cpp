// The application model with fake collectors and platform services, real
// preferences and archive files in a throw-away home.
#include "app/AppModel.h"
#include "app/UsageAlerts.h"
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "storage/ArchiveFormat.h"
#include "tests/app/AppFakes.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtTest>

namespace {

const QString kTaskbarMessage = QStringLiteral("The taskbar entry is now always shown so Limitra stays reachable.");
const QString kTrayMessage = QStringLiteral("The tray icon came back so Limitra stays reachable.");

} // namespace

class AppModelTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<AppFakes> m_fakes;

    QString folder() const { return m_home->path(); }
    std::unique_ptr<AppModel> makeModel() { return std::make_unique<AppModel>(m_fakes->services(folder())); }
    // A model whose start() has run with an empty archive and no round
    // pending; none if that did not happen in time.
    std::unique_ptr<AppModel> startedModel()
    {
        auto model = makeModel();
        QFuture<void> started = model->start();
        const size_t providers = model->visibleProviders().size();
        if (!QTest::qWaitFor([this, providers] { return m_fakes->collections.size() == providers; }))
            return nullptr;
        m_fakes->finishAll([](UsageProvider provider) { return usage(provider, {}); });
        if (!QTest::qWaitFor([&started] { return started.isFinished(); }))
            return nullptr;
        return model;
    }
    void writePreferences(const QByteArray &ini) const
    {
        m_home->writeFile(QStringLiteral("Limitra.conf"), "[General]\n" + ini);
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void preferencesAtConstruction_data();
    void preferencesAtConstruction();
    void startShowsArchivedSnapshotsThenRefreshes();
    void roundCollectsStoresAndArchives();
    void secondRefreshDuringARoundReturnsAtOnce();
    void failingCollectorGivesAnErrorSnapshot();
    void bothProvidersDisabled();
    void providerSwitchedOffDuringARound();
    void enablingAProviderPersistsAndRefreshes();
    void periodicRoundsCountFromTheEndOfTheLast();
    void menuBarTitle();
    void alertsThroughARound();
    void reachabilityRule();
    void activationPolicy();
    void launchAtLogin();
    void claudeBridgeActions();
    void shortcutPersistenceAndErrors();
    void hotKeyAction();
    void settingsArePersistedAsTyped();
    void preferencesLiveInTheUsersConfigFolder();
};

void AppModelTest::init()
{
    m_home = std::make_unique<TestHome>();
    m_home->activate();
    m_fakes = std::make_unique<AppFakes>();
}

void AppModelTest::cleanup()
{
    // Let queued work (a scheduled start, continuations) see the model gone.
    m_fakes->finishAll([](UsageProvider provider) { return usage(provider, {}); });
    QCoreApplication::processEvents();
    m_fakes.reset();
    m_home.reset();
}

void AppModelTest::preferencesAtConstruction_data()
{
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<QStringList>("enabled");
    QTest::addColumn<QString>("dock");
    QTest::addColumn<double>("threshold");
    QTest::addColumn<QString>("shortcut");
    QTest::addColumn<bool>("showsIcon");

    QTest::newRow("nothing stored") << QByteArray() << QStringList{"codex", "claude"} << "whileDashboardOpen" << 80.0
                                    << "Ctrl+Alt+Super+U" << true;
    QTest::newRow("stored values") << QByteArray("enabledProviders=claude, gemini\ndockIconVisibility=never\n"
                                                 "alertThreshold=55.5\nshowsMenuBarIcon=false\n")
                                   << QStringList{"claude"} << "never" << 55.5 << "Ctrl+Alt+Super+U" << false;
    QTest::newRow("empty list, unknown case, zero threshold")
        << QByteArray("enabledProviders=@Invalid()\ndockIconVisibility=sometimes\nalertThreshold=0\n") << QStringList{}
        << "whileDashboardOpen" << 80.0 << "Ctrl+Alt+Super+U" << true;
    QTest::newRow("empty shortcut data means none")
        << QByteArray("menuBarShortcut=@ByteArray()\n") << QStringList{"codex", "claude"} << "whileDashboardOpen"
        << 80.0 << "" << true;
    QTest::newRow("undecodable shortcut means none")
        << QByteArray("menuBarShortcut=@ByteArray({\"keyCode\":5})\n") << QStringList{"codex", "claude"}
        << "whileDashboardOpen" << 80.0 << "" << true;
    QTest::newRow("stored shortcut") << QByteArray(
        "menuBarShortcut=\"@ByteArray({\\\"keyCode\\\":107,\\\"keyLabel\\\":\\\"K\\\",\\\"modifierFlags\\\":"
        "1966080})\"\n") << QStringList{"codex", "claude"}
                                     << "whileDashboardOpen" << 80.0 << "Ctrl+Alt+Shift+Super+K" << true;
}

void AppModelTest::preferencesAtConstruction()
{
    QFETCH(QByteArray, ini);
    QFETCH(QStringList, enabled);
    QFETCH(QString, dock);
    QFETCH(double, threshold);
    QFETCH(QString, shortcut);
    QFETCH(bool, showsIcon);
    writePreferences(ini);
    auto model = makeModel();
    QCOMPARE(model->property("enabledProviders").toStringList(), enabled);
    QCOMPARE(model->property("dockIconVisibility").toString(), dock);
    QCOMPARE(model->alertThreshold(), threshold);
    QCOMPARE(model->property("menuBarShortcut").toString(), shortcut);
    QCOMPARE(model->showsMenuBarIcon(), showsIcon);
    QCOMPARE(model->notificationsEnabled(), false);
    QCOMPARE(model->codexExecutablePath(), QString());
    // The shortcut was registered at construction when there is one.
    QCOMPARE(m_fakes->registered.has_value(), !shortcut.isEmpty());
    QCOMPARE(model->menuBarTitle(), QStringLiteral("--"));
    QCOMPARE(model->isRefreshing(), false);
}

void AppModelTest::startShowsArchivedSnapshotsThenRefreshes()
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    ProviderSnapshot olderCodex = usage(UsageProvider::codex, {10});
    olderCodex.collectedAt = now.addSecs(-600);
    ProviderSnapshot newerCodex = usage(UsageProvider::codex, {20});
    newerCodex.collectedAt = now.addSecs(-300);
    ProviderSnapshot claude = usage(UsageProvider::claude, {30});
    claude.collectedAt = now.addSecs(-400);
    m_home->writeFile(QStringLiteral("usage-history.json"), ArchiveFormat::encode({{olderCodex, claude, newerCodex}}));
    writePreferences("enabledProviders=codex\n");

    auto model = makeModel();
    QSignalSpy latestChanged(model.get(), &AppModel::latestChanged);
    // start() is scheduled by the constructor.
    QTRY_COMPARE(m_fakes->collections.size(), size_t(1));
    QCOMPARE(model->history().size(), 3);
    QCOMPARE(model->latest().keys(), QList<UsageProvider>{UsageProvider::codex}); // claude is not visible
    QCOMPARE(model->latest().value(UsageProvider::codex).id, newerCodex.id);
    QCOMPARE(model->menuBarTitle(), QStringLiteral("20%"));
    QVERIFY(model->isRefreshing());
    QVERIFY(model->start().isFinished()); // a second start does nothing
    QCOMPARE(m_fakes->collections.size(), size_t(1));
    QVERIFY(latestChanged.count() >= 1);
}

void AppModelTest::roundCollectsStoresAndArchives()
{
    auto model = startedModel();
    QVERIFY(model);
    QCOMPARE(m_fakes->collectorsMade, 2);
    model->setCodexExecutablePath(QStringLiteral("~/bin/codex"));
    QFuture<void> round = model->refresh();
    QCOMPARE(m_fakes->collections.size(), size_t(2));
    QCOMPARE(m_fakes->collections[0].executableOverride, QStringLiteral("~/bin/codex"));
    const ProviderSnapshot codex = usage(UsageProvider::codex, {42});
    const ProviderSnapshot claude = usage(UsageProvider::claude, {13, 7});
    // Claude answers first; the results are still taken codex first.
    m_fakes->collections[1].finish(claude);
    m_fakes->collections[0].finish(codex);
    m_fakes->collections.clear();
    QTRY_VERIFY(round.isFinished());
    QCOMPARE(model->latest().value(UsageProvider::codex), codex);
    QCOMPARE(model->latest().value(UsageProvider::claude), claude);
    QVERIFY(!model->isRefreshing());
    QCOMPARE(model->history().mid(model->history().size() - 2), (QList<ProviderSnapshot>{codex, claude}));
    QCOMPARE(m_fakes->exports.back(), model->latest());
    QCOMPARE(ArchiveFormat::decode(readAll(folder() + QStringLiteral("/usage-history.json"))).value().snapshots.size(),
             model->history().size());
}

void AppModelTest::secondRefreshDuringARoundReturnsAtOnce()
{
    auto model = startedModel();
    QVERIFY(model);
    QFuture<void> first = model->refresh();
    QFuture<void> second = model->refresh();
    QVERIFY(second.isFinished());
    QVERIFY(!first.isFinished());
    QCOMPARE(m_fakes->collections.size(), size_t(2)); // one round's collections only
    m_fakes->finishAll([](UsageProvider provider) { return usage(provider, {1}); });
    QTRY_VERIFY(first.isFinished());
}

void AppModelTest::failingCollectorGivesAnErrorSnapshot()
{
    auto model = startedModel();
    QVERIFY(model);
    model->setNotificationsEnabled(true);
    QFuture<void> round = model->refresh();
    m_fakes->finishAll([](UsageProvider provider) -> Result<ProviderSnapshot> {
        if (provider == UsageProvider::codex)
            return LimitraError::executableNotFound(QStringLiteral("Codex"));
        return usage(provider, {50});
    });
    QTRY_VERIFY(round.isFinished());
    const ProviderSnapshot codex = model->latest().value(UsageProvider::codex);
    QCOMPARE(codex.state, CollectorState::error);
    QCOMPARE(codex.source, UsageSource::codexAppServer);
    QCOMPARE(codex.message, QStringLiteral("Could not find the Codex executable. Set its path in Settings."));
    QVERIFY(codex.windows.isEmpty());
    QCOMPARE(model->latest().value(UsageProvider::claude).windows.size(), 1);
    QVERIFY(m_fakes->posts.empty());
}

void AppModelTest::bothProvidersDisabled()
{
    writePreferences("enabledProviders=@Invalid()\n");
    auto model = makeModel();
    QFuture<void> started = model->start();
    QTRY_VERIFY(started.isFinished());
    QCOMPARE(m_fakes->collectorsMade, 0);
    QVERIFY(model->latest().isEmpty());
    QVERIFY(model->history().isEmpty());
    QCOMPARE(model->menuBarTitle(), QStringLiteral("--"));
    // The archive was still written, with nothing in it.
    QCOMPARE(ArchiveFormat::decode(readAll(folder() + QStringLiteral("/usage-history.json"))).value().snapshots.size(),
             0);
}

void AppModelTest::providerSwitchedOffDuringARound()
{
    auto model = startedModel();
    QVERIFY(model);
    QFuture<void> round = model->refresh();
    model->setProvider(UsageProvider::claude, false);
    QVERIFY(!model->latest().contains(UsageProvider::claude));
    m_fakes->finishAll([](UsageProvider provider) { return usage(provider, {5}); });
    QTRY_VERIFY(round.isFinished());
    // Stored once more from the round already running...
    QVERIFY(model->latest().contains(UsageProvider::claude));
    // ... and removed for good by the next one. (The round setProvider asked
    // for found this one still running and returned at once.)
    QCOMPARE(m_fakes->collections.size(), size_t(0));
    QFuture<void> next = model->refresh();
    QCOMPARE(m_fakes->collections.size(), size_t(1));
    QCOMPARE(m_fakes->collections.front().provider, UsageProvider::codex);
    m_fakes->finishAll([](UsageProvider provider) { return usage(provider, {6}); });
    QTRY_VERIFY(next.isFinished());
    QVERIFY(!model->latest().contains(UsageProvider::claude));
    QCOMPARE(model->visibleProviders(), QList<UsageProvider>{UsageProvider::codex});
}

void AppModelTest::enablingAProviderPersistsAndRefreshes()
{
    writePreferences("enabledProviders=codex\n");
    auto model = startedModel();
    QVERIFY(model);
    const size_t exportsBefore = m_fakes->exports.size();
    QSignalSpy changed(model.get(), &AppModel::enabledProvidersChanged);
    QMetaObject::invokeMethod(model.get(), "setProvider", Q_ARG(QString, QStringLiteral("claude")), Q_ARG(bool, true));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(m_fakes->exports.size(), exportsBefore + 1);
    QTRY_COMPARE(m_fakes->collections.size(), size_t(2));
    QVERIFY(readAll(AppFakes::preferencesPath(folder())).contains("enabledProviders=codex, claude"));
    model->setProvider(UsageProvider::claude, true); // already enabled: nothing
    QCOMPARE(changed.count(), 1);
}

void AppModelTest::periodicRoundsCountFromTheEndOfTheLast()
{
    m_fakes->refreshInterval = std::chrono::milliseconds(300);
    auto model = makeModel();
    QElapsedTimer clock;
    clock.start();
    QList<qint64> starts, ends;
    for (int round = 0; round < 3; ++round) {
        QTRY_COMPARE(m_fakes->collections.size(), size_t(2));
        starts.append(clock.elapsed());
        QTest::qWait(200); // a slow round
        m_fakes->finishAll([](UsageProvider provider) { return usage(provider, {1}); });
        QTRY_VERIFY(!model->isRefreshing());
        ends.append(clock.elapsed());
    }
    // Counted from the start, the next round would come 100 ms after the end;
    // counted from the end, 300 ms after it (a coarse timer may fire 5 % early,
    // a busy machine only makes it later). Half-way tells them apart.
    for (int round = 1; round < 3; ++round)
        QVERIFY2(starts[round] - ends[round - 1] >= 200,
                 qPrintable(QStringLiteral("%1 ms").arg(starts[round] - ends[round - 1])));
}

void AppModelTest::menuBarTitle()
{
    auto model = startedModel();
    QVERIFY(model);
    QSignalSpy titleChanged(model.get(), &AppModel::menuBarTitleChanged);
    QFuture<void> round = model->refresh();
    m_fakes->finishAll([](UsageProvider provider) {
        return provider == UsageProvider::codex ? usage(provider, {12.5}) : usage(provider, {87.5, 3});
    });
    QTRY_VERIFY(round.isFinished());
    QCOMPARE(model->property("menuBarTitle").toString(), QStringLiteral("88%"));
    QCOMPARE(titleChanged.count(), 1);
    // A hidden provider does not count.
    model->setProvider(UsageProvider::claude, false);
    QCOMPARE(model->menuBarTitle(), QStringLiteral("13%"));
    QCOMPARE(titleChanged.count(), 2);
}

void AppModelTest::alertsThroughARound()
{
    auto model = startedModel();
    QVERIFY(model);
    const QDateTime reset = QDateTime::currentDateTimeUtc().addSecs(2 * 3600 + 30);
    const auto round = [&] {
        QFuture<void> future = model->refresh();
        m_fakes->finishAll([&](UsageProvider provider) { return usage(provider, {92.5}, reset); });
        QTRY_VERIFY(future.isFinished());
    };
    round(); // notifications are off
    QVERIFY(m_fakes->posts.empty());
    model->setNotificationsEnabled(true);
    QCOMPARE(m_fakes->permissionRequests, 1);
    round();
    QCOMPARE(m_fakes->posts.size(), size_t(2)); // one per provider
    QCOMPARE(m_fakes->posts[0].title, QStringLiteral("Codex usage is 93%"));
    round(); // the same windows in the same period
    QCOMPARE(m_fakes->posts.size(), size_t(2));
    model->setAlertThreshold(90); // a new threshold re-arms them
    round();
    QCOMPARE(m_fakes->posts.size(), size_t(4));
}

void AppModelTest::reachabilityRule()
{
    {
        writePreferences("dockIconVisibility=never\n");
        auto model = makeModel();
        model->setShowsMenuBarIcon(false);
        QCOMPARE(model->dockIconVisibility(), DockIconVisibility::always);
        QCOMPARE(model->lastActionMessage(), kTaskbarMessage);
        QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::regular);

        // Any other taskbar setting brings the icon back.
        model->setDockIconVisibility(DockIconVisibility::never);
        QVERIFY(model->showsMenuBarIcon());
        QCOMPARE(model->lastActionMessage(), kTrayMessage);
        QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::accessory);
        const QByteArray stored = readAll(AppFakes::preferencesPath(folder()));
        QVERIFY(stored.contains("showsMenuBarIcon=true") && stored.contains("dockIconVisibility=never"));
    }
    {
        writePreferences("dockIconVisibility=always\n");
        auto model = makeModel();
        model->setShowsMenuBarIcon(false);
        QCOMPARE(model->lastActionMessage(), std::nullopt); // already always: no message
        QVERIFY(!model->showsMenuBarIcon());
        model->setShowsMenuBarIcon(false); // the same value: nothing
        QCOMPARE(model->lastActionMessage(), std::nullopt);
    }
}

void AppModelTest::activationPolicy()
{
    auto model = makeModel(); // whileDashboardOpen, closed
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::accessory);
    QSignalSpy policy(&model->taskbarPolicy(), &TaskbarPolicy::policyChanged);
    model->setIsDashboardOpen(true);
    model->applyActivationPolicy();
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::regular);
    QCOMPARE(policy.count(), 1);
    QCOMPARE(policy.last().value(0).toBool(), true); // activated as well
    model->applyActivationPolicy();                  // unchanged: not set again
    QCOMPARE(policy.count(), 1);
    model->setIsDashboardOpen(false);
    model->applyActivationPolicy();
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::accessory);
    model->setDockIconVisibility(DockIconVisibility::always);
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::regular);
}

void AppModelTest::launchAtLogin()
{
    auto model = makeModel();
    model->setLaunchAtLogin(true);
    QVERIFY(model->launchAtLoginEnabled());
    QCOMPARE(model->lastActionMessage(), QStringLiteral("Limitra will launch when you sign in."));
    QCOMPARE(m_fakes->loginChanges, 1);
    model->setLaunchAtLogin(true); // already enabled: no registration, same message
    QCOMPARE(m_fakes->loginChanges, 1);
    QCOMPARE(model->lastActionMessage(), QStringLiteral("Limitra will launch when you sign in."));
    m_fakes->loginFailure = QStringLiteral("Permission denied");
    model->setLaunchAtLogin(false);
    QVERIFY(model->launchAtLoginEnabled());
    QCOMPARE(model->lastActionMessage(), QStringLiteral("Launch at login could not be changed: Permission denied"));
    m_fakes->loginFailure.reset();
    model->setLaunchAtLogin(false);
    QVERIFY(!model->launchAtLoginEnabled());
    QCOMPARE(model->lastActionMessage(), QStringLiteral("Launch at login disabled."));
}

void AppModelTest::claudeBridgeActions()
{
    auto model = makeModel();
    QVERIFY(!model->claudeIntegrationInstalled());
    model->installClaudeIntegration();
    QVERIFY(model->claudeIntegrationInstalled());
    QVERIFY(ClaudeIntegrationManager::isInstalled());
    QCOMPARE(model->lastActionMessage(),
             QStringLiteral("Claude bridge installed. Refresh now; Limitra can query /usage "
                            "even when Claude runs outside a terminal."));
    QVERIFY(readAll(m_home->claudeSettings()).contains("'/opt/Limitra/limitra' --claude-statusline"));
    model->removeClaudeIntegration();
    QVERIFY(!model->claudeIntegrationInstalled());
    QCOMPARE(model->lastActionMessage(), QStringLiteral("The previous Claude status-line configuration was restored."));

    m_home->writeFile(QStringLiteral(".claude/settings.json"), "[]");
    model->installClaudeIntegration();
    QCOMPARE(model->lastActionMessage(), QStringLiteral("The provider returned an unsupported response: "
                                                        "~/.claude/settings.json is not a JSON object"));
    QVERIFY(!model->claudeIntegrationInstalled());

    // A bridge whose executable is gone (a deleted build tree) is reported,
    // and installing again points it at this one.
    m_home->writeFile(QStringLiteral(".claude/settings.json"),
                      R"({"statusLine": {"type": "command", "command": "'/gone/limitra' --claude-statusline"}})");
    m_fakes->executable = QFileInfo(QStringLiteral(LIMITRA_EXECUTABLE)).absoluteFilePath();
    auto reopened = makeModel();
    QVERIFY(reopened->claudeIntegrationInstalled());
    QVERIFY(reopened->claudeIntegrationBroken());
    reopened->installClaudeIntegration();
    QVERIFY(!reopened->claudeIntegrationBroken());
    QVERIFY(readAll(m_home->claudeSettings())
                .contains(ClaudeIntegrationManager::bridgeCommand(m_fakes->executable).toUtf8()));
}

void AppModelTest::shortcutPersistenceAndErrors()
{
    const GlobalShortcut custom{0x6b, GlobalShortcut::control | GlobalShortcut::shift, QStringLiteral("K")};
    {
        auto model = makeModel();
        QCOMPARE(m_fakes->registered, GlobalShortcut::defaultShortcut());
        const int registrations = m_fakes->registrations;
        model->setMenuBarShortcut(GlobalShortcut::defaultShortcut()); // the same: nothing
        QCOMPARE(m_fakes->registrations, registrations);
        QVERIFY(!readAll(AppFakes::preferencesPath(folder())).contains("menuBarShortcut"));

        m_fakes->takenShortcut = custom;
        model->setMenuBarShortcut(custom);
        QCOMPARE(model->shortcutError(),
                 QStringLiteral("Ctrl+Shift+K is already used by another app. Pick a different shortcut."));
        QCOMPARE(model->menuBarShortcut(), custom); // still the chosen one
        m_fakes->takenShortcut.reset();
        model->applyShortcut();
        QCOMPARE(model->shortcutError(), std::nullopt);
        QCOMPARE(m_fakes->registered, custom);
    }
    QCOMPARE(makeModel()->menuBarShortcut(), custom);
    {
        auto model = makeModel();
        QMetaObject::invokeMethod(model.get(), "clearShortcut");
        QCOMPARE(m_fakes->registered, std::nullopt);
        QCOMPARE(model->property("menuBarShortcut").toString(), QString());
    }
    // No shortcut survives a restart; it is not the default coming back.
    QCOMPARE(makeModel()->menuBarShortcut(), std::nullopt);
    QVERIFY(readAll(AppFakes::preferencesPath(folder())).contains("menuBarShortcut=@ByteArray()"));
    makeModel()->useDefaultShortcut();
    QCOMPARE(makeModel()->menuBarShortcut(), GlobalShortcut::defaultShortcut());
}

void AppModelTest::hotKeyAction()
{
    auto model = makeModel();
    QSignalSpy panel(model.get(), &AppModel::panelToggleRequested);
    QSignalSpy dashboard(model.get(), &AppModel::dashboardRequested);
    QVERIFY(m_fakes->press);
    m_fakes->press(); // no tray icon yet: the dashboard
    QCOMPARE(dashboard.count(), 1);
    model->setPanelAvailable([] { return true; });
    m_fakes->press();
    QCOMPARE(panel.count(), 1);
    model->setDockIconVisibility(DockIconVisibility::always);
    model->setShowsMenuBarIcon(false);
    m_fakes->press(); // the icon is hidden: the dashboard
    QCOMPARE(dashboard.count(), 2);
    const std::function<void()> press = m_fakes->press;
    model.reset();
    press(); // the model is gone: nothing happens
}

void AppModelTest::settingsArePersistedAsTyped()
{
    {
        auto model = makeModel();
        model->setProperty("codexExecutablePath", QStringLiteral("  ~/odd path/codex "));
        model->setProperty("claudeExecutablePath", QStringLiteral("/opt/claude"));
        model->setProperty("alertThreshold", 97.5); // not clamped here
        model->setProperty("notificationsEnabled", true);
        model->setProperty("dockIconVisibility", QStringLiteral("always"));
        model->setProperty("dockIconVisibility", QStringLiteral("not a case")); // ignored
    }
    auto model = makeModel();
    QCOMPARE(model->codexExecutablePath(), QStringLiteral("  ~/odd path/codex "));
    QCOMPARE(model->claudeExecutablePath(), QStringLiteral("/opt/claude"));
    QCOMPARE(model->alertThreshold(), 97.5);
    QVERIFY(model->notificationsEnabled());
    QCOMPARE(model->dockIconVisibility(), DockIconVisibility::always);
}

void AppModelTest::preferencesLiveInTheUsersConfigFolder()
{
    QCOMPARE(Preferences::defaultPath(), m_home->configHome() + "/Limitra/Limitra.conf");
    qputenv("XDG_CONFIG_HOME", "not/absolute");
    QCOMPARE(Preferences::defaultPath(), m_home->path() + "/.config/Limitra/Limitra.conf");
}

QTEST_GUILESS_MAIN(AppModelTest)
#include "tst_AppModel.moc"
