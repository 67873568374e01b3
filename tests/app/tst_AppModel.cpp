// The application model with fake collectors and platform services, real
// preferences and archive files in a throw-away home.
#include "app/AppModel.h"
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "storage/ArchiveFormat.h"
#include "tests/app/AppFakes.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QScopeGuard>
#include <QSignalSpy>
#include <QtTest>

class AppModelTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<AppFakes> m_fakes;

    QString folder() const { return m_home->path(); }
    std::unique_ptr<AppModel> makeModel() { return std::make_unique<AppModel>(m_fakes->services(folder())); }
    // A model whose start() has run with an empty archive and no round pending.
    std::unique_ptr<AppModel> startedModel()
    {
        auto model = makeModel();
        QFuture<void> started = model->start();
        const size_t providers = model->visibleProviders().size();
        if (!QTest::qWaitFor([this, providers] { return m_fakes->collections.size() == providers; }))
            return nullptr;
        m_fakes->finishAllAt({});
        return QTest::qWaitFor([&started] { return started.isFinished(); }) ? std::move(model) : nullptr;
    }
    // One round, each provider answering what `make` gives.
    static void round(AppModel &model, AppFakes &fakes,
                      const std::function<Result<ProviderSnapshot>(UsageProvider)> &make)
    {
        QFuture<void> future = model.refresh();
        fakes.finishAll(make);
        QTRY_VERIFY(future.isFinished());
    }
    void writePreferences(const QByteArray &ini) const
    {
        m_home->writeFile(QStringLiteral("Limitra.conf"), "[General]\n" + ini);
    }
    QByteArray storedPreferences() const { return readAll(AppFakes::preferencesPath(folder())); }
    qsizetype archived() const
    {
        return ArchiveFormat::decode(readAll(folder() + "/usage-history.json")).value().snapshots.size();
    }

private Q_SLOTS:
    void init();
    void cleanup();

    void preferencesAtConstruction_data();
    void preferencesAtConstruction();
    void startShowsArchivedSnapshotsThenRefreshes();
    void roundCollectsStoresAndArchives();
    void failingCollectorGivesAnErrorSnapshot();
    void bothProvidersDisabled();
    void providersSwitchedOnAndOff();
    void periodicRoundsCountFromTheEndOfTheLast();
    void reachabilityAndActivationPolicy();
    void launchAtLogin();
    void claudeBridgeActions();
    void shortcutPersistenceAndErrors();
    void hotKeyAction();
    void settingsArePersistedAsTyped();
    void statusLinePayloadReachesTheNextRound();
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
    m_fakes->finishAllAt({});
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

    const QStringList both{"codex", "claude"};
    const QString dashboard = "whileDashboardOpen";
    QTest::newRow("nothing stored") << QByteArray() << both << dashboard << 80.0 << "Ctrl+Alt+Super+U" << true;
    QTest::newRow("stored values") << QByteArray("enabledProviders=claude, gemini\ndockIconVisibility=never\n"
                                                 "alertThreshold=55.5\nshowsMenuBarIcon=false\n")
                                   << QStringList{"claude"} << "never" << 55.5 << "Ctrl+Alt+Super+U" << false;
    QTest::newRow("empty list, unknown case, zero threshold")
        << QByteArray("enabledProviders=@Invalid()\ndockIconVisibility=sometimes\nalertThreshold=0\n") << QStringList{}
        << dashboard << 80.0 << "Ctrl+Alt+Super+U" << true;
    QTest::newRow("empty shortcut data means none")
        << QByteArray("menuBarShortcut=@ByteArray()\n") << both << dashboard << 80.0 << "" << true;
    QTest::newRow("undecodable shortcut means none")
        << QByteArray("menuBarShortcut=@ByteArray({\"keyCode\":5})\n") << both << dashboard << 80.0 << "" << true;
    QTest::newRow("stored shortcut") << QByteArray(
        "menuBarShortcut=\"@ByteArray({\\\"keyCode\\\":107,\\\"keyLabel\\\":\\\"K\\\",\\\"modifierFlags\\\":"
        "1966080})\"\n") << both << dashboard
                                     << 80.0 << "Ctrl+Alt+Shift+Super+K" << true;
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
    // The shortcut was registered at construction when there is one.
    QCOMPARE(m_fakes->registered.has_value(), !shortcut.isEmpty());
    QCOMPARE(model->menuBarTitle(), QStringLiteral("--"));
}

void AppModelTest::startShowsArchivedSnapshotsThenRefreshes()
{
    ProviderSnapshot olderCodex = m_fakes->usage(UsageProvider::codex, {10});
    olderCodex.collectedAt = m_fakes->now.addSecs(-600);
    ProviderSnapshot newerCodex = m_fakes->usage(UsageProvider::codex, {20});
    newerCodex.collectedAt = m_fakes->now.addSecs(-300);
    ProviderSnapshot claude = m_fakes->usage(UsageProvider::claude, {30});
    claude.collectedAt = m_fakes->now.addSecs(-400);
    m_home->writeFile(QStringLiteral("usage-history.json"), ArchiveFormat::encode({{olderCodex, claude, newerCodex}}));
    writePreferences("enabledProviders=codex\n");

    auto model = makeModel();
    // start() is scheduled by the constructor.
    QTRY_COMPARE(m_fakes->collections.size(), size_t(1));
    QCOMPARE(model->history().size(), 3);
    QCOMPARE(model->latest().keys(), QList<UsageProvider>{UsageProvider::codex}); // claude is not visible
    QCOMPARE(model->latest().value(UsageProvider::codex).id, newerCodex.id);
    QCOMPARE(model->menuBarTitle(), QStringLiteral("20%"));
    QVERIFY(model->isRefreshing());
    QVERIFY(model->start().isFinished()); // a second start does nothing
    QCOMPARE(m_fakes->collections.size(), size_t(1));
}

void AppModelTest::roundCollectsStoresAndArchives()
{
    auto model = startedModel();
    QVERIFY(model);
    QCOMPARE(m_fakes->collectorsMade, 2);
    model->setCodexExecutablePath(QStringLiteral("~/bin/codex"));
    QSignalSpy titleChanged(model.get(), &AppModel::menuBarTitleChanged);
    QFuture<void> round = model->refresh();
    QVERIFY(model->refresh().isFinished()); // a second refresh during a round returns at once
    QCOMPARE(m_fakes->collections.size(), size_t(2));
    QCOMPARE(m_fakes->collections[0].executableOverride, QStringLiteral("~/bin/codex"));
    const ProviderSnapshot codex = m_fakes->usage(UsageProvider::codex, {12.5});
    const ProviderSnapshot claude = m_fakes->usage(UsageProvider::claude, {87.5, 3});
    // Claude answers first; the results are still taken codex first.
    std::swap(m_fakes->collections[0], m_fakes->collections[1]);
    m_fakes->finishAll([&](UsageProvider provider) { return provider == UsageProvider::codex ? codex : claude; });
    QTRY_VERIFY(round.isFinished());
    QCOMPARE(model->latest().value(UsageProvider::codex), codex);
    QCOMPARE(model->latest().value(UsageProvider::claude), claude);
    // The history is the file's, as the next start will read it.
    const QList<ProviderSnapshot> stored =
        ArchiveFormat::decode(readAll(folder() + "/usage-history.json")).value().snapshots;
    QCOMPARE(model->history(), stored);
    QCOMPARE((QList<QUuid>{stored[stored.size() - 2].id, stored.last().id}), (QList<QUuid>{codex.id, claude.id}));
    QVERIFY(!model->isRefreshing());
    QCOMPARE(m_fakes->exports.back(), model->latest());
    QCOMPARE(model->property("menuBarTitle").toString(), QStringLiteral("88%"));
    QCOMPARE(titleChanged.count(), 1);
    // A hidden provider does not count.
    model->setProvider(UsageProvider::claude, false);
    QCOMPARE(model->menuBarTitle(), QStringLiteral("13%"));
}

void AppModelTest::failingCollectorGivesAnErrorSnapshot()
{
    auto model = startedModel();
    QVERIFY(model);
    // Claude is far over the threshold, but notifications are off.
    round(*model, *m_fakes, [this](UsageProvider provider) -> Result<ProviderSnapshot> {
        if (provider == UsageProvider::codex)
            return LimitraError::executableNotFound(QStringLiteral("Codex"));
        return m_fakes->usage(provider, {95});
    });
    const ProviderSnapshot codex = model->latest().value(UsageProvider::codex);
    QCOMPARE(codex.state, CollectorState::error);
    QCOMPARE(codex.source, UsageSource::codexAppServer);
    QCOMPARE(codex.collectedAt, m_fakes->now);
    QCOMPARE(codex.message, QStringLiteral("Could not find the Codex executable. Set its path in Settings."));
    QVERIFY(codex.windows.isEmpty());
    QCOMPARE(model->latest().value(UsageProvider::claude).windows.size(), 1);
    QVERIFY(m_fakes->posts.empty());
    model->setNotificationsEnabled(true);
    QCOMPARE(m_fakes->permissionRequests, 1);
}

void AppModelTest::bothProvidersDisabled()
{
    writePreferences("enabledProviders=@Invalid()\n");
    auto model = makeModel();
    QFuture<void> started = model->start();
    QTRY_VERIFY(started.isFinished());
    QCOMPARE(m_fakes->collectorsMade, 0);
    QVERIFY(model->latest().isEmpty());
    QCOMPARE(model->menuBarTitle(), QStringLiteral("--"));
    QCOMPARE(archived(), 0); // the archive was still written, with nothing in it
}

void AppModelTest::providersSwitchedOnAndOff()
{
    writePreferences("enabledProviders=codex\n");
    auto model = startedModel();
    QVERIFY(model);
    const size_t exportsBefore = m_fakes->exports.size();
    QSignalSpy changed(model.get(), &AppModel::enabledProvidersChanged);
    QMetaObject::invokeMethod(model.get(), "setProvider", Q_ARG(QString, QStringLiteral("claude")), Q_ARG(bool, true));
    QCOMPARE(changed.count(), 1);
    QCOMPARE(m_fakes->exports.size(), exportsBefore + 1);
    QVERIFY(storedPreferences().contains("enabledProviders=codex, claude"));
    model->setProvider(UsageProvider::claude, true); // already enabled: nothing
    QCOMPARE(changed.count(), 1);
    QTRY_COMPARE(m_fakes->collections.size(), size_t(2)); // the round it asked for

    // Switched off while that round runs: the round still stores it, though
    // the tray's percentage leaves it out...
    model->setProvider(UsageProvider::claude, false);
    QVERIFY(!model->latest().contains(UsageProvider::claude));
    m_fakes->finishAll([this](UsageProvider provider) {
        return m_fakes->usage(provider, {provider == UsageProvider::claude ? 95.0 : 5.0});
    });
    QTRY_VERIFY(!model->isRefreshing());
    QVERIFY(model->latest().contains(UsageProvider::claude));
    QCOMPARE(model->menuBarTitle(), QStringLiteral("5%"));
    // ... and the next one removes it for good. (The round setProvider asked
    // for found that one still running and returned at once.)
    QFuture<void> next = model->refresh();
    QCOMPARE(m_fakes->collections.size(), size_t(1));
    QCOMPARE(m_fakes->collections.front().provider, UsageProvider::codex);
    m_fakes->finishAllAt({6});
    QTRY_VERIFY(next.isFinished());
    QVERIFY(!model->latest().contains(UsageProvider::claude));
}

void AppModelTest::periodicRoundsCountFromTheEndOfTheLast()
{
    auto model = makeModel();
    for (int round = 0; round < 3; ++round) {
        QTRY_COMPARE(m_fakes->collections.size(), size_t(2));
        // Nothing is scheduled while a round runs...
        QCOMPARE(m_fakes->scheduled.size(), size_t(0));
        m_fakes->finishAllAt({1});
        // ... the next one is, a refresh interval after this one ended.
        QTRY_COMPARE(m_fakes->scheduled.size(), size_t(1));
        QVERIFY(!model->isRefreshing());
        QCOMPARE(m_fakes->scheduled.front().first, std::chrono::milliseconds(std::chrono::seconds(180)));
        const std::function<void()> next = std::move(m_fakes->scheduled.front().second);
        m_fakes->scheduled.clear();
        next();
    }
}

void AppModelTest::reachabilityAndActivationPolicy()
{
    writePreferences("dockIconVisibility=never\n");
    auto model = makeModel();
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::accessory);
    QSignalSpy policy(&model->taskbarPolicy(), &TaskbarPolicy::policyChanged);
    model->setIsDashboardOpen(true);
    model->applyActivationPolicy();
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::accessory); // never: not even with the dashboard
    model->setDockIconVisibility(DockIconVisibility::whileDashboardOpen);
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::regular);
    QCOMPARE(policy.count(), 1);
    QCOMPARE(policy.last().value(0).toBool(), true); // activated as well
    model->applyActivationPolicy();                  // unchanged: not set again
    QCOMPARE(policy.count(), 1);
    model->setIsDashboardOpen(false);
    model->applyActivationPolicy();
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::accessory);
    QCOMPARE(model->lastActionMessage(), std::nullopt);

    // The tray icon and the taskbar entry are never both hidden.
    model->setShowsMenuBarIcon(false);
    QCOMPARE(model->dockIconVisibility(), DockIconVisibility::always);
    QCOMPARE(model->lastActionMessage(),
             QStringLiteral("The taskbar entry is now always shown so Limitra stays reachable."));
    QCOMPARE(model->taskbarPolicy().policy(), ActivationPolicy::regular);
    model->setDockIconVisibility(DockIconVisibility::never);
    QVERIFY(model->showsMenuBarIcon());
    QCOMPARE(model->lastActionMessage(), QStringLiteral("The tray icon came back so Limitra stays reachable."));
    const QByteArray stored = storedPreferences();
    QVERIFY(stored.contains("showsMenuBarIcon=true") && stored.contains("dockIconVisibility=never"));

    // Already always shown: hiding the icon needs no message.
    writePreferences("dockIconVisibility=always\n");
    auto always = makeModel();
    always->setShowsMenuBarIcon(false);
    QCOMPARE(always->lastActionMessage(), std::nullopt);
    QVERIFY(!always->showsMenuBarIcon());
}

void AppModelTest::launchAtLogin()
{
    auto model = makeModel();
    const QString enabled = QStringLiteral("Limitra will launch when you sign in.");
    model->setLaunchAtLogin(true);
    QVERIFY(model->launchAtLoginEnabled());
    QCOMPARE(model->lastActionMessage(), enabled);
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
        QVERIFY(!storedPreferences().contains("menuBarShortcut"));

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
    QMetaObject::invokeMethod(makeModel().get(), "clearShortcut");
    QCOMPARE(m_fakes->registered, std::nullopt);
    // No shortcut survives a restart; it is not the default coming back.
    QCOMPARE(makeModel()->menuBarShortcut(), std::nullopt);
    QVERIFY(storedPreferences().contains("menuBarShortcut=@ByteArray()"));
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
    QCOMPARE(Preferences::defaultPath(), m_home->configHome() + "/Limitra/Limitra.conf");
}

void AppModelTest::statusLinePayloadReachesTheNextRound()
{
    // What Claude Code hands its status-line command, through the built helper.
    const LimitraRun helper =
        runLimitra({QStringLiteral("--claude-statusline")}, R"({"rate_limits":{"five_hour":{"used_percentage":37.5}}})",
                   m_home->environment());
    QCOMPARE(helper.exitCode, 0);
    // The application's own services, with no `claude` to fall back on.
    m_home->writeFile(QStringLiteral(".config/Limitra/Limitra.conf"), "[General]\nenabledProviders=claude\n");
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", m_home->path().toUtf8());
    const auto restore = qScopeGuard([&] { qputenv("PATH", path); });
    auto shortcuts = std::make_unique<FakeShortcuts>();
    shortcuts->onRegister = [](const GlobalShortcut &, std::function<void()>) { return Result<void>(); };
    shortcuts->onUnregister = [] {};
    AppModel model(AppModel::Services::real(std::move(shortcuts)));
    QTRY_VERIFY(model.latest().contains(UsageProvider::claude));
    const ProviderSnapshot claude = model.latest().value(UsageProvider::claude);
    QCOMPARE(claude.source, UsageSource::claudeStatusLine);
    QCOMPARE(claude.state, CollectorState::connected);
    QCOMPARE(claude.windows.size(), 1);
    QCOMPARE(claude.windows[0].usedPercent, 37.5);
    QCOMPARE(model.menuBarTitle(), QStringLiteral("38%"));
}

QTEST_GUILESS_MAIN(AppModelTest)
#include "tst_AppModel.moc"
