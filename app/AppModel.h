#pragma once

#include "app/UsageForecasts.h"
#include "app/platform/ActivationPolicy.h"
#include "model/DockIconVisibility.h"
#include "model/GlobalShortcut.h"
#include "model/ProviderSnapshot.h"

#include <QFuture>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class LoginItemService;
class Notifier;
class Preferences;
class ShortcutRegistrar;
class UsageAlerts;
class UsageArchiveStore;
class UsageCollecting;

// The running application's one observable object: the latest snapshot of
// each provider, the history, every preference, the refresh cycle, the usage
// alerts and the user's actions. Lives on the main thread; collectors run
// elsewhere and hand their results back. Views bind to its properties and
// call its slots; every action reports its outcome in lastActionMessage (or
// shortcutError).
class AppModel : public QObject
{
    Q_OBJECT

    // The visible providers' raw names ("codex", "claude"), codex first.
    Q_PROPERTY(QStringList visibleProviders READ visibleProviderNames NOTIFY enabledProvidersChanged)
    Q_PROPERTY(QString menuBarTitle READ menuBarTitle NOTIFY menuBarTitleChanged)
    Q_PROPERTY(int historySize READ historySize NOTIFY historyChanged)
    Q_PROPERTY(bool isRefreshing READ isRefreshing NOTIFY isRefreshingChanged)
    Q_PROPERTY(bool claudeIntegrationInstalled READ claudeIntegrationInstalled NOTIFY claudeIntegrationInstalledChanged)
    // The installed bridge runs an executable that is gone (a deleted build
    // tree, an uninstalled copy); installing again repairs it.
    Q_PROPERTY(bool claudeIntegrationBroken READ claudeIntegrationBroken NOTIFY claudeIntegrationInstalledChanged)
    Q_PROPERTY(bool launchAtLoginEnabled READ launchAtLoginEnabled NOTIFY launchAtLoginEnabledChanged)
    // Empty when there is none.
    Q_PROPERTY(QString lastActionMessage READ lastActionMessageText NOTIFY lastActionMessageChanged)
    Q_PROPERTY(QString shortcutError READ shortcutErrorText NOTIFY shortcutErrorChanged)
    // The same names: the enabled providers are the visible ones.
    Q_PROPERTY(QStringList enabledProviders READ visibleProviderNames NOTIFY enabledProvidersChanged)
    Q_PROPERTY(bool isDashboardOpen READ isDashboardOpen WRITE setIsDashboardOpen NOTIFY isDashboardOpenChanged)
    // "never", "whileDashboardOpen" or "always".
    Q_PROPERTY(QString dockIconVisibility READ dockIconVisibilityName WRITE setDockIconVisibilityName NOTIFY
                   dockIconVisibilityChanged)
    Q_PROPERTY(bool showsMenuBarIcon READ showsMenuBarIcon WRITE setShowsMenuBarIcon NOTIFY showsMenuBarIconChanged)
    // "Ctrl+Alt+Super+U"; empty when there is no shortcut.
    Q_PROPERTY(QString menuBarShortcut READ menuBarShortcutText NOTIFY menuBarShortcutChanged)
    Q_PROPERTY(bool menuBarShortcutIsDefault READ menuBarShortcutIsDefault NOTIFY menuBarShortcutChanged)
    Q_PROPERTY(QString codexExecutablePath READ codexExecutablePath WRITE setCodexExecutablePath NOTIFY
                   codexExecutablePathChanged)
    Q_PROPERTY(QString claudeExecutablePath READ claudeExecutablePath WRITE setClaudeExecutablePath NOTIFY
                   claudeExecutablePathChanged)
    Q_PROPERTY(bool notificationsEnabled READ notificationsEnabled WRITE setNotificationsEnabled NOTIFY
                   notificationsEnabledChanged)
    Q_PROPERTY(double alertThreshold READ alertThreshold WRITE setAlertThreshold NOTIFY alertThresholdChanged)
    Q_PROPERTY(bool warnsBeforeRunOut READ warnsBeforeRunOut WRITE setWarnsBeforeRunOut NOTIFY warnsBeforeRunOutChanged)
    // "Claude Code · 5-hour runs out first, at 15:40", or empty.
    Q_PROPERTY(QString firstToRunOut READ firstToRunOut NOTIFY forecastsChanged)

public:
    // Everything the model talks to, so that tests can put in their own.
    struct Services {
        Services();
        ~Services();
        Services(Services &&) noexcept;
        Services &operator=(Services &&) noexcept;

        // A collector for one round; `executableOverride` is the path from the settings.
        std::function<std::unique_ptr<UsageCollecting>(UsageProvider provider, const QString &executableOverride)>
            makeCollector;
        std::unique_ptr<UsageArchiveStore> archive;
        std::unique_ptr<Preferences> preferences;
        std::unique_ptr<Notifier> notifier;
        std::unique_ptr<LoginItemService> loginItems;
        std::unique_ptr<ShortcutRegistrar> shortcuts;
        std::function<std::optional<QString>()> executablePath;
        std::function<void(const QMap<UsageProvider, ProviderSnapshot> &)> exportWidget;
        std::chrono::milliseconds refreshInterval{std::chrono::seconds(180)};
        // The time the alerts, forecasts and error snapshots go by.
        std::function<QDateTime()> now = [] { return QDateTime::currentDateTimeUtc(); };
        // Runs `next` once `interval` has passed, unless `context` is gone by then.
        std::function<void(std::chrono::milliseconds interval, QObject *context, std::function<void()> next)> runLater =
            [](std::chrono::milliseconds interval, QObject *context, std::function<void()> next) {
                QTimer::singleShot(interval, Qt::PreciseTimer, context, std::move(next));
            };

        // The real ones: collectors, files, D-Bus notifications, autostart,
        // and the desktop's hot keys, which the graphical shell chooses.
        static Services real(std::unique_ptr<ShortcutRegistrar> shortcuts);
    };

    explicit AppModel(Services services, QObject *parent = nullptr);
    ~AppModel() override;

    // --- State -------------------------------------------------------------
    const QMap<UsageProvider, ProviderSnapshot> &latest() const { return m_latest; }
    const QList<ProviderSnapshot> &history() const { return m_history; }
    QList<UsageProvider> visibleProviders() const;
    QString menuBarTitle() const;
    // The largest usedPercent of the visible providers' latest windows; none without any.
    std::optional<double> highestUsedPercent() const;
    bool isRefreshing() const { return m_isRefreshing; }
    bool claudeIntegrationInstalled() const { return m_claudeIntegrationInstalled; }
    bool claudeIntegrationBroken() const { return m_claudeIntegrationBroken; }
    bool launchAtLoginEnabled() const { return m_launchAtLoginEnabled; }
    std::optional<QString> lastActionMessage() const { return m_lastActionMessage; }
    std::optional<QString> shortcutError() const { return m_shortcutError; }
    QSet<UsageProvider> enabledProviders() const { return m_enabledProviders; }
    bool isDashboardOpen() const { return m_isDashboardOpen; }
    DockIconVisibility dockIconVisibility() const { return m_dockIconVisibility; }
    // The taskbar choice in force: without a tray host Limitra is reachable
    // only through its window, as if the icon were hidden, while the stored
    // choice waits for a host to appear.
    DockIconVisibility effectiveDockIconVisibility() const
    {
        return m_trayHostPresent ? m_dockIconVisibility : DockIconVisibility::always;
    }
    bool showsMenuBarIcon() const { return m_storedShowsMenuBarIcon; }
    std::optional<GlobalShortcut> menuBarShortcut() const { return m_menuBarShortcut; }
    QString codexExecutablePath() const { return m_codexExecutablePath; }
    QString claudeExecutablePath() const { return m_claudeExecutablePath; }
    bool notificationsEnabled() const { return m_notificationsEnabled; }
    double alertThreshold() const { return m_alertThreshold; }
    // What the dashboard window follows for its taskbar entry.
    TaskbarPolicy &taskbarPolicy() { return m_taskbarPolicy; }

    // --- Settings ----------------------------------------------------------
    void setIsDashboardOpen(bool open);
    void setDockIconVisibility(DockIconVisibility visibility);
    void setShowsMenuBarIcon(bool shows);
    void setMenuBarShortcut(const std::optional<GlobalShortcut> &shortcut);
    void setCodexExecutablePath(const QString &path);
    void setClaudeExecutablePath(const QString &path);
    void setNotificationsEnabled(bool enabled);
    void setAlertThreshold(double percent);
    bool warnsBeforeRunOut() const { return m_warnsBeforeRunOut; }
    void setWarnsBeforeRunOut(bool warns);
    const UsageForecasts &forecasts() const { return m_forecasts; }
    QString firstToRunOut() const;

    // Whether the hot key can toggle a panel (a tray icon exists); the shell tells.
    void setPanelAvailable(std::function<bool()> available) { m_panelAvailable = std::move(available); }
    // Whether the desktop has a tray to hold the icon; the shell tells.
    void setTrayHostPresent(bool present);

    // --- Refresh -----------------------------------------------------------
    // Loads the history, refreshes once, then every refresh interval counted
    // from the end of the previous round. Runs once; later calls do nothing.
    QFuture<void> start();
    // One collection round; while one runs, returns at once.
    QFuture<void> refresh();

public Q_SLOTS:
    void setProvider(const QString &provider, bool enabled);
    void setLaunchAtLogin(bool enabled);
    void installClaudeIntegration();
    void removeClaudeIntegration();
    void applyActivationPolicy();
    void applyShortcut();
    void useDefaultShortcut() { setMenuBarShortcut(GlobalShortcut::defaultShortcut()); }
    void clearShortcut() { setMenuBarShortcut(std::nullopt); }
    // A combination typed into the recorder (modifier bits as in GlobalShortcut).
    void recordShortcut(uint keyCode, int modifierFlags, const QString &label);
    // While the recorder listens, the hot key is released so that its
    // combination reaches the recorder; it comes back when recording ends.
    void setShortcutRecording(bool recording);
    void refreshNow() { refresh(); }

public:
    void setProvider(UsageProvider provider, bool enabled);

Q_SIGNALS:
    void latestChanged();
    void historyChanged();
    void menuBarTitleChanged();
    void isRefreshingChanged();
    void claudeIntegrationInstalledChanged();
    void launchAtLoginEnabledChanged();
    void lastActionMessageChanged();
    void shortcutErrorChanged();
    void enabledProvidersChanged();
    void isDashboardOpenChanged();
    void dockIconVisibilityChanged();
    void showsMenuBarIconChanged();
    void menuBarShortcutChanged();
    void codexExecutablePathChanged();
    void claudeExecutablePathChanged();
    void notificationsEnabledChanged();
    void alertThresholdChanged();
    void warnsBeforeRunOutChanged();
    void forecastsChanged();
    // The hot key asks for the panel to open or close, or for the dashboard.
    void panelToggleRequested();
    void dashboardRequested();

private:
    QFuture<std::optional<ProviderSnapshot>> snapshotFor(UsageProvider provider);
    void finishRound(const QList<std::optional<ProviderSnapshot>> &results,
                     const std::shared_ptr<QPromise<void>> &done);
    void exportWidgetSnapshot();
    void scheduleNextRound();
    // The archive's snapshots as the history, and the newest of each visible provider as the latest.
    void showArchived(const QList<ProviderSnapshot> &history);
    void setLatest(QMap<UsageProvider, ProviderSnapshot> latest);
    void setHistory(QList<ProviderSnapshot> history);
    // Forecasts the latest snapshots again, after the history or them changed.
    void updateForecasts();
    void setIsRefreshing(bool refreshing);
    // Reads whether the bridge is installed, and whether it still works.
    void readClaudeIntegrationState();
    void setLaunchAtLoginEnabled(bool enabled);
    void setLastActionMessage(const std::optional<QString> &message);
    void setShortcutError(const std::optional<QString> &message);
    void setEnabledProviders(const QSet<UsageProvider> &providers);
    void shortcutPressed();

    // Property adaptors for views.
    QStringList visibleProviderNames() const;
    int historySize() const { return static_cast<int>(m_history.size()); }
    QString lastActionMessageText() const { return m_lastActionMessage.value_or(QString()); }
    QString shortcutErrorText() const { return m_shortcutError.value_or(QString()); }
    QString dockIconVisibilityName() const { return rawValue(m_dockIconVisibility); }
    void setDockIconVisibilityName(const QString &name);
    QString menuBarShortcutText() const { return m_menuBarShortcut ? m_menuBarShortcut->displayString() : QString(); }
    bool menuBarShortcutIsDefault() const { return m_menuBarShortcut == GlobalShortcut::defaultShortcut(); }

    Services m_services;
    std::unique_ptr<UsageAlerts> m_alerts;
    TaskbarPolicy m_taskbarPolicy;
    std::function<bool()> m_panelAvailable = [] { return false; };

    QMap<UsageProvider, ProviderSnapshot> m_latest;
    QList<ProviderSnapshot> m_history;
    UsageForecasts m_forecasts;
    bool m_warnsBeforeRunOut = true;
    bool m_isRefreshing = false;
    bool m_claudeIntegrationInstalled = false;
    bool m_claudeIntegrationBroken = false;
    bool m_launchAtLoginEnabled = false;
    std::optional<QString> m_lastActionMessage;
    std::optional<QString> m_shortcutError;
    QSet<UsageProvider> m_enabledProviders;
    bool m_isDashboardOpen = false;
    DockIconVisibility m_dockIconVisibility = DockIconVisibility::whileDashboardOpen;
    bool m_trayHostPresent = true;
    std::optional<GlobalShortcut> m_menuBarShortcut;
    QString m_codexExecutablePath;
    QString m_claudeExecutablePath;
    bool m_notificationsEnabled = false;
    double m_alertThreshold = 80;
    bool m_storedShowsMenuBarIcon = true;
    bool m_hasStarted = false;
    bool m_shortcutPaused = false;
};
