// AppModel's settings and the user's actions: persistence, the rule that keeps
// Limitra reachable, the taskbar policy, launch at login, the Claude bridge and
// the global shortcut.
#include "app/AppModel.h"

#include "app/Preferences.h"
#include "app/platform/LoginItemService.h"
#include "app/platform/Notifier.h"
#include "app/platform/ShortcutRegistrar.h"
#include "collectors/claude/ClaudeIntegrationManager.h"

void AppModel::setIsDashboardOpen(bool open)
{
    if (m_isDashboardOpen == open)
        return;
    m_isDashboardOpen = open;
    Q_EMIT isDashboardOpenChanged();
}

// The tray icon and the taskbar entry are never both hidden: hiding the icon
// makes the entry permanent.
void AppModel::setShowsMenuBarIcon(bool shows)
{
    if (shows == m_storedShowsMenuBarIcon)
        return;
    m_storedShowsMenuBarIcon = shows;
    m_services.preferences->setShowsMenuBarIcon(shows);
    Q_EMIT showsMenuBarIconChanged();
    if (!shows && m_dockIconVisibility != DockIconVisibility::always) {
        setDockIconVisibility(DockIconVisibility::always);
        setLastActionMessage(QStringLiteral("The taskbar entry is now always shown so Limitra stays reachable."));
    }
    applyActivationPolicy();
}

// ... and a taskbar entry that is not permanent brings the icon back.
void AppModel::setDockIconVisibility(DockIconVisibility visibility)
{
    if (visibility == m_dockIconVisibility)
        return;
    m_dockIconVisibility = visibility;
    Q_EMIT dockIconVisibilityChanged();
    m_services.preferences->setDockIconVisibility(visibility);
    if (visibility != DockIconVisibility::always && !m_storedShowsMenuBarIcon) {
        m_storedShowsMenuBarIcon = true;
        m_services.preferences->setShowsMenuBarIcon(true);
        Q_EMIT showsMenuBarIconChanged();
        setLastActionMessage(QStringLiteral("The tray icon came back so Limitra stays reachable."));
    }
    applyActivationPolicy();
}

void AppModel::setDockIconVisibilityName(const QString &name)
{
    if (const std::optional<DockIconVisibility> visibility = fromRawValue<DockIconVisibility>(name))
        setDockIconVisibility(*visibility);
}

void AppModel::setTrayHostPresent(bool present)
{
    if (present == m_trayHostPresent)
        return;
    m_trayHostPresent = present;
    applyActivationPolicy();
}

void AppModel::applyActivationPolicy()
{
    ActivationPolicy wanted = ActivationPolicy::accessory;
    const DockIconVisibility visibility = effectiveDockIconVisibility();
    if (visibility == DockIconVisibility::always
        || (visibility == DockIconVisibility::whileDashboardOpen && m_isDashboardOpen))
        wanted = ActivationPolicy::regular;
    if (m_taskbarPolicy.policy() == wanted)
        return;
    m_taskbarPolicy.setPolicy(wanted, wanted == ActivationPolicy::regular);
}

void AppModel::setCodexExecutablePath(const QString &path)
{
    if (path == m_codexExecutablePath)
        return;
    m_codexExecutablePath = path;
    m_services.preferences->setCodexExecutablePath(path);
    Q_EMIT codexExecutablePathChanged();
}

void AppModel::setClaudeExecutablePath(const QString &path)
{
    if (path == m_claudeExecutablePath)
        return;
    m_claudeExecutablePath = path;
    m_services.preferences->setClaudeExecutablePath(path);
    Q_EMIT claudeExecutablePathChanged();
}

void AppModel::setNotificationsEnabled(bool enabled)
{
    if (enabled == m_notificationsEnabled)
        return;
    m_notificationsEnabled = enabled;
    m_services.preferences->setNotificationsEnabled(enabled);
    Q_EMIT notificationsEnabledChanged();
    if (enabled)
        m_services.notifier->requestPermission();
}

void AppModel::setWarnsBeforeRunOut(bool warns)
{
    if (warns == m_warnsBeforeRunOut)
        return;
    m_warnsBeforeRunOut = warns;
    m_services.preferences->setWarnsBeforeRunOut(warns);
    Q_EMIT warnsBeforeRunOutChanged();
}

void AppModel::setAlertThreshold(double percent)
{
    if (percent == m_alertThreshold)
        return;
    m_alertThreshold = percent;
    m_services.preferences->setAlertThreshold(percent);
    Q_EMIT alertThresholdChanged();
}

void AppModel::setLaunchAtLogin(bool enabled)
{
    const Result<void> changed = m_services.loginItems->setEnabled(enabled);
    setLaunchAtLoginEnabled(m_services.loginItems->isEnabled());
    if (!changed)
        setLastActionMessage(QStringLiteral("Launch at login could not be changed: ") + changed.error().description());
    else
        setLastActionMessage(enabled ? QStringLiteral("Limitra will launch when you sign in.")
                                     : QStringLiteral("Launch at login disabled."));
}

void AppModel::installClaudeIntegration()
{
    const Result<void> installed = ClaudeIntegrationManager::install(m_services.executablePath());
    if (!installed) {
        setLastActionMessage(installed.error().description());
        return;
    }
    readClaudeIntegrationState();
    setLastActionMessage(QStringLiteral(
        "Claude bridge installed. Refresh now; Limitra can query /usage even when Claude runs outside a terminal."));
}

void AppModel::removeClaudeIntegration()
{
    const Result<void> removed = ClaudeIntegrationManager::uninstall();
    if (!removed) {
        setLastActionMessage(removed.error().description());
        return;
    }
    readClaudeIntegrationState();
    setLastActionMessage(QStringLiteral("The previous Claude status-line configuration was restored."));
}

void AppModel::setMenuBarShortcut(const std::optional<GlobalShortcut> &shortcut)
{
    if (shortcut == m_menuBarShortcut)
        return;
    m_menuBarShortcut = shortcut;
    m_services.preferences->setMenuBarShortcut(shortcut);
    Q_EMIT menuBarShortcutChanged();
    applyShortcut();
}

void AppModel::recordShortcut(uint keyCode, int modifierFlags, const QString &label)
{
    const quint64 kept = GlobalShortcut::shift | GlobalShortcut::control | GlobalShortcut::alt | GlobalShortcut::super;
    setMenuBarShortcut(GlobalShortcut{keyCode, static_cast<quint64>(modifierFlags) & kept, label});
}

void AppModel::setShortcutRecording(bool recording)
{
    if (recording == m_shortcutPaused)
        return;
    m_shortcutPaused = recording;
    if (recording)
        m_services.shortcuts->unregisterShortcut();
    else
        applyShortcut();
}

void AppModel::applyShortcut()
{
    if (m_shortcutPaused)
        return;
    if (m_menuBarShortcut) {
        const Result<void> registered =
            m_services.shortcuts->registerShortcut(*m_menuBarShortcut, [model = QPointer<AppModel>(this)] {
                if (model)
                    model->shortcutPressed();
            });
        if (!registered) {
            setShortcutError(registered.error().description());
            return;
        }
    } else {
        m_services.shortcuts->unregisterShortcut();
    }
    setShortcutError(std::nullopt);
}

void AppModel::shortcutPressed()
{
    if (m_storedShowsMenuBarIcon && m_panelAvailable())
        Q_EMIT panelToggleRequested();
    else
        Q_EMIT dashboardRequested();
}
