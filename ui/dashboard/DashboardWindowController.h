#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class AppModel;
class QQmlEngine;
#include <QQuickWindow>

// The dashboard: one window for the life of the process once made, shown and
// brought forward on request. It tells the model whether it is open, because
// the taskbar entry follows that, and keeps its frame between showings and
// runs (under "dashboardFrame" in `framePath`, an INI file).
class DashboardWindowController : public QObject
{
    Q_OBJECT

public:
    DashboardWindowController(QQmlEngine &engine, AppModel &model, QString framePath, QObject *parent = nullptr);
    ~DashboardWindowController() override;

    QQuickWindow *window() const { return m_window; }

public Q_SLOTS:
    void show();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool ensureWindow();
    void followTaskbarPolicy();
    void saveFrame() const;

    QQmlEngine &m_engine;
    AppModel &m_model;
    QString m_framePath;
    QPointer<QQuickWindow> m_window;
};
