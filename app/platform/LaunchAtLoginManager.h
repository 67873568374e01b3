#pragma once

#include "app/platform/LoginItemService.h"

#include <QString>

// Launch at login through an XDG autostart entry,
// $XDG_CONFIG_HOME/autostart/com.limitra.Limitra.desktop, written and removed
// by hand. Enabled means: the file exists, its Exec runs this executable, and
// it is not switched off (Hidden=true or X-GNOME-Autostart-enabled=false).
class LaunchAtLoginManager : public LoginItemService
{
public:
    explicit LaunchAtLoginManager(QString executablePath, QString entryPath = defaultEntryPath());

    static QString defaultEntryPath();

    bool isEnabled() const override;
    Result<void> setEnabled(bool enabled) override;

    // The desktop entry that starts `executablePath`.
    static QByteArray entry(const QString &executablePath);
    // The program an entry's Exec line starts, unquoted; empty when there is none.
    static QString execProgram(const QByteArray &entry);

private:
    QString m_executablePath;
    QString m_entryPath;
};
