#include "ui/menubar/TrayIcon.h"

#include "app/AppModel.h"
#include "app/UpdaterModel.h"
#include "ui/common/UsageFormat.h"
#include "ui/menubar/TrayIconImage.h"
#include "ui/menubar/TrayTooltip.h"

#include <QCursor>

TrayIcon::TrayIcon(AppModel &model, UpdaterModel &updater, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    // GNOME's AppIndicator opens this menu on every click, so it holds every action.
    connect(m_menu.addAction(QStringLiteral("Show Usage Panel")), &QAction::triggered, this,
            [this] { Q_EMIT panelShowRequested(anchor()); });
    connect(m_menu.addAction(QStringLiteral("Open Dashboard")), &QAction::triggered, this,
            &TrayIcon::dashboardRequested);
    connect(m_menu.addAction(QStringLiteral("Refresh")), &QAction::triggered, &model, &AppModel::refreshNow);
    QAction *updates = m_menu.addAction(QStringLiteral("Check for Updates…"));
    updates->setEnabled(updater.canCheckForUpdates());
    connect(&updater, &UpdaterModel::canCheckForUpdatesChanged, updates,
            [updates, &updater] { updates->setEnabled(updater.canCheckForUpdates()); });
    connect(updates, &QAction::triggered, &updater, &UpdaterModel::checkForUpdates);
    m_menu.addSeparator();
    connect(m_menu.addAction(QStringLiteral("Quit")), &QAction::triggered, this, &TrayIcon::quitRequested);
    m_icon.setContextMenu(&m_menu);

    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        // An XEmbed tray reports a quick second click as a double click; to
        // the user it is the click that closes the panel again.
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
            Q_EMIT panelToggleRequested(anchor());
    });
    connect(&model, &AppModel::latestChanged, this, &TrayIcon::update);
    connect(&model, &AppModel::forecastsChanged, this, &TrayIcon::update);
    connect(&model, &AppModel::enabledProvidersChanged, this, &TrayIcon::update);
    connect(&model, &AppModel::showsMenuBarIconChanged, this,
            [this] { m_icon.setVisible(m_model.showsMenuBarIcon()); });
    update();
    m_icon.setVisible(model.showsMenuBarIcon());
}

QRect TrayIcon::anchor() const
{
    const QRect geometry = m_icon.geometry();
    if (geometry.isValid() && !geometry.isEmpty())
        return geometry;
    return {QCursor::pos(), QSize(1, 1)};
}

void TrayIcon::update()
{
    const std::optional<double> highest = m_model.highestUsedPercent();
    m_icon.setIcon(TrayIconImage::icon(m_model.menuBarTitle(), UsageFormat::level(highest.value_or(0))));
    QString toolTip = trayTooltip(m_model.visibleProviders(), m_model.latest(), QDateTime::currentDateTimeUtc());
    if (const QString first = m_model.firstToRunOut(); !first.isEmpty())
        toolTip += QLatin1Char('\n') + first;
    m_icon.setToolTip(toolTip);
}
