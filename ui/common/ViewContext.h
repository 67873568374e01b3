#pragma once

#include "app/AppModel.h"
#include "app/UpdaterModel.h"
#include "ui/common/ProviderCardListModel.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include <functional>

class QJSEngine;
class QQmlEngine;

// What every view reaches as the singleton `App`: the model, the update
// checker, the provider cards, and the shell's actions (open the dashboard,
// close the panel, quit). The shell (or a test) makes the one instance before
// any view is loaded.
class ViewContext : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(App)
    QML_SINGLETON
    Q_PROPERTY(AppModel *model READ model CONSTANT)
    Q_PROPERTY(UpdaterModel *updater READ updater CONSTANT)
    Q_PROPERTY(ProviderCardListModel *cards READ cards CONSTANT)

public:
    struct Actions {
        std::function<void()> openDashboard;
        std::function<void()> closePanel;
        std::function<void()> quit;
    };

    ViewContext(AppModel &model, UpdaterModel &updater, Actions actions, QObject *parent = nullptr);
    ~ViewContext() override;

    static ViewContext *instance();
    // For the QML engine: the instance made before.
    static ViewContext *create(QQmlEngine *, QJSEngine *);

    AppModel *model() const { return &m_model; }
    UpdaterModel *updater() const { return &m_updater; }
    ProviderCardListModel *cards() const { return m_cards; }

    Q_INVOKABLE void openDashboard() const;
    Q_INVOKABLE void closePanel() const;
    Q_INVOKABLE void quit() const;
    // What is wrong with an executable path from the settings; empty when nothing is.
    Q_INVOKABLE QString executablePathProblem(const QString &toolName, const QString &path) const;

private:
    AppModel &m_model;
    UpdaterModel &m_updater;
    ProviderCardListModel *m_cards;
    Actions m_actions;
};
