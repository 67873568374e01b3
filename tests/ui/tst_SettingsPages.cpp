// The dashboard's settings pages as a person uses them: each control is
// clicked or typed into, and the model follows. Every page is also grabbed,
// some in a dark palette. The test runs on an X server of its own
// (tests/support/with-xvfb), so that the shortcut recorder gets its keys from xdotool with
// the keysyms a real keyboard gives.
#include "tests/ui/ViewTestApplication.h"

#include <QFile>
#include <QProcess>

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

    void providersPage();
    void appearancePage();
    void alertsAndGeneralPages();
    void withoutATrayHostTheDashboardStaysInTheTaskbar();

private:
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

void SettingsPagesTest::providersPage()
{
    QQuickItem *page = openPage("providers");
    QVERIFY(page);
    click(visibleItem(page, "providerToggle_codex"));
    QCOMPARE(m_model->enabledProviders(), QSet<UsageProvider>{UsageProvider::claude});
    click(visibleItem(page, "providerToggle_claude"));
    QVERIFY(m_model->enabledProviders().isEmpty());

    // Typed text is stored as typed, spaces included, and the field follows the model.
    QQuickItem *field = visibleItem(page, "codexPathField");
    click(field);
    for (const char character : QByteArray(" /opt/codex "))
        QTest::keyClick(field->window(), character);
    QCOMPARE(m_model->codexExecutablePath(), " /opt/codex ");
    QCOMPARE(texts(page, "codexPathProblem"), QStringList{"Codex executable not found."});
    m_model->setClaudeExecutablePath(m_folder->path());
    QCOMPARE(visibleItem(page, "claudePathField")->property("text").toString(), m_folder->path());
    QCOMPARE(texts(page, "claudePathProblem"), QStringList{"Claude executable is not executable: " + m_folder->path()});
    screenshot(page->window(), "settings-providers-bad-paths");
    m_model->setClaudeExecutablePath(QStringLiteral("/bin/sh"));
    QVERIFY(visibleItems(page, "claudePathProblem").isEmpty());

    // The bridge row flips on connect and disconnect.
    m_fakes->executable = QCoreApplication::applicationFilePath();
    QCOMPARE(texts(page, "bridgeStatus"), QStringList{"Using account fallback"});
    click(visibleItem(page, "bridgeButton"));
    QTRY_COMPARE(texts(page, "bridgeStatus"), QStringList{"Live bridge installed"});
    QCOMPARE(texts(page, "bridgeButton"), QStringList{"Disconnect"});
    QVERIFY(QFile::exists(m_folder->filePath(".claude/settings.json")));
    screenshot(page->window(), "settings-providers-connected");
    click(visibleItem(page, "bridgeButton"));
    QTRY_COMPARE(texts(page, "bridgeStatus"), QStringList{"Using account fallback"});
    QCOMPARE(texts(page, "bridgeButton"), QStringList{"Connect"});
    QVERIFY(texts(page, "noteText").contains("The previous Claude status-line configuration was restored."));

    // A bridge left pointing at a Limitra that is gone shows as broken after a round, and Connect repairs it.
    QFile settings(m_folder->filePath(".claude/settings.json"));
    QVERIFY(settings.open(QIODevice::WriteOnly | QIODevice::Truncate));
    settings.write(R"({"statusLine": {"type": "command", "command": "'/gone/limitra' --claude-statusline"}})");
    settings.close();
    m_model->refresh();
    finishRound({});
    QCOMPARE(texts(page, "bridgeStatus"), QStringList{"Bridge points to a Limitra that no longer exists"});
    screenshot(page->window(), "settings-providers-broken-bridge");
    click(visibleItem(page, "bridgeButton"));
    QTRY_COMPARE(texts(page, "bridgeStatus"), QStringList{"Live bridge installed"});
}

void SettingsPagesTest::appearancePage()
{
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
    screenshot(window, "settings-shortcut-needs-modifier");
    typeKeys(window, "ctrl+shift+a");
    const GlobalShortcut recorded{0x61, GlobalShortcut::control | GlobalShortcut::shift, QStringLiteral("A")};
    QTRY_COMPARE(m_model->menuBarShortcut(), recorded);
    QCOMPARE(m_fakes->registered, recorded);
    QCOMPARE(m_fakes->registrations, registrations + 2);
    QVERIFY(visibleItems(page, "shortcutHint").isEmpty());

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
    // So does closing the dashboard: its window is hidden, the page kept.
    click(visibleItem(openPage("appearance"), "shortcutFieldButton"));
    QVERIFY(!m_fakes->registered);
    window->close();
    QTRY_COMPARE(m_fakes->registered, GlobalShortcut::defaultShortcut());

    // A shortcut another application holds is reported on the page.
    m_fakes->takenShortcut = GlobalShortcut::defaultShortcut();
    m_model->applyShortcut();
    page = openPage("appearance");
    QVERIFY(page);
    QVERIFY(visibleItem(page, "shortcutErrorNote"));
    screenshot(page->window(), "settings-appearance-shortcut-taken");
    QQuickItem *picker = visibleItem(page, "taskbarPicker");
    QCOMPARE(picker->property("currentText").toString(), "While the dashboard is open");
    picker->forceActiveFocus();
    QTest::keyClick(picker->window(), Qt::Key_Up);
    QTRY_COMPARE(m_model->dockIconVisibility(), DockIconVisibility::never);

    // Without a tray icon there is no panel for the shortcut, and no error about it.
    click(visibleItem(page, "trayIconToggle"));
    QVERIFY(!m_model->showsMenuBarIcon());
    QVERIFY(visibleItems(page, "shortcutErrorNote").isEmpty());
    QVERIFY(
        texts(page, "noteText").contains("The tray icon is hidden, so there is no panel for the shortcut to open."));
}

void SettingsPagesTest::alertsAndGeneralPages()
{
    QGuiApplication::setPalette(darkDesktopPalette());
    m_model->setAlertThreshold(65);
    QQuickItem *page = openPage("alerts");
    QVERIFY(page);
    QVERIFY(visibleItems(page, "thresholdRow").isEmpty());
    click(visibleItem(page, "notificationsToggle"));
    QVERIFY(m_model->notificationsEnabled());
    QCOMPARE(texts(page, "thresholdText"), QStringList{"65%"});
    QTest::qWait(50);
    screenshot(page->window(), "settings-alerts-dark");

    // The slider stays on its grid of 5 from 50 to 95.
    QQuickItem *slider = visibleItem(page, "thresholdSlider");
    QVERIFY(slider);
    click(slider);
    QVERIFY2(m_model->alertThreshold() == 70 || m_model->alertThreshold() == 75,
             qPrintable(QString::number(m_model->alertThreshold())));
    for (int press = 0; press < 12; ++press)
        QTest::keyClick(slider->window(), Qt::Key_Right);
    QCOMPARE(m_model->alertThreshold(), 95.0);
    for (int press = 0; press < 12; ++press)
        QTest::keyClick(slider->window(), Qt::Key_Left);
    QCOMPARE(m_model->alertThreshold(), 50.0);
    const QPointF end = slider->mapToScene({slider->width() - 1, slider->height() / 2});
    QTest::mouseClick(slider->window(), Qt::LeftButton, {}, end.toPoint());
    QCOMPARE(m_model->alertThreshold(), 95.0);
    // A stored value off the grid is shown without its fraction.
    m_model->setAlertThreshold(82.7);
    QCOMPARE(texts(page, "thresholdText"), QStringList{"82%"});

    click(visibleItem(page, "notificationsToggle"));
    QVERIFY(!m_model->notificationsEnabled());
    QVERIFY(visibleItems(page, "thresholdRow").isEmpty());
    // The run-out warning has a switch of its own, on until switched off.
    QVERIFY(m_model->warnsBeforeRunOut());
    click(visibleItem(page, "runOutWarningToggle"));
    QVERIFY(!m_model->warnsBeforeRunOut());

    page = openPage("general");
    QVERIFY(page);
    // A change that fails leaves the switch showing what holds.
    m_fakes->loginFailure = QStringLiteral("refused");
    click(visibleItem(page, "launchAtLoginToggle"));
    QVERIFY(!m_model->launchAtLoginEnabled());
    QVERIFY(!visibleItem(page, "launchAtLoginToggle")->property("checked").toBool());
    m_fakes->loginFailure.reset();
    click(visibleItem(page, "launchAtLoginToggle"));
    QVERIFY(m_fakes->loginEnabled);
    QVERIFY(m_model->launchAtLoginEnabled());
    QVERIFY(visibleItem(page, "launchAtLoginToggle")->property("checked").toBool());
    // The version as built; without a feed, nothing to check.
    const UpdaterModel::Options built = UpdaterModel::Options::current();
    QCOMPARE(texts(page, "versionText"),
             QStringList{QStringLiteral("Version %1 (%2)").arg(built.shortVersion, built.buildVersion)});
    QVERIFY(!visibleItem(page, "checkForUpdatesButton")->isEnabled());
    QTest::qWait(50);
    screenshot(page->window(), "settings-general-dark");
}

void SettingsPagesTest::withoutATrayHostTheDashboardStaysInTheTaskbar()
{
    // No tray manager on this display, no watcher on this bus.
    m_model->setDockIconVisibility(DockIconVisibility::never);
    m_app->finishLaunching();
    QQuickItem *page = openPage("appearance");
    QVERIFY(page);
    QQuickWindow *window = page->window();
    QCOMPARE(m_model->taskbarPolicy().policy(), ActivationPolicy::regular);

    // Closing keeps it as the taskbar entry; the stored choice waits for a tray.
    click(visibleItem(page, "shortcutFieldButton"));
    QVERIFY(!m_fakes->registered);
    window->close();
    QTRY_VERIFY(window->windowStates() & Qt::WindowMinimized);
    QVERIFY(window->isVisible());
    QCOMPARE(m_model->dockIconVisibility(), DockIconVisibility::never);
    // Minimised is off the screen too: the recording ends.
    QCOMPARE(m_fakes->registered, GlobalShortcut::defaultShortcut());
}

LIMITRA_VIEW_TEST_MAIN(SettingsPagesTest)
#include "tst_SettingsPages.moc"
