#pragma once

#include "LimitraIdentity.h"

#include <QDBusContext>
#include <QObject>
#include <QVariantMap>

// One running Limitra per session: the application owns the session-bus name
// LIMITRA_APP_ID and answers on LIMITRA_OBJECT_PATH, both through
// org.freedesktop.Application (Activate shows the dashboard, the action
// "toggle-panel" toggles the panel) and through ShowDashboard and
// TogglePanel for scripts; later starts ask it instead of starting again.
class SingleInstance : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", LIMITRA_APP_ID)

public:
    enum class Claim {
        owned, // this process is the instance
        runningElsewhere,
        noSessionBus, // runs anyway: there is nothing to be single on
    };
    enum class Request { showDashboard, togglePanel };

    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    Claim claim();

    // Asks the running instance, handing it this process's activation token;
    // false when none answers.
    static bool ask(Request request);

    // What org.freedesktop.Application asked, with its platform data.
    void activate(const QVariantMap &platformData);
    void activateAction(const QString &action, const QVariantMap &platformData);

public Q_SLOTS:
    Q_SCRIPTABLE void ShowDashboard() { Q_EMIT dashboardRequested(); }
    Q_SCRIPTABLE void TogglePanel() { Q_EMIT panelToggleRequested(); }

Q_SIGNALS:
    void dashboardRequested();
    void panelToggleRequested();

private:
    bool m_owned = false;
};
