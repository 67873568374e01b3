// The real executable on a desktop of its own (Xvfb, a private session bus,
// tray hosts from Debian packages, clicks and keys from xdotool): the tray
// icon on each kind of tray, the panel under the click and under the global
// shortcut, and one whole round with fake `codex` and `claude` that every
// output agrees on, with one instance per session.
#include "DesktopSession.h"
#include "app/Preferences.h"
#include "storage/ArchiveFormat.h"
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"
#include "ui/common/UsageFormat.h"
#include "ui/menubar/TrayIconImage.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>
#include <QtTest>

#include <xcb/xcb.h>

namespace {

constexpr int kPanelWidth = 370;
constexpr int kDashboardWidth = 980;
const QString kWatcher = QStringLiteral("org.kde.StatusNotifierWatcher");

QList<QRect> withWidth(const QList<QRect> &windows, int width)
{
    QList<QRect> found;
    for (const QRect &window : windows) {
        if (window.width() == width)
            found.append(window);
    }
    return found;
}

// Whether some pixel is `colour`, give or take what blending leaves.
bool showsColour(const QImage &image, QRgb colour)
{
    const auto near = [](int a, int b) { return std::abs(a - b) <= 6; };
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (near(qRed(pixel), qRed(colour)) && near(qGreen(pixel), qGreen(colour))
                && near(qBlue(pixel), qBlue(colour)))
                return true;
        }
    }
    return false;
}

constexpr QRgb kConnectedGreen = 0x2e9b4f;
constexpr QRgb kFallbackBlue = 0x2b6cd8;

// Ctrl+Shift+A, as the recorder stores it.
const GlobalShortcut kControlShiftA{0x61, GlobalShortcut::control | GlobalShortcut::shift, "A"};
constexpr uint16_t kControlShiftMask = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT;

// Another X client of the display, holding key combinations as another
// application would.
class OtherClient
{
public:
    explicit OtherClient(const QString &display)
        : m_connection(xcb_connect(display.toLocal8Bit().constData(), nullptr))
    {
        if (!xcb_connection_has_error(m_connection))
            m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~OtherClient() { xcb_disconnect(m_connection); }

    // The key that types `keysym` unshifted.
    xcb_keycode_t keycode(xcb_keysym_t keysym) const
    {
        const xcb_setup_t *setup = xcb_get_setup(m_connection);
        const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        xcb_get_keyboard_mapping_reply_t *mapping = xcb_get_keyboard_mapping_reply(
            m_connection, xcb_get_keyboard_mapping(m_connection, setup->min_keycode, count), nullptr);
        xcb_keycode_t found = 0;
        if (mapping) {
            const xcb_keysym_t *keysyms = xcb_get_keyboard_mapping_keysyms(mapping);
            for (int i = 0; i < count && !found; ++i) {
                if (keysyms[i * mapping->keysyms_per_keycode] == keysym)
                    found = static_cast<xcb_keycode_t>(setup->min_keycode + i);
            }
        }
        std::free(mapping);
        return found;
    }

    // False when another client holds it.
    bool grab(xcb_keycode_t keycode, uint16_t modifiers) const
    {
        xcb_generic_error_t *error =
            xcb_request_check(m_connection, xcb_grab_key_checked(m_connection, 1, m_root, modifiers, keycode,
                                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return error == nullptr;
    }

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
};

} // namespace

class DesktopSessionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void wholeApplicationWithAStatusNotifierHost();
    void withoutTrayTheDashboardOpensAndALaterXEmbedTrayGetsTheIconAndTheShortcut();
    void aStatusNotifierHostThatComesLaterGetsTheIcon();
    void aCombinationAnotherClientHoldsIsReported();

private:
    QProcess *startLimitra(QProcess::ProcessChannelMode errors = QProcess::ForwardedErrorChannel);
    // What the recorder would have stored.
    void storeShortcut(const GlobalShortcut &shortcut) const
    {
        Preferences(m_home->configHome() + "/Limitra/Limitra.conf").setMenuBarShortcut(shortcut);
    }
    void startStatusNotifierHost();
    // The registered item's service name, once there is one.
    QString registeredItem() const;
    // The item's icon, one image per size it holds.
    QMap<int, QImage> itemPixmaps(const QString &item) const;
    QString itemToolTip(const QString &item) const;
    QList<QRect> limitraWindows(int width) const { return withWidth(m_session->windows("Limitra"), width); }

    std::unique_ptr<DesktopSession> m_session;
    std::unique_ptr<TestHome> m_home;
    std::unique_ptr<FakeTools> m_fakes;
    QProcessEnvironment m_environment;
};

void DesktopSessionTest::init()
{
    m_session = std::make_unique<DesktopSession>();
    QVERIFY(m_session->isReady());
    m_home = std::make_unique<TestHome>();
    m_fakes = std::make_unique<FakeTools>();
    m_fakes->activate();
    const QString codex = m_fakes->codex("standard");
    const QString claude = m_fakes->claude("screen", 0.3);
    m_environment = m_session->environment(m_home->environment());
    m_environment.insert("PATH",
                         QFileInfo(codex).absolutePath() + ':' + QFileInfo(claude).absolutePath() + ":/usr/bin:/bin");
}

void DesktopSessionTest::cleanup()
{
    m_session.reset();
    if (m_fakes)
        QCOMPARE(m_fakes->livingProcesses(), QList<pid_t>());
    m_fakes.reset();
    m_home.reset();
}

QProcess *DesktopSessionTest::startLimitra(QProcess::ProcessChannelMode errors)
{
    return m_session->start(LIMITRA_EXECUTABLE, {}, m_environment, errors);
}

void DesktopSessionTest::startStatusNotifierHost()
{
    // The tray sometimes registers its host before its own watcher holds the
    // watcher's name, and exits on the error: it is started again then.
    const auto hostRegistered = [this] {
        QDBusInterface watcher(kWatcher, "/StatusNotifierWatcher", kWatcher, m_session->bus());
        return watcher.property("IsStatusNotifierHostRegistered").toBool();
    };
    for (int attempt = 0; attempt < 3; ++attempt) {
        QProcess *tray =
            m_session->start("gtk-sni-tray-standalone", {"--watcher", "--top", "--size", "30"}, m_environment);
        const auto exited = [tray] { return tray->state() == QProcess::NotRunning; };
        const bool settled = QTest::qWaitFor([&] { return hostRegistered() || exited(); }, 20000);
        if (settled && hostRegistered() && !exited())
            return;
        DesktopSession::stop(tray);
    }
    QFAIL("the StatusNotifier tray did not come up in three starts");
}

QString DesktopSessionTest::registeredItem() const
{
    QDBusInterface watcher(kWatcher, "/StatusNotifierWatcher", kWatcher, m_session->bus());
    const QStringList items = watcher.property("RegisteredStatusNotifierItems").toStringList();
    // Watchers name an item by its bus name, some with the object path after it.
    return items.isEmpty() ? QString() : items.first().section('/', 0, 0);
}

QMap<int, QImage> DesktopSessionTest::itemPixmaps(const QString &item) const
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(item, "/StatusNotifierItem", "org.freedesktop.DBus.Properties", "Get");
    call << "org.kde.StatusNotifierItem"
         << "IconPixmap";
    const QDBusReply<QDBusVariant> reply = m_session->bus().call(call);
    QMap<int, QImage> images;
    if (!reply.isValid())
        return images;
    const QDBusArgument argument = reply.value().variant().value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray data;
        argument.beginStructure();
        argument >> width >> height >> data;
        argument.endStructure();
        if (width <= 0 || height <= 0 || data.size() != width * height * 4)
            continue;
        // Each pixel is ARGB in network byte order.
        QImage image(width, height, QImage::Format_ARGB32);
        const auto *pixels = reinterpret_cast<const quint32 *>(data.constData());
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                image.setPixel(x, y, qFromBigEndian(pixels[y * width + x]));
        }
        images.insert(width, image);
    }
    argument.endArray();
    return images;
}

QString DesktopSessionTest::itemToolTip(const QString &item) const
{
    // As dbus-send prints it: the title and the text are among its strings.
    QProcess send;
    send.setProcessEnvironment(m_environment);
    send.start("dbus-send",
               {"--session", "--print-reply", "--dest=" + item, "/StatusNotifierItem",
                "org.freedesktop.DBus.Properties.Get", "string:org.kde.StatusNotifierItem", "string:ToolTip"});
    send.waitForFinished(10000);
    return QString::fromUtf8(send.readAllStandardOutput());
}

void DesktopSessionTest::wholeApplicationWithAStatusNotifierHost()
{
    startStatusNotifierHost();
    if (QTest::currentTestFailed())
        return;
    QProcess *first = startLimitra();
    QTRY_VERIFY_WITH_TIMEOUT(!registeredItem().isEmpty(), 30000);
    const QString item = registeredItem();

    // After the first round the files, the icon and its tooltip say the same.
    const QString history = m_home->appDirectory() + "/usage-history.json";
    const auto archived = [&] {
        const Result<UsageArchive> archive = ArchiveFormat::decode(readAll(history));
        return archive ? archive->snapshots.size() : 0;
    };
    QTRY_COMPARE_WITH_TIMEOUT(archived(), qsizetype(2), 60000);
    const Result<UsageArchive> archive = ArchiveFormat::decode(readAll(history));
    QVERIFY_OK(archive);
    double highest = 0;
    for (const ProviderSnapshot &snapshot : archive->snapshots) {
        for (const UsageWindow &window : snapshot.windows)
            highest = std::max(highest, window.usedPercent);
    }
    const QString title = UsageFormat::usedText(highest);
    QCOMPARE(title, QStringLiteral("42%"));
    QMap<int, QImage> icons;
    for (const int size : {16, 22, 24, 32, 48, 64})
        icons.insert(
            size,
            TrayIconImage::render(title, UsageFormat::level(highest), size).convertToFormat(QImage::Format_ARGB32));
    QTRY_COMPARE_WITH_TIMEOUT(itemPixmaps(item), icons, 20000);
    const QString toolTip = itemToolTip(item);
    QVERIFY2(toolTip.contains("OpenAI Codex: ") && toolTip.contains("42% used") && toolTip.contains("Claude Code: "),
             qPrintable(toolTip));

    const QString widget = m_home->dataHome() + "/com.limitra.app.widgets/widget-usage.json";
    const QJsonArray providers = QJsonDocument::fromJson(readAll(widget)).object().value("providers").toArray();
    QCOMPARE(providers.size(), 2);
    QCOMPARE(providers[0].toObject().value("windows").toArray()[0].toObject().value("usedPercent").toDouble(), 42.0);
    // Claude had no status-line payload yet: the /usage probe stood in, and left its file.
    QVERIFY2(providers[1].toObject().value("state").toString() == QStringLiteral("fallback"),
             QJsonDocument(providers[1].toObject()).toJson().constData());
    QVERIFY(QFile::exists(m_home->appDirectory() + "/claude-usage-fallback.json"));

    // With a host there is no dashboard at launch; a click on the icon (the
    // first in the bar) opens the panel under it, a second click closes it.
    QVERIFY(limitraWindows(kDashboardWidth).isEmpty());
    const QPoint icon(12, 15);
    m_session->click(icon);
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kPanelWidth).size(), 1, 10000);
    const QRect panel = limitraWindows(kPanelWidth).first();
    QVERIFY2(panel.left() <= icon.x() && icon.x() <= panel.right() && panel.top() >= 15 && panel.top() <= 60,
             qPrintable(QString("panel at %1,%2").arg(panel.x()).arg(panel.y())));
    // Its two cards carry the round's states: Codex connected (a green
    // badge), Claude read through /usage (a blue one).
    QImage drawn;
    QTRY_VERIFY_WITH_TIMEOUT(
        (drawn = m_session->grab(panel), showsColour(drawn, kConnectedGreen) && showsColour(drawn, kFallbackBlue)),
        10000);
    QDir().mkpath(LIMITRA_SCREENSHOT_DIR);
    drawn.save(LIMITRA_SCREENSHOT_DIR "/desktop-panel.png");
    m_session->click(icon, DesktopSession::Pause::pastDoubleClick);
    QTRY_VERIFY_WITH_TIMEOUT(limitraWindows(kPanelWidth).isEmpty(), 10000);

    // One instance per session: a later start speaks to it.
    QCOMPARE(runLimitra({"--toggle-panel"}, {}, m_environment).exitCode, 0);
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kPanelWidth).size(), 1, 10000);
    QCOMPARE(runLimitra({"--toggle-panel"}, {}, m_environment).exitCode, 0);
    QTRY_VERIFY_WITH_TIMEOUT(limitraWindows(kPanelWidth).isEmpty(), 10000);

    // A second start shows the first one's dashboard and leaves.
    QCOMPARE(runLimitra({}, {}, m_environment).exitCode, 0);
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kDashboardWidth).size(), 1, 10000);
    QCOMPARE(first->state(), QProcess::Running);

    // Logging out (SIGTERM) ends it as Quit does, not as a crash.
    DesktopSession::stop(first);
    QCOMPARE(first->exitStatus(), QProcess::NormalExit);
    QCOMPARE(first->exitCode(), 0);
    const LimitraRun alone = runLimitra({"--toggle-panel"}, {}, m_environment);
    QCOMPARE(alone.exitCode, 1);
    QCOMPARE(alone.errors, QByteArray("Limitra is not running.\n"));
}

void DesktopSessionTest::withoutTrayTheDashboardOpensAndALaterXEmbedTrayGetsTheIconAndTheShortcut()
{
    storeShortcut(kControlShiftA);
    QProcess *limitra = startLimitra();
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kDashboardWidth).size(), 1, 30000);
    // A tray that comes later gets the icon.
    m_session->start("trayer", {"--edge", "top", "--align", "left", "--widthtype", "request", "--height", "24"},
                     m_environment);
    // The icon is a small window of Limitra's inside the tray.
    const auto iconWindows = [&] { return withWidth(m_session->windowsInTree("Limitra"), 22); };
    QTRY_VERIFY_WITH_TIMEOUT(!iconWindows().isEmpty(), 30000);
    const QRect icon = iconWindows().first();
    m_session->click(icon.center());
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kPanelWidth).size(), 1, 10000);
    // Under the icon, whose geometry Qt knows on this kind of tray.
    QCOMPARE(limitraWindows(kPanelWidth).first().top(), icon.bottom() + 5);
    // At once: the tray takes the second click for a double click.
    m_session->click(icon.center());
    QTRY_VERIFY_WITH_TIMEOUT(limitraWindows(kPanelWidth).isEmpty(), 10000);

    // With a tray icon the shortcut opens the panel. Each lock adds a
    // modifier bit to the press; the grab covers every mix.
    const std::pair<const char *, const char *> steps[] = {{nullptr, "no lock"}, {"Num_Lock", "NumLock on"}};
    for (const auto &[lock, state] : steps) {
        if (lock)
            m_session->key(lock);
        m_session->key("ctrl+shift+a");
        QTRY_VERIFY2_WITH_TIMEOUT(limitraWindows(kPanelWidth).size() == 1, state, 10000);
        m_session->key("ctrl+shift+a");
        QTRY_VERIFY2_WITH_TIMEOUT(limitraWindows(kPanelWidth).isEmpty(), state, 10000);
    }
    // CapsLock is asked of the server rather than pressed: xdotool's presses
    // with CapsLock on reach the grab on one machine and not on another.
    // Every mix of the two locks is Limitra's, so no other client gets one.
    OtherClient other(m_session->display());
    const xcb_keycode_t a = other.keycode(0x61);
    QVERIFY(a != 0);
    for (const uint16_t locks :
         std::initializer_list<uint16_t>{0, XCB_MOD_MASK_LOCK, XCB_MOD_MASK_2, XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2})
        QVERIFY2(!other.grab(a, kControlShiftMask | locks), qPrintable(QString("locks %1").arg(locks)));

    // Ctrl+Q in the dashboard (brought forward by a second start) quits.
    QCOMPARE(runLimitra({}, {}, m_environment).exitCode, 0);
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kDashboardWidth).size(), 1, 10000);
    m_session->key("ctrl+q");
    QVERIFY(limitra->waitForFinished(10000));
    QCOMPARE(limitra->exitStatus(), QProcess::NormalExit);
    QCOMPARE(limitra->exitCode(), 0);
}

void DesktopSessionTest::aStatusNotifierHostThatComesLaterGetsTheIcon()
{
    // A login that starts Limitra before the panel's host.
    startLimitra();
    QTRY_COMPARE_WITH_TIMEOUT(limitraWindows(kDashboardWidth).size(), 1, 30000);
    startStatusNotifierHost();
    if (QTest::currentTestFailed())
        return;
    QTRY_VERIFY_WITH_TIMEOUT(!registeredItem().isEmpty(), 30000);
}

void DesktopSessionTest::aCombinationAnotherClientHoldsIsReported()
{
    storeShortcut(kControlShiftA);
    // The other application holds only the combination with NumLock on, so
    // Limitra gets the plain one before it learns the rest is taken.
    OtherClient other(m_session->display());
    const xcb_keycode_t a = other.keycode(0x61);
    QVERIFY(a != 0);
    QVERIFY(other.grab(a, kControlShiftMask | XCB_MOD_MASK_2));
    QProcess *limitra = startLimitra(QProcess::SeparateChannels);
    QByteArray errors;
    QTRY_VERIFY2_WITH_TIMEOUT((errors += limitra->readAllStandardError())
                                  .contains("Ctrl+Shift+A is already used by another app. Pick a different shortcut."),
                              errors.constData(), 30000);
    // And it let go of what it held: the plain combination is free again.
    QVERIFY(other.grab(a, kControlShiftMask));
    QCOMPARE(limitra->state(), QProcess::Running);
}

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv); // fonts for the expected icons
    DesktopSessionTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_DesktopSession.moc"
