#pragma once

#include "app/platform/Notifier.h"

#include <QHash>
#include <QObject>
#include <QSet>

// Notifications through org.freedesktop.Notifications on the session bus,
// with an "Open Dashboard" button.
class FreedesktopNotifier : public QObject, public Notifier
{
    Q_OBJECT

public:
    explicit FreedesktopNotifier(QObject *parent = nullptr);

    // Desktops have no permission step: nothing to do.
    void requestPermission() override {}
    // The identifier has no counterpart in the protocol: every call shows a
    // new notification.
    void post(const QString &identifier, const QString &title, const QString &body) override;
    void setOpenDashboardAction(const std::function<void()> &action) override { m_openDashboard = action; }

private Q_SLOTS:
    void actionInvoked(uint id, const QString &actionKey);
    void notificationClosed(uint id, uint reason);
    void activationToken(uint id, const QString &token);

private:
    std::function<void()> m_openDashboard;
    // The server's ids of our notifications that may still be shown: its
    // signals go to every client, and other applications' must not count.
    QSet<uint> m_shown;
    // By notification id: the token of the click whose action comes next.
    QHash<uint, QString> m_activationTokens;
};
