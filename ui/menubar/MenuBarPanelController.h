#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QRect>

class QQmlEngine;
#include <QQuickWindow>

// The panel under the tray icon: a frameless window made the first time it is
// shown and kept. It closes on Escape, when it loses focus and on a second
// activation.
class MenuBarPanelController : public QObject
{
    Q_OBJECT

public:
    explicit MenuBarPanelController(QQmlEngine &engine, QObject *parent = nullptr);
    ~MenuBarPanelController() override;

    bool isPanelOpen() const;
    QQuickWindow *window() const { return m_window; }

public Q_SLOTS:
    void toggle(const QRect &anchor);
    void show(const QRect &anchor);
    void close();

Q_SIGNALS:
    void openChanged(bool open);

private:
    bool ensureWindow();
    void placeAt(const QRect &anchor);

    QQmlEngine &m_engine;
    QPointer<QQuickWindow> m_window;
    // A click on the tray icon takes the focus from the panel before the
    // click itself arrives: a toggle right after such a close is that click.
    QElapsedTimer m_closedByFocusLoss;
};
