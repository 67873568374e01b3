// The dashboard's settings pages as a person uses them: each control is
// clicked or typed into, and the model and the preferences file follow.
// Every page is also grabbed in a light and a dark palette. The test runs on an
// X server of its own (xvfb-run), so that the shortcut recorder gets its keys
// from xdotool with the keysyms a real keyboard gives.
#include "../app/AppFakes.h"
#include "ViewInspection.h"
#include "ViewTestApplication.h"
#include "app/UpdaterModel.h"
#include "ui/dashboard/DashboardWindowController.h"
#include "ui/shell/LimitraApplication.h"

#include <QApplication>
#include <QFile>
#include <QPalette>
#include <QProcess>
#include <QQuickStyle>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

Q_IMPORT_QML_PLUGIN(LimitraPlugin)

using namespace ViewInspection;

namespace {

// Types keys through the X server as `xdotool key` names them ("ctrl+shift+a")
// into `window`, which takes the keyboard focus first.
void typeKeys(QQuickWindow *window, const char *keys)
{
    window->requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(window));
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), {QStringLiteral("key"), QString::fromLatin1(keys)}), 0);
}

} // namespace

class SettingsPagesTest : public QObject, private ViewTestApplication
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void providerTogglesAndPaths();
    void bridgeRowFlipsOnConnectAndDisconnect();
    void taskbarPickerAndTrayToggle();
    void hiddenTrayIconHidesTheShortcutError();
    void recordShortcutByTyping();
    void thresholdSliderStaysOnItsGrid();
    void thresholdRowFollowsNotifications();
    void launchAtLoginAndVersion();
    void everyPage_data();
    void everyPage();

private:
    // Opens the dashboard on `page` (clicked in the sidebar) and returns the page.
    QQuickItem *openPage(const QString &page);
    Preferences storedPreferences() const { return Preferences(AppFakes::preferencesPath(m_folder->path())); }

    QByteArray m_home;
};

void SettingsPagesTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    // The bridge edits ~/.claude/settings.json: a home of the test's own.
    m_home = qgetenv("HOME");
    qputenv("HOME", m_folder->path().toUtf8());
    startApplication();
}

void SettingsPagesTest::cleanup()
{
    stopApplication();
    qputenv("HOME", m_home);
    QGuiApplication::setPalette(QPalette());
}

QQuickItem *SettingsPagesTest::openPage(const QString &page)
{
    m_app->openDashboard();
    QQuickWindow *dashboard = m_app->dashboard().window();
    if (!dashboard || !QTest::qWaitForWindowExposed(dashboard))
        return nullptr;
    QQuickItem *entry = visibleItem(dashboard->contentItem(), QStringLiteral("sidebar_") + page);
    if (!entry)
        return nullptr;
    click(entry);
    QTest::qWait(20); // let the loader build the page and the layouts settle
    return visibleItem(dashboard->contentItem(), page + QStringLiteral("Page"));
}

void SettingsPagesTest::providerTogglesAndPaths()
{
    QQuickItem *page = openPage("providers");
    QVERIFY(page);
    click(visibleItem(page, "providerToggle_codex"));
    QCOMPARE(m_model->enabledProviders(), QSet<UsageProvider>{UsageProvider::claude});
    QCOMPARE(storedPreferences().enabledProviders(), QSet<UsageProvider>{UsageProvider::claude});
    click(visibleItem(page, "providerToggle_claude"));
    QVERIFY(m_model->enabledProviders().isEmpty());
    QVERIFY(storedPreferences().enabledProviders().isEmpty());

    // Typed text is stored as typed, spaces included, and the field follows the model.
    QQuickItem *field = visibleItem(page, "codexPathField");
    click(field);
    for (const char character : QByteArray(" /opt/codex "))
        QTest::keyClick(field->window(), character);
    QCOMPARE(m_model->codexExecutablePath(), " /opt/codex ");
    QCOMPARE(storedPreferences().codexExecutablePath(), " /opt/codex ");
    QCOMPARE(texts(page, "codexPathProblem"), QStringList{"Codex executable not found."});
    m_model->setClaudeExecutablePath(m_folder->path());
    QCOMPARE(visibleItem(page, "claudePathField")->property("text").toString(), m_folder->path());
    QCOMPARE(texts(page, "claudePathProblem"), QStringList{"Claude executable is not executable: " + m_folder->path()});
    screenshot(page->window(), "settings-providers-bad-paths");
    m_model->setClaudeExecutablePath(QStringLiteral("/bin/sh"));
    QVERIFY(visibleItems(page, "claudePathProblem").isEmpty());
}

void SettingsPagesTest::bridgeRowFlipsOnConnectAndDisconnect()
{
    QQuickItem *page = openPage("providers");
    QVERIFY(page);
    QCOMPARE(texts(page, "bridgeStatus"), QStringList{"Using account fallback"});
    QCOMPARE(texts(page, "bridgeButton"), QStringList{"Connect"});

    click(visibleItem(page, "bridgeButton"));
    QTRY_COMPARE(texts(page, "bridgeStatus"), QStringList{"Live bridge installed"});
    QCOMPARE(texts(page, "bridgeButton"), QStringList{"Disconnect"});
    QVERIFY(QFile::exists(m_folder->filePath(".claude/settings.json")));
    QCOMPARE(texts(page, "noteText"), QStringList{m_model->lastActionMessage().value_or("none")});
    screenshot(page->window(), "settings-providers-connected");

    click(visibleItem(page, "bridgeButton"));
    QTRY_COMPARE(texts(page, "bridgeStatus"), QStringList{"Using account fallback"});
    QCOMPARE(texts(page, "noteText"), QStringList{"The previous Claude status-line configuration was restored."});
}

void SettingsPagesTest::taskbarPickerAndTrayToggle()
{
    QQuickItem *page = openPage("appearance");
    QVERIFY(page);
    QQuickItem *picker = visibleItem(page, "taskbarPicker");
    QCOMPARE(picker->property("currentText").toString(), "While the dashboard is open");
    picker->forceActiveFocus();
    QTest::keyClick(picker->window(), Qt::Key_Up);
    QTRY_COMPARE(m_model->dockIconVisibility(), DockIconVisibility::never);
    QCOMPARE(storedPreferences().dockIconVisibility(), DockIconVisibility::never);

    click(visibleItem(page, "trayIconToggle"));
    QVERIFY(!m_model->showsMenuBarIcon());
    QVERIFY(!storedPreferences().showsMenuBarIcon());
}

void SettingsPagesTest::hiddenTrayIconHidesTheShortcutError()
{
    const GlobalShortcut taken = GlobalShortcut::defaultShortcut();
    m_fakes->takenShortcut = taken;
    m_model->applyShortcut();
    QVERIFY(m_model->shortcutError());
    QQuickItem *page = openPage("appearance");
    QVERIFY(page);
    QCOMPARE(texts(page, "shortcutFieldButton"), QStringList{taken.displayString()});
    QCOMPARE(texts(page, "noteText"), QStringList{*m_model->shortcutError()});
    QVERIFY(visibleItem(page, "shortcutErrorNote"));

    m_model->setShowsMenuBarIcon(false);
    QVERIFY(visibleItems(page, "shortcutErrorNote").isEmpty());
    QVERIFY(
        texts(page, "noteText").contains("The tray icon is hidden, so there is no panel for the shortcut to open."));
}

void SettingsPagesTest::recordShortcutByTyping()
{
    m_model->applyShortcut();
    QQuickItem *page = openPage("appearance");
    QVERIFY(page);
    QQuickWindow *window = page->window();
    QQuickItem *button = visibleItem(page, "shortcutFieldButton");
    QCOMPARE(texts(page, "shortcutFieldButton"), QStringList{"Ctrl+Alt+Super+U"});
    QVERIFY(visibleItems(page, "shortcutDefaultButton").isEmpty());
    const int registrations = m_fakes->registrations;

    // Escape keeps the old shortcut; the hot key is released while recording and comes back once.
    click(button);
    QCOMPARE(texts(page, "shortcutFieldButton"), QStringList{"Type a shortcut…"});
    QVERIFY(!m_fakes->registered);
    typeKeys(window, "Escape");
    QTRY_COMPARE(texts(page, "shortcutFieldButton"), QStringList{"Ctrl+Alt+Super+U"});
    QCOMPARE(m_fakes->registered, GlobalShortcut::defaultShortcut());
    QCOMPARE(m_fakes->registrations, registrations + 1);

    // Shift alone does not qualify; Ctrl+Shift+A does, with both modifiers.
    click(button);
    typeKeys(window, "shift+a");
    QTRY_COMPARE(texts(page, "shortcutHint"), QStringList{"Add Ctrl, Alt, or Super."});
    QCOMPARE(texts(page, "shortcutFieldButton"), QStringList{"Type a shortcut…"});
    screenshot(window, "settings-shortcut-needs-modifier");
    typeKeys(window, "ctrl+shift+a");
    const GlobalShortcut recorded{0x61, GlobalShortcut::control | GlobalShortcut::shift, QStringLiteral("A")};
    QTRY_COMPARE(m_model->menuBarShortcut(), recorded);
    QCOMPARE(storedPreferences().menuBarShortcut(), recorded);
    QCOMPARE(m_fakes->registered, recorded);
    QCOMPARE(m_fakes->registrations, registrations + 2);
    QVERIFY(visibleItems(page, "shortcutHint").isEmpty());
    QCOMPARE(texts(page, "shortcutFieldButton"), QStringList{"Ctrl+Shift+A"});

    // BackSpace clears; the default comes back with its button.
    click(button);
    typeKeys(window, "BackSpace");
    QTRY_COMPARE(m_model->menuBarShortcut(), std::nullopt);
    QCOMPARE(texts(page, "shortcutFieldButton"), QStringList{"Not set"});
    QVERIFY(visibleItems(page, "shortcutClearButton").isEmpty());
    click(visibleItem(page, "shortcutDefaultButton"));
    QCOMPARE(m_model->menuBarShortcut(), GlobalShortcut::defaultShortcut());

    // Leaving the page mid-recording gives the hot key back.
    click(button);
    QVERIFY(!m_fakes->registered);
    click(visibleItem(window->contentItem(), "sidebar_general"));
    QTRY_COMPARE(m_fakes->registered, GlobalShortcut::defaultShortcut());
}

void SettingsPagesTest::thresholdSliderStaysOnItsGrid()
{
    m_model->setNotificationsEnabled(true);
    QQuickItem *page = openPage("alerts");
    QVERIFY(page);
    QQuickItem *slider = visibleItem(page, "thresholdSlider");
    QVERIFY(slider);
    click(slider); // the middle of 50..95, snapped to the grid
    QVERIFY2(m_model->alertThreshold() == 70 || m_model->alertThreshold() == 75,
             qPrintable(QString::number(m_model->alertThreshold())));
    for (int press = 0; press < 12; ++press)
        QTest::keyClick(slider->window(), Qt::Key_Right);
    QCOMPARE(m_model->alertThreshold(), 95.0);
    QCOMPARE(texts(page, "thresholdText"), QStringList{"95%"});
    for (int press = 0; press < 12; ++press)
        QTest::keyClick(slider->window(), Qt::Key_Left);
    QCOMPARE(m_model->alertThreshold(), 50.0);
    QCOMPARE(storedPreferences().alertThreshold(), 50.0);
    const QPointF end = slider->mapToScene({slider->width() - 1, slider->height() / 2});
    QTest::mouseClick(slider->window(), Qt::LeftButton, {}, end.toPoint());
    QCOMPARE(m_model->alertThreshold(), 95.0);

    // A stored value off the grid is shown without its fraction.
    m_model->setAlertThreshold(82.7);
    QCOMPARE(texts(page, "thresholdText"), QStringList{"82%"});
}

void SettingsPagesTest::thresholdRowFollowsNotifications()
{
    m_model->setAlertThreshold(65);
    QQuickItem *page = openPage("alerts");
    QVERIFY(page);
    QVERIFY(visibleItems(page, "thresholdRow").isEmpty());
    click(visibleItem(page, "notificationsToggle"));
    QVERIFY(m_model->notificationsEnabled());
    QVERIFY(storedPreferences().notificationsEnabled());
    QCOMPARE(texts(page, "thresholdText"), QStringList{"65%"});
    click(visibleItem(page, "notificationsToggle"));
    QVERIFY(!m_model->notificationsEnabled());
    QVERIFY(visibleItems(page, "thresholdRow").isEmpty());

    // The run-out warning has a switch of its own, on until switched off.
    QVERIFY(m_model->warnsBeforeRunOut());
    click(visibleItem(page, "runOutWarningToggle"));
    QVERIFY(!m_model->warnsBeforeRunOut());
    QVERIFY(!storedPreferences().warnsBeforeRunOut());
}

void SettingsPagesTest::launchAtLoginAndVersion()
{
    QQuickItem *page = openPage("general");
    QVERIFY(page);
    click(visibleItem(page, "launchAtLoginToggle"));
    QVERIFY(m_fakes->loginEnabled);
    QVERIFY(m_model->launchAtLoginEnabled());
    // A build without version numbers and without a feed.
    QCOMPARE(texts(page, "versionText"), QStringList{"Version — (—)"});
    QVERIFY(!visibleItem(page, "checkForUpdatesButton")->isEnabled());
}

void SettingsPagesTest::everyPage_data()
{
    QTest::addColumn<QString>("page");
    QTest::addColumn<bool>("dark");
    for (const char *page : {"providers", "appearance", "alerts", "general"}) {
        QTest::addRow("%s-light", page) << page << false;
        QTest::addRow("%s-dark", page) << page << true;
    }
}

void SettingsPagesTest::everyPage()
{
    QFETCH(QString, page);
    QFETCH(bool, dark);
    if (dark)
        QGuiApplication::setPalette(darkDesktopPalette());
    m_model->setNotificationsEnabled(true);
    QQuickItem *view = openPage(page);
    QVERIFY(view);
    QVERIFY(!visibleItems(view, "sectionTitle").isEmpty());
    QTest::qWait(50);
    screenshot(view->window(), QStringLiteral("settings-") + QTest::currentDataTag());
}

int main(int argc, char **argv)
{
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QApplication application(argc, argv);
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    SettingsPagesTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_SettingsPages.moc"
