#pragma once

#include "model/DockIconVisibility.h"
#include "model/GlobalShortcut.h"
#include "model/UsageProvider.h"

#include <QSet>
#include <QSettings>
#include <QString>

#include <memory>
#include <optional>

// The user's preferences, typed, with their defaults. Stored with QSettings in
// INI format at $XDG_CONFIG_HOME/Limitra/Limitra.conf; every value is written
// when it changes.
class Preferences
{
public:
    // The preferences file in the user's configuration folder.
    static QString defaultPath();

    explicit Preferences(const QString &path = defaultPath());

    // "enabledProviders": absent (or not a list) enables both; a stored
    // empty list enables none; unknown names are skipped.
    QSet<UsageProvider> enabledProviders() const;
    void setEnabledProviders(const QSet<UsageProvider> &providers);

    // "dockIconVisibility": absent or unknown gives whileDashboardOpen.
    DockIconVisibility dockIconVisibility() const;
    void setDockIconVisibility(DockIconVisibility visibility);

    // "showsMenuBarIcon": absent gives true.
    bool showsMenuBarIcon() const;
    void setShowsMenuBarIcon(bool shows);

    // "menuBarShortcut": absent gives the default shortcut; present but empty
    // or not decodable gives none.
    std::optional<GlobalShortcut> menuBarShortcut() const;
    // None is stored as empty data, so that the choice survives a restart.
    void setMenuBarShortcut(const std::optional<GlobalShortcut> &shortcut);

    QString codexExecutablePath() const;
    void setCodexExecutablePath(const QString &path);
    QString claudeExecutablePath() const;
    void setClaudeExecutablePath(const QString &path);

    bool notificationsEnabled() const;
    void setNotificationsEnabled(bool enabled);

    // "warnBeforeRunOut": absent gives true.
    bool warnsBeforeRunOut() const;
    void setWarnsBeforeRunOut(bool warns);

    // "alertThreshold": 0 or absent gives 80.
    double alertThreshold() const;
    void setAlertThreshold(double percent);

    // The marks of alerts already posted: "notified." + identity.
    bool wasNotified(const QString &identity) const;
    void markNotified(const QString &identity);

private:
    // Writes one value through to the file at once (replaced atomically).
    void store(const QString &key, const QVariant &value);

    std::unique_ptr<QSettings> m_settings;
};
