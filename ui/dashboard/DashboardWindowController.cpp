#include "ui/dashboard/DashboardWindowController.h"

#include "app/AppModel.h"
#include "ui/dashboard/DashboardPlacement.h"
#include "ui/platform/X11Desktop.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QScreen>
#include <QSettings>

namespace {

const QString kFrameKey = QStringLiteral("dashboardFrame");

} // namespace

DashboardWindowController::DashboardWindowController(QQmlEngine &engine, AppModel &model, QString framePath,
                                                     QObject *parent)
    : QObject(parent)
    , m_engine(engine)
    , m_model(model)
    , m_framePath(std::move(framePath))
{
    connect(&model.taskbarPolicy(), &TaskbarPolicy::policyChanged, this, [this](bool activate) {
        followTaskbarPolicy();
        if (activate && m_window && m_window->isVisible())
            m_window->requestActivate();
    });
}

DashboardWindowController::~DashboardWindowController()
{
    // A window being destroyed still sends events; this filter must not see them.
    if (m_window)
        m_window->removeEventFilter(this);
    // Quitting (or logging out) with the dashboard open closes no window.
    if (m_window && m_window->isVisible())
        saveFrame();
    delete m_window;
}

void DashboardWindowController::show()
{
    if (!ensureWindow())
        return;
    if (m_window->windowState() & Qt::WindowMinimized)
        m_window->setWindowStates(m_window->windowStates() & ~Qt::WindowMinimized);
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
    if (!m_model.isDashboardOpen()) {
        m_model.setIsDashboardOpen(true);
        m_model.applyActivationPolicy();
    }
    followTaskbarPolicy();
}

bool DashboardWindowController::ensureWindow()
{
    if (m_window)
        return true;
    QQmlComponent component(&m_engine, QUrl(QStringLiteral("qrc:/qt/qml/Limitra/dashboard/DashboardWindow.qml")));
    m_window = qobject_cast<QQuickWindow *>(component.create());
    if (!m_window) {
        qWarning("Limitra: the dashboard could not be created: %s", qPrintable(component.errorString()));
        return false;
    }
    QQmlEngine::setObjectOwnership(m_window, QQmlEngine::CppOwnership);
    m_window->installEventFilter(this);
    const QRect saved = QSettings(m_framePath, QSettings::IniFormat).value(kFrameKey).toRect();
    // The monitor it was closed on, when that one is still connected.
    QScreen *screen = saved.isValid() ? QGuiApplication::screenAt(saved.center()) : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    // The window manager's frame, where the platform knows it before showing,
    // must fit the free area too.
    m_window->create();
    const QRect available = screen ? screen->availableGeometry().marginsRemoved(m_window->frameMargins()) : QRect();
    if (saved.isValid() || !available.isEmpty())
        m_window->setGeometry(dashboardFrame(saved, m_window->size(), m_window->minimumSize(), available));
    return true;
}

bool DashboardWindowController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window || event->type() != QEvent::Close)
        return QObject::eventFilter(watched, event);
    saveFrame();
    // With a permanent taskbar entry, closing keeps the window as that entry.
    if (m_model.effectiveDockIconVisibility() == DockIconVisibility::always) {
        event->ignore();
        m_window->showMinimized();
        return true;
    }
    if (m_model.isDashboardOpen()) {
        m_model.setIsDashboardOpen(false);
        m_model.applyActivationPolicy();
    }
    return false;
}

void DashboardWindowController::followTaskbarPolicy()
{
    if (m_window && m_window->isVisible())
        X11Desktop::setSkipTaskbar(*m_window, m_model.taskbarPolicy().policy() == ActivationPolicy::accessory);
}

void DashboardWindowController::saveFrame() const
{
    QSettings settings(m_framePath, QSettings::IniFormat);
    settings.setValue(kFrameKey, m_window->geometry());
    settings.sync();
}
