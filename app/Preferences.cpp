#include "app/Preferences.h"

#include "system/AppPaths.h"

namespace {

const QString kEnabledProviders = QStringLiteral("enabledProviders");
const QString kDockIconVisibility = QStringLiteral("dockIconVisibility");
const QString kShowsMenuBarIcon = QStringLiteral("showsMenuBarIcon");
const QString kMenuBarShortcut = QStringLiteral("menuBarShortcut");
const QString kCodexExecutablePath = QStringLiteral("codexExecutablePath");
const QString kClaudeExecutablePath = QStringLiteral("claudeExecutablePath");
const QString kNotificationsEnabled = QStringLiteral("notificationsEnabled");
const QString kWarnBeforeRunOut = QStringLiteral("warnBeforeRunOut");
const QString kAlertThreshold = QStringLiteral("alertThreshold");

constexpr double kDefaultThreshold = 80;

} // namespace

QString Preferences::defaultPath()
{
    return AppPaths::configHome() + QStringLiteral("/Limitra/Limitra.conf");
}

Preferences::Preferences(const QString &path)
    : m_settings(std::make_unique<QSettings>(path, QSettings::IniFormat))
{
}

void Preferences::store(const QString &key, const QVariant &value)
{
    m_settings->setValue(key, value);
    m_settings->sync();
}

QSet<UsageProvider> Preferences::enabledProviders() const
{
    QSet<UsageProvider> all(allCases<UsageProvider>.begin(), allCases<UsageProvider>.end());
    if (!m_settings->contains(kEnabledProviders))
        return all;
    const QVariant stored = m_settings->value(kEnabledProviders);
    // An empty list is stored as "@Invalid()" in INI files and reads back invalid.
    if (!stored.isValid())
        return {};
    if (stored.typeId() != QMetaType::QStringList && stored.typeId() != QMetaType::QString)
        return all;
    QSet<UsageProvider> enabled;
    for (const QString &name : stored.toStringList()) {
        if (const std::optional<UsageProvider> provider = fromRawValue<UsageProvider>(name))
            enabled.insert(*provider);
    }
    return enabled;
}

void Preferences::setEnabledProviders(const QSet<UsageProvider> &providers)
{
    QStringList names;
    for (UsageProvider provider : allCases<UsageProvider>) {
        if (providers.contains(provider))
            names.append(rawValue(provider));
    }
    store(kEnabledProviders, names);
}

DockIconVisibility Preferences::dockIconVisibility() const
{
    return fromRawValue<DockIconVisibility>(m_settings->value(kDockIconVisibility).toString())
        .value_or(DockIconVisibility::whileDashboardOpen);
}

void Preferences::setDockIconVisibility(DockIconVisibility visibility)
{
    store(kDockIconVisibility, rawValue(visibility));
}

bool Preferences::showsMenuBarIcon() const
{
    return m_settings->contains(kShowsMenuBarIcon) ? m_settings->value(kShowsMenuBarIcon).toBool() : true;
}

void Preferences::setShowsMenuBarIcon(bool shows)
{
    store(kShowsMenuBarIcon, shows);
}

std::optional<GlobalShortcut> Preferences::menuBarShortcut() const
{
    if (!m_settings->contains(kMenuBarShortcut))
        return GlobalShortcut::defaultShortcut();
    return GlobalShortcut::fromJson(m_settings->value(kMenuBarShortcut).toByteArray());
}

void Preferences::setMenuBarShortcut(const std::optional<GlobalShortcut> &shortcut)
{
    store(kMenuBarShortcut, shortcut ? shortcut->toJson() : QByteArray());
}

QString Preferences::codexExecutablePath() const
{
    return m_settings->value(kCodexExecutablePath).toString();
}

void Preferences::setCodexExecutablePath(const QString &path)
{
    store(kCodexExecutablePath, path);
}

QString Preferences::claudeExecutablePath() const
{
    return m_settings->value(kClaudeExecutablePath).toString();
}

void Preferences::setClaudeExecutablePath(const QString &path)
{
    store(kClaudeExecutablePath, path);
}

bool Preferences::notificationsEnabled() const
{
    return m_settings->value(kNotificationsEnabled, false).toBool();
}

void Preferences::setNotificationsEnabled(bool enabled)
{
    store(kNotificationsEnabled, enabled);
}

bool Preferences::warnsBeforeRunOut() const
{
    return m_settings->value(kWarnBeforeRunOut, true).toBool();
}

void Preferences::setWarnsBeforeRunOut(bool warns)
{
    store(kWarnBeforeRunOut, warns);
}

double Preferences::alertThreshold() const
{
    bool ok = false;
    const double stored = m_settings->value(kAlertThreshold).toDouble(&ok);
    return ok && stored != 0 ? stored : kDefaultThreshold;
}

void Preferences::setAlertThreshold(double percent)
{
    store(kAlertThreshold, percent);
}

bool Preferences::wasNotified(const QString &identity) const
{
    return m_settings->value(QStringLiteral("notified.") + identity, false).toBool();
}

void Preferences::markNotified(const QString &identity)
{
    store(QStringLiteral("notified.") + identity, true);
}
