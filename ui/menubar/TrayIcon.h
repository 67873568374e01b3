#pragma once

#include <QMenu>
#include <QObject>
#include <QRect>
#include <QSystemTrayIcon>

class AppModel;
class UpdaterModel;

// The tray icon with its image, tooltip and menu. Made only once a tray host
// exists (see TrayHostWatcher). Shown while the model's showsMenuBarIcon is on.
class TrayIcon : public QObject
{
    Q_OBJECT

public:
    TrayIcon(AppModel &model, UpdaterModel &updater, QObject *parent = nullptr);

    bool isVisible() const { return m_icon.isVisible(); }
    // Where the panel should hang: the icon's geometry when the tray tells
    // it (XEmbed), else the pointer's position at the click.
    QRect anchor() const;
    const QSystemTrayIcon &systemTrayIcon() const { return m_icon; }

Q_SIGNALS:
    void panelToggleRequested(const QRect &anchor);
    void panelShowRequested(const QRect &anchor);
    void dashboardRequested();
    void quitRequested();

private:
    void update();

    AppModel &m_model;
    QMenu m_menu;
    QSystemTrayIcon m_icon;
};
