#pragma once

#include "ui/common/ViewContext.h"
#include "ui/dashboard/DashboardWindowController.h"
#include "ui/menubar/MenuBarPanelController.h"
#include "ui/menubar/TrayHostWatcher.h"

#include <QObject>
#include <QQmlEngine>

#include <memory>

class AppModel;
class TrayIcon;
class UpdaterModel;

// The running application around the model: the views' engine and context,
// the dashboard, the panel and the tray icon, made once a tray host exists.
class LimitraApplication : public QObject
{
    Q_OBJECT

public:
    // `framePath`: the INI file that keeps the dashboard's frame.
    LimitraApplication(AppModel &model, UpdaterModel &updater, const QString &framePath, QObject *parent = nullptr);
    ~LimitraApplication() override;

    // After the model exists: the icon if a host is there, else (or with the
    // icon switched off) the dashboard, so that Limitra is never invisible.
    void finishLaunching();

    DashboardWindowController &dashboard() { return m_dashboard; }
    MenuBarPanelController &panel() { return m_panel; }
    TrayIcon *trayIcon() const { return m_tray.get(); }
    QQmlEngine &engine() { return m_engine; }

public Q_SLOTS:
    // The hot key and `--toggle-panel`: the panel when there is an icon to
    // hang it from, else the dashboard.
    void togglePanelOrShowDashboard();
    void openDashboard();

private:
    void createTrayIcon();

    AppModel &m_model;
    UpdaterModel &m_updater;
    QQmlEngine m_engine;
    ViewContext m_context;
    DashboardWindowController m_dashboard;
    MenuBarPanelController m_panel;
    TrayHostWatcher m_trayHosts;
    std::unique_ptr<TrayIcon> m_tray;
};

// The graphical application's main: single instance, start-up order, event loop.
int runLimitraApplication(int argc, char **argv);
// `--toggle-panel`: asks the running instance; 0, or 1 when none runs.
int toggleRunningPanel(int argc, char **argv);
