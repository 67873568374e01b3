#include "ui/shell/LimitraApplication.h"

#include "LimitraIdentity.h"
#include "app/AppModel.h"
#include "app/Preferences.h"
#include "app/UpdaterModel.h"
#include "app/platform/PortalGlobalShortcut.h"
#include "system/GracefulTermination.h"
#include "ui/menubar/TrayIcon.h"
#include "ui/platform/X11Desktop.h"
#include "ui/platform/X11GlobalShortcut.h"
#include "ui/shell/SingleInstance.h"

#include <QApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QQuickStyle>
#include <QQuickWindow>

#include <cstdlib>
#include <cstring>
#include <unistd.h>

LimitraApplication::LimitraApplication(AppModel &model, UpdaterModel &updater, const QString &framePath,
                                       QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_updater(updater)
    , m_context(model, updater,
                ViewContext::Actions{
                    .openDashboard = [this] { openDashboard(); },
                    .closePanel = [this] { m_panel.close(); },
                    .quit = [] { QCoreApplication::quit(); },
                })
    , m_dashboard(m_engine, model, framePath)
    , m_panel(m_engine)
{
    m_engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    m_model.setPanelAvailable([this] { return m_tray && m_tray->isVisible(); });
    // The shortcut opens the panel where a click on the icon would.
    connect(&m_model, &AppModel::panelToggleRequested, this,
            [this] { m_panel.toggle(m_tray ? m_tray->anchor() : QRect(QCursor::pos(), QSize(1, 1))); });
    connect(&m_model, &AppModel::dashboardRequested, this, &LimitraApplication::openDashboard);
    connect(&m_trayHosts, &TrayHostWatcher::available, this, &LimitraApplication::createTrayIcon);
}

LimitraApplication::~LimitraApplication()
{
    m_model.setPanelAvailable([] { return false; });
}

void LimitraApplication::finishLaunching()
{
    if (m_trayHosts.checkNow())
        createTrayIcon();
    m_model.setTrayHostPresent(m_tray != nullptr);
    if (!m_model.showsMenuBarIcon() || !m_tray)
        m_dashboard.show();
}

void LimitraApplication::createTrayIcon()
{
    if (m_tray)
        return;
    m_tray = std::make_unique<TrayIcon>(m_model, m_updater);
    m_model.setTrayHostPresent(true);
    connect(m_tray.get(), &TrayIcon::panelToggleRequested, &m_panel, &MenuBarPanelController::toggle);
    connect(m_tray.get(), &TrayIcon::panelShowRequested, &m_panel, &MenuBarPanelController::show);
    connect(m_tray.get(), &TrayIcon::dashboardRequested, this, &LimitraApplication::openDashboard);
    connect(m_tray.get(), &TrayIcon::quitRequested, qApp, &QCoreApplication::quit);
}

void LimitraApplication::togglePanelOrShowDashboard()
{
    if (m_model.showsMenuBarIcon() && m_tray && m_tray->isVisible())
        m_panel.toggle(m_tray->anchor());
    else
        openDashboard();
}

void LimitraApplication::openDashboard()
{
    m_panel.close();
    m_dashboard.show();
}

namespace {

void writeError(const char *text)
{
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
}

// Qt aborts with a long platform-plugin text when it finds no display; a user
// who started Limitra from a text console deserves one plain sentence.
bool hasDisplay()
{
    for (const char *name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
        const char *value = std::getenv(name);
        if (value && *value)
            return true;
    }
    return false;
}

// A grab through XWayland sees keys only while an X11 window has the focus,
// so a Wayland session takes the portal even when Qt runs on xcb.
std::unique_ptr<ShortcutRegistrar> desktopShortcuts()
{
    const bool wayland = QGuiApplication::platformName().startsWith(QStringLiteral("wayland"))
                         || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (!wayland && X11Desktop::isActive())
        return std::make_unique<X11GlobalShortcut>();
    return std::make_unique<PortalGlobalShortcut>(QDBusConnection::sessionBus());
}

// Someone who started Limitra from a terminal learns there why the shortcut does nothing.
void logShortcutError(const AppModel &model)
{
    if (const std::optional<QString> error = model.shortcutError())
        qWarning("Limitra: %s", qPrintable(*error));
}

} // namespace

int runLimitraApplication(int argc, char **argv)
{
    if (!hasDisplay()) {
        writeError("Limitra: no graphical display (neither DISPLAY nor WAYLAND_DISPLAY is set); "
                   "the command-line modes work without one.\n");
        return 2;
    }
    // Qt Quick's software renderer: a tray utility runs all day, and it needs
    // a third of the memory of the OpenGL one.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Limitra"));
    QApplication::setApplicationDisplayName(QStringLiteral("Limitra"));
    QGuiApplication::setDesktopFileName(QStringLiteral(LIMITRA_APP_ID));
    QApplication::setQuitOnLastWindowClosed(false);
    QQuickStyle::setStyle(QStringLiteral("Fusion"));

    SingleInstance instance;
    if (instance.claim() == SingleInstance::Claim::runningElsewhere)
        return SingleInstance::ask(SingleInstance::Request::showDashboard) ? 0 : 1;

    // Logging out sends SIGTERM: leave as Quit does, not in the middle of things.
    GracefulTermination termination;
    QObject::connect(&termination, &GracefulTermination::requested, &application, &QCoreApplication::quit);

    // Never destroyed: a round's background work may still refer to its services at exit.
    AppModel &model = *new AppModel(AppModel::Services::real(desktopShortcuts()));
    logShortcutError(model);
    QObject::connect(&model, &AppModel::shortcutErrorChanged, &model, [&model] { logShortcutError(model); });
    UpdaterModel &updater = UpdaterModel::shared();
    LimitraApplication shell(model, updater, Preferences::defaultPath());
    QObject::connect(&instance, &SingleInstance::dashboardRequested, &shell, &LimitraApplication::openDashboard);
    QObject::connect(&instance, &SingleInstance::panelToggleRequested, &shell,
                     &LimitraApplication::togglePanelOrShowDashboard);
    shell.finishLaunching();
    return QApplication::exec();
}

int toggleRunningPanel(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (SingleInstance::ask(SingleInstance::Request::togglePanel))
        return 0;
    writeError("Limitra is not running.\n");
    return 1;
}
