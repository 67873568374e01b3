#include "ui/menubar/MenuBarPanelController.h"

#include "ui/menubar/PanelPlacement.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QScreen>

// Off unless asked for (QT_LOGGING_RULES="limitra.timing=true"); the desktop
// benchmark reads it.
Q_LOGGING_CATEGORY(lcTiming, "limitra.timing", QtWarningMsg)

namespace {

// Longer than a click takes to arrive after the focus moved, shorter than a
// person takes to click again.
constexpr qint64 kFocusLossClickMs = 300;

bool compositorPlacesWindows()
{
    return QGuiApplication::platformName().startsWith(QStringLiteral("wayland"));
}

} // namespace

MenuBarPanelController::MenuBarPanelController(QQmlEngine &engine, QObject *parent)
    : QObject(parent)
    , m_engine(engine)
{
}

MenuBarPanelController::~MenuBarPanelController()
{
    // A window being destroyed still sends signals; this controller is half gone.
    if (m_window)
        m_window->disconnect(this);
    delete m_window;
}

bool MenuBarPanelController::isPanelOpen() const
{
    return m_window && m_window->isVisible();
}

void MenuBarPanelController::toggle(const QRect &anchor)
{
    if (isPanelOpen()) {
        close();
        return;
    }
    if (m_closedByFocusLoss.isValid() && m_closedByFocusLoss.elapsed() < kFocusLossClickMs) {
        m_closedByFocusLoss.invalidate();
        return;
    }
    show(anchor);
}

void MenuBarPanelController::show(const QRect &anchor)
{
    QElapsedTimer sinceActivation;
    sinceActivation.start();
    const bool firstEver = !m_window;
    if (!ensureWindow())
        return;
    if (lcTiming().isDebugEnabled()) {
        connect(
            m_window, &QQuickWindow::frameSwapped, this,
            [sinceActivation, firstEver] {
                qCDebug(lcTiming, "panel first frame after %.2f ms%s", double(sinceActivation.nsecsElapsed()) / 1e6,
                        firstEver ? " (first ever)" : "");
            },
            static_cast<Qt::ConnectionType>(Qt::DirectConnection | Qt::SingleShotConnection));
    }
    m_closedByFocusLoss.invalidate();
    if (!compositorPlacesWindows())
        placeAt(anchor);
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
    Q_EMIT openChanged(true);
}

void MenuBarPanelController::close()
{
    if (!isPanelOpen())
        return;
    m_window->hide();
    Q_EMIT openChanged(false);
}

bool MenuBarPanelController::ensureWindow()
{
    if (m_window)
        return true;
    QQmlComponent component(&m_engine, QUrl(QStringLiteral("qrc:/qt/qml/Limitra/menubar/PanelWindow.qml")));
    m_window = qobject_cast<QQuickWindow *>(component.create());
    if (!m_window) {
        qWarning("Limitra: the panel could not be created: %s", qPrintable(component.errorString()));
        return false;
    }
    QQmlEngine::setObjectOwnership(m_window, QQmlEngine::CppOwnership);
    connect(m_window, &QWindow::activeChanged, this, [this] {
        if (m_window->isVisible() && !m_window->isActive()) {
            m_closedByFocusLoss.start();
            close();
        }
    });
    return true;
}

void MenuBarPanelController::placeAt(const QRect &anchor)
{
    QScreen *screen = QGuiApplication::screenAt(anchor.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    // The panel's height follows its content; lay it out once before placing it.
    const QSize size(static_cast<int>(m_window->width()), static_cast<int>(m_window->height()));
    m_window->setScreen(screen);
    m_window->setPosition(panelPosition(size, anchor, screen->availableGeometry()));
}
