#include "app/AppModel.h"

#include "app/ForecastTexts.h"
#include "app/Preferences.h"
#include "app/UsageAlerts.h"
#include "app/platform/FreedesktopNotifier.h"
#include "app/platform/LaunchAtLoginManager.h"
#include "app/platform/LoginItemService.h"
#include "app/platform/Notifier.h"
#include "app/platform/ShortcutRegistrar.h"
#include "collectors/claude/ClaudeCollector.h"
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "collectors/codex/CodexCollector.h"
#include "model/UsageCollecting.h"
#include "storage/UsageArchiveStore.h"
#include "storage/WidgetSnapshotStore.h"
#include "system/AppPaths.h"
#include "system/BackgroundTask.h"
#include "system/FileSystem.h"

#include <QPromise>

#include <cmath>

namespace {

// A collector that fails is shown as an error snapshot, never as a lost round.
ProviderSnapshot errorSnapshot(UsageProvider provider, const Error &error, const QDateTime &now)
{
    ProviderSnapshot snapshot;
    snapshot.provider = provider;
    snapshot.collectedAt = now;
    snapshot.source = provider == UsageProvider::codex ? UsageSource::codexAppServer : UsageSource::claudeStatusLine;
    snapshot.state = CollectorState::error;
    snapshot.message = error.description();
    return snapshot;
}

} // namespace

AppModel::Services::Services() = default;
AppModel::Services::~Services() = default;
AppModel::Services::Services(Services &&) noexcept = default;
AppModel::Services &AppModel::Services::operator=(Services &&) noexcept = default;

AppModel::Services AppModel::Services::real(std::unique_ptr<ShortcutRegistrar> shortcuts)
{
    Services services;
    services.makeCollector = [](UsageProvider provider,
                                const QString &executableOverride) -> std::unique_ptr<UsageCollecting> {
        if (provider == UsageProvider::codex)
            return std::make_unique<CodexCollector>(executableOverride);
        return std::make_unique<ClaudeCollector>(ClaudeCollector::Settings{
            .payloadPath = AppPaths::claudeStatusLinePayload(),
            .executableOverride = executableOverride,
        });
    };
    services.archive = std::make_unique<UsageArchiveStore>(UsageArchiveStore::defaultPath());
    services.preferences = std::make_unique<Preferences>();
    services.notifier = std::make_unique<FreedesktopNotifier>();
    services.executablePath = [] { return FileSystem::currentExecutablePath(); };
    services.loginItems =
        std::make_unique<LaunchAtLoginManager>(FileSystem::currentExecutablePath().value_or(QString()));
    services.shortcuts = std::move(shortcuts);
    services.exportWidget = [](const QMap<UsageProvider, ProviderSnapshot> &latest) {
        (void)WidgetSnapshotStore::exportLatest(latest); // a widget file that cannot be written is no error
    };
    return services;
}

AppModel::AppModel(Services services, QObject *parent)
    : QObject(parent)
    , m_services(std::move(services))
    , m_alerts(std::make_unique<UsageAlerts>(*m_services.preferences, *m_services.notifier))
{
    const Preferences &preferences = *m_services.preferences;
    readClaudeIntegrationState();
    m_launchAtLoginEnabled = m_services.loginItems->isEnabled();
    m_enabledProviders = preferences.enabledProviders();
    m_dockIconVisibility = preferences.dockIconVisibility();
    m_menuBarShortcut = preferences.menuBarShortcut();
    m_codexExecutablePath = preferences.codexExecutablePath();
    m_claudeExecutablePath = preferences.claudeExecutablePath();
    m_notificationsEnabled = preferences.notificationsEnabled();
    m_alertThreshold = preferences.alertThreshold();
    m_warnsBeforeRunOut = preferences.warnsBeforeRunOut();
    m_storedShowsMenuBarIcon = preferences.showsMenuBarIcon();

    m_services.notifier->setOpenDashboardAction([this] { Q_EMIT dashboardRequested(); });
    m_services.shortcuts->setLateFailureHandler([this](const Error &error) { setShortcutError(error.description()); });
    applyShortcut();
    applyActivationPolicy();
    QTimer::singleShot(0, this, [this] { start(); });
}

AppModel::~AppModel()
{
    m_services.shortcuts->unregisterShortcut();
    m_services.shortcuts->setLateFailureHandler(nullptr);
    m_services.notifier->setOpenDashboardAction(nullptr);
}

QList<UsageProvider> AppModel::visibleProviders() const
{
    QList<UsageProvider> visible;
    for (UsageProvider provider : allCases<UsageProvider>) {
        if (m_enabledProviders.contains(provider))
            visible.append(provider);
    }
    return visible;
}

std::optional<double> AppModel::highestUsedPercent() const
{
    std::optional<double> highest;
    for (UsageProvider provider : visibleProviders()) {
        const auto found = m_latest.constFind(provider);
        if (found == m_latest.cend())
            continue;
        for (const UsageWindow &window : found->windows)
            highest = std::max(highest.value_or(window.usedPercent), window.usedPercent);
    }
    return highest;
}

QString AppModel::menuBarTitle() const
{
    const std::optional<double> highest = highestUsedPercent();
    if (!highest)
        return QStringLiteral("--");
    return QString::number(static_cast<qint64>(std::round(*highest))) + QLatin1Char('%');
}

QFuture<void> AppModel::start()
{
    if (m_hasStarted)
        return QtFuture::makeReadyFuture();
    m_hasStarted = true;
    auto done = std::make_shared<QPromise<void>>();
    done->start();
    whenFinished(m_services.archive->load(), this, [this, done](const Result<QList<ProviderSnapshot>> &loaded) {
        const QList<ProviderSnapshot> history = loaded ? *loaded : QList<ProviderSnapshot>();
        // The forecasters learn the whole history off the main thread: a
        // fifth of a second at 90 days, which the first window would wait for.
        QFuture<UsageForecasts> learnt = runOn(*QThreadPool::globalInstance(), [history] {
            UsageForecasts forecasts;
            forecasts.teach(history);
            return forecasts;
        });
        whenFinished(learnt, this, [this, done, history, ok = loaded.ok()](const UsageForecasts &forecasts) {
            m_forecasts = forecasts;
            if (ok)
                showArchived(history);
            whenFinished(refresh(), this, [this, done] {
                scheduleNextRound();
                done->finish();
            });
        });
    });
    return done->future();
}

void AppModel::showArchived(const QList<ProviderSnapshot> &history)
{
    setHistory(history);
    QMap<UsageProvider, ProviderSnapshot> latest;
    for (UsageProvider provider : visibleProviders()) {
        const ProviderSnapshot *newest = nullptr;
        for (const ProviderSnapshot &snapshot : m_history) {
            if (snapshot.provider == provider && (!newest || newest->collectedAt < snapshot.collectedAt))
                newest = &snapshot;
        }
        if (newest)
            latest.insert(provider, *newest);
    }
    setLatest(latest);
}

void AppModel::scheduleNextRound()
{
    m_services.runLater(m_services.refreshInterval, this,
                        [this] { whenFinished(refresh(), this, [this] { scheduleNextRound(); }); });
}

QFuture<void> AppModel::refresh()
{
    if (m_isRefreshing)
        return QtFuture::makeReadyFuture();
    setIsRefreshing(true);
    auto done = std::make_shared<QPromise<void>>();
    done->start();
    // Both collectors run at once; their results are taken codex first.
    QFuture<std::optional<ProviderSnapshot>> codex = snapshotFor(UsageProvider::codex);
    QFuture<std::optional<ProviderSnapshot>> claude = snapshotFor(UsageProvider::claude);
    whenFinished(codex, this, [this, claude, done](const std::optional<ProviderSnapshot> &codexResult) {
        whenFinished(claude, this, [this, codexResult, done](const std::optional<ProviderSnapshot> &claudeResult) {
            finishRound({codexResult, claudeResult}, done);
        });
    });
    return done->future();
}

QFuture<std::optional<ProviderSnapshot>> AppModel::snapshotFor(UsageProvider provider)
{
    if (!m_enabledProviders.contains(provider))
        return QtFuture::makeReadyFuture(std::optional<ProviderSnapshot>());
    const QString override = provider == UsageProvider::codex ? m_codexExecutablePath : m_claudeExecutablePath;
    std::shared_ptr<UsageCollecting> collector = m_services.makeCollector(provider, override);
    return collector->collect().then(
        [provider, collector, now = m_services.now](const Result<ProviderSnapshot> &collected) {
            return std::optional<ProviderSnapshot>(collected ? *collected
                                                             : errorSnapshot(provider, collected.error(), now()));
        });
}

void AppModel::finishRound(const QList<std::optional<ProviderSnapshot>> &results,
                           const std::shared_ptr<QPromise<void>> &done)
{
    QMap<UsageProvider, ProviderSnapshot> latest = m_latest;
    for (UsageProvider provider : allCases<UsageProvider>) {
        if (!m_enabledProviders.contains(provider))
            latest.remove(provider);
    }
    // A provider switched off while the round ran still gets this round's
    // snapshot; the next round removes it.
    QList<ProviderSnapshot> collected;
    for (const std::optional<ProviderSnapshot> &result : results) {
        if (!result)
            continue;
        latest.insert(result->provider, *result);
        m_alerts->maybeNotify(*result, m_notificationsEnabled, m_alertThreshold, m_services.now());
        collected.append(*result);
    }
    setLatest(latest);
    exportWidgetSnapshot();
    whenFinished(m_services.archive->append(collected), this,
                 [this, done](const Result<QList<ProviderSnapshot>> &history) {
                     if (history) {
                         setHistory(*history);
                         m_alerts->maybeWarnRunOut(m_forecasts.all(), m_latest, m_warnsBeforeRunOut);
                     }
                     readClaudeIntegrationState();
                     setIsRefreshing(false);
                     done->finish();
                 });
}

void AppModel::exportWidgetSnapshot()
{
    if (m_services.exportWidget)
        m_services.exportWidget(m_latest);
}

void AppModel::setProvider(const QString &provider, bool enabled)
{
    if (const std::optional<UsageProvider> known = fromRawValue<UsageProvider>(provider))
        setProvider(*known, enabled);
}

void AppModel::setProvider(UsageProvider provider, bool enabled)
{
    if (m_enabledProviders.contains(provider) == enabled)
        return;
    QSet<UsageProvider> providers = m_enabledProviders;
    if (enabled) {
        providers.insert(provider);
        setEnabledProviders(providers);
    } else {
        providers.remove(provider);
        setEnabledProviders(providers);
        QMap<UsageProvider, ProviderSnapshot> latest = m_latest;
        latest.remove(provider);
        setLatest(latest);
    }
    exportWidgetSnapshot();
    QTimer::singleShot(0, this, [this] { refresh(); });
}

QStringList AppModel::visibleProviderNames() const
{
    QStringList names;
    for (UsageProvider provider : visibleProviders())
        names.append(rawValue(provider));
    return names;
}

void AppModel::setLatest(QMap<UsageProvider, ProviderSnapshot> latest)
{
    const QString title = menuBarTitle();
    m_latest = std::move(latest);
    updateForecasts();
    Q_EMIT latestChanged();
    if (menuBarTitle() != title)
        Q_EMIT menuBarTitleChanged();
}

void AppModel::setHistory(QList<ProviderSnapshot> history)
{
    m_history = std::move(history);
    updateForecasts();
    Q_EMIT historyChanged();
}

void AppModel::updateForecasts()
{
    m_forecasts.update(m_history, m_latest, m_services.now());
    Q_EMIT forecastsChanged();
}

QString AppModel::firstToRunOut() const
{
    const std::optional<WindowForecast> first = mostAtRisk(m_forecasts.all());
    if (!first)
        return {};
    for (const UsageWindow &window : m_latest.value(first->provider).windows) {
        if (window.id == first->windowId)
            return ForecastTexts::firstToRunOut(*first, window);
    }
    return {};
}

void AppModel::setIsRefreshing(bool refreshing)
{
    if (m_isRefreshing == refreshing)
        return;
    m_isRefreshing = refreshing;
    Q_EMIT isRefreshingChanged();
}

void AppModel::readClaudeIntegrationState()
{
    const bool installed = ClaudeIntegrationManager::isInstalled();
    const bool broken = installed && ClaudeIntegrationManager::isBroken();
    if (m_claudeIntegrationInstalled == installed && m_claudeIntegrationBroken == broken)
        return;
    m_claudeIntegrationInstalled = installed;
    m_claudeIntegrationBroken = broken;
    Q_EMIT claudeIntegrationInstalledChanged();
}

void AppModel::setLaunchAtLoginEnabled(bool enabled)
{
    if (m_launchAtLoginEnabled == enabled)
        return;
    m_launchAtLoginEnabled = enabled;
    Q_EMIT launchAtLoginEnabledChanged();
}

void AppModel::setLastActionMessage(const std::optional<QString> &message)
{
    m_lastActionMessage = message;
    Q_EMIT lastActionMessageChanged();
}

void AppModel::setShortcutError(const std::optional<QString> &message)
{
    if (m_shortcutError == message)
        return;
    m_shortcutError = message;
    Q_EMIT shortcutErrorChanged();
}

void AppModel::setEnabledProviders(const QSet<UsageProvider> &providers)
{
    const QString title = menuBarTitle();
    m_enabledProviders = providers;
    m_services.preferences->setEnabledProviders(providers);
    Q_EMIT enabledProvidersChanged();
    if (menuBarTitle() != title)
        Q_EMIT menuBarTitleChanged();
}
