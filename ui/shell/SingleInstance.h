#pragma once

#include <QObject>

// One running Limitra per session: the application owns the session-bus name
// com.limitra.Limitra and answers ShowDashboard and TogglePanel on
// /com/limitra/Limitra; later starts ask it instead of starting again.
class SingleInstance : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.limitra.Limitra")

public:
    enum class Claim {
        owned, // this process is the instance
        runningElsewhere,
        noSessionBus, // runs anyway: there is nothing to be single on
    };

    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    Claim claim();

    // Asks the running instance; false when none answers.
    static bool ask(const QString &method);

public Q_SLOTS:
    Q_SCRIPTABLE void ShowDashboard() { Q_EMIT dashboardRequested(); }
    Q_SCRIPTABLE void TogglePanel() { Q_EMIT panelToggleRequested(); }

Q_SIGNALS:
    void dashboardRequested();
    void panelToggleRequested();

private:
    bool m_owned = false;
};
