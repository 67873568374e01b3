#include "DesktopSession.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QRegularExpression>
#include <QThread>
#include <QtDebug>

#include <csignal>
#include <cstdlib>
#include <xcb/xcb.h>

namespace {

// The first line a daemon prints on standard output (its display or address).
QString firstLine(QProcess &process, const char *what)
{
    if (!process.waitForStarted(10000)) {
        qWarning("%s did not start: %s", what, qPrintable(process.errorString()));
        return {};
    }
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(20000)) {
            qWarning("%s printed nothing: %s", what, process.readAllStandardError().constData());
            return {};
        }
    }
    return QString::fromUtf8(process.readLine()).trimmed();
}

// Whether the X server on `display` takes a client within 20 s (false at
// once when the server ended, as it does when the display is taken).
bool acceptsClients(const QString &display, const QProcess &server)
{
    for (int attempt = 0; attempt < 400 && server.state() == QProcess::Running; ++attempt) {
        xcb_connection_t *connection = xcb_connect(qPrintable(display), nullptr);
        const bool connected = xcb_connection_has_error(connection) == 0;
        xcb_disconnect(connection);
        if (connected)
            return true;
        QThread::msleep(50);
    }
    qWarning("Xvfb on %s takes no clients", qPrintable(display));
    return false;
}

} // namespace

DesktopSession::DesktopSession()
{
    // A display number of its own, never one an earlier session of this
    // process used: a server still going away could take a reused number's
    // socket with it (seen as clients that "cannot open display :0").
    static int sessions = 0;
    for (int attempt = 0; attempt < 8 && m_display.isEmpty(); ++attempt) {
        const QString display = QStringLiteral(":%1").arg(
            200 + static_cast<int>(QCoreApplication::applicationPid() % 500) * 16 + (sessions++ % 16));
        // -noreset: an X server resets when its last client leaves, and refuses
        // clients meanwhile; the test's own short connections are often the
        // last, which left Limitra or a tray now and then unable to connect.
        m_xvfb.start(QStringLiteral("Xvfb"),
                     {display, QStringLiteral("-noreset"), QStringLiteral("-screen"), QStringLiteral("0"),
                      QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"), QStringLiteral("tcp")});
        if (m_xvfb.waitForStarted(10000) && acceptsClients(display, m_xvfb))
            m_display = display;
        else
            stop(&m_xvfb);
    }
    m_busDaemon.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    m_busAddress = firstLine(m_busDaemon, "dbus-daemon");
    if (m_busAddress.isEmpty())
        return;
    m_busName = QStringLiteral("desktop-session-") + m_display;
    QDBusConnection::connectToBus(m_busAddress, m_busName);
}

DesktopSession::~DesktopSession()
{
    for (auto it = m_children.rbegin(); it != m_children.rend(); ++it)
        stop(it->get());
    QDBusConnection::disconnectFromBus(m_busName);
    stop(&m_busDaemon);
    stop(&m_xvfb);
}

QProcessEnvironment DesktopSession::environment(QProcessEnvironment base) const
{
    base.remove(QStringLiteral("QT_QPA_PLATFORM"));
    base.remove(QStringLiteral("WAYLAND_DISPLAY"));
    base.insert(QStringLiteral("DISPLAY"), m_display);
    base.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_busAddress);
    // Leaks are the in-process tests' business; here a process's exit status
    // is what it says to the desktop.
    base.insert(QStringLiteral("ASAN_OPTIONS"), QStringLiteral("detect_leaks=0"));
    return base;
}

QProcess *DesktopSession::start(const QString &program, const QStringList &arguments,
                                const QProcessEnvironment &environment, QProcess::ProcessChannelMode errors)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(errors);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->start(program, arguments);
    process->waitForStarted(10000);
    m_children.push_back(std::move(process));
    return m_children.back().get();
}

void DesktopSession::stop(QProcess *process)
{
    if (process->state() == QProcess::NotRunning)
        return;
    // Waited for in full: an X server still shutting down when the next
    // session's server takes its display number would remove the new one's
    // socket on its way out.
    process->terminate();
    if (!process->waitForFinished(30000)) {
        process->kill();
        process->waitForFinished(-1);
    }
}

QList<QRect> DesktopSession::windows(const QString &title) const
{
    // One "X=.. Y=.. WIDTH=.. HEIGHT=.." block per window, a value a line.
    const QByteArray shell = run(QStringLiteral("xdotool"),
                                 {QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                                  QLatin1Char('^') + title + QLatin1Char('$'), QStringLiteral("getwindowgeometry"),
                                  QStringLiteral("--shell"), QStringLiteral("%@")});
    QList<QRect> found;
    QList<int> values;
    for (const QByteArray &line : shell.split('\n')) {
        if (line.startsWith("X=") || line.startsWith("Y=") || line.startsWith("WIDTH=") || line.startsWith("HEIGHT="))
            values.append(line.mid(line.indexOf('=') + 1).toInt());
        if (values.size() == 4) {
            found.append(QRect(values[0], values[1], values[2], values[3]));
            values.clear();
        }
    }
    return found;
}

void DesktopSession::click(const QPoint &position, Pause pause) const
{
    if (pause == Pause::pastDoubleClick)
        QThread::msleep(800); // GTK's double-click time is 400 ms
    run(QStringLiteral("xdotool"), {QStringLiteral("mousemove"), QString::number(position.x()),
                                    QString::number(position.y()), QStringLiteral("click"), QStringLiteral("1")});
}

void DesktopSession::key(const QString &keys) const
{
    run(QStringLiteral("xdotool"), {QStringLiteral("key"), keys});
}

QList<QRect> DesktopSession::windowsInTree(const QString &title) const
{
    // Lines like: 0x600006 "Limitra": ("limitra" "Limitra")  22x22+0+0  +1+1
    const QRegularExpression line(
        QStringLiteral("^\\s*0x[0-9a-f]+ \"") + QRegularExpression::escape(title)
        + QStringLiteral("\":.*\\s(\\d+)x(\\d+)[+-]-?\\d+[+-]-?\\d+\\s+\\+(-?\\d+)\\+(-?\\d+)$"));
    QList<QRect> found;
    const QByteArray tree = run(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")});
    for (const QByteArray &raw : tree.split('\n')) {
        const QRegularExpressionMatch match = line.match(QString::fromUtf8(raw));
        if (match.hasMatch()) {
            found.append(QRect(match.captured(3).toInt(), match.captured(4).toInt(), match.captured(1).toInt(),
                               match.captured(2).toInt()));
        }
    }
    return found;
}

QByteArray DesktopSession::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), m_display);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.waitForFinished(10000);
    return process.readAllStandardOutput();
}

QImage DesktopSession::grab(const QRect &area) const
{
    xcb_connection_t *connection = xcb_connect(m_display.toLocal8Bit().constData(), nullptr);
    QImage image;
    if (!xcb_connection_has_error(connection)) {
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
        xcb_get_image_reply_t *reply = xcb_get_image_reply(
            connection,
            xcb_get_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<int16_t>(area.x()),
                          static_cast<int16_t>(area.y()), static_cast<uint16_t>(area.width()),
                          static_cast<uint16_t>(area.height()), ~0U),
            nullptr);
        // Xvfb's 24-bit screen has 32 bits per pixel, in the byte order of QImage::Format_RGB32.
        if (reply && xcb_get_image_data_length(reply) == area.width() * area.height() * 4) {
            image =
                QImage(xcb_get_image_data(reply), area.width(), area.height(), area.width() * 4, QImage::Format_RGB32)
                    .copy();
        }
        std::free(reply);
    }
    xcb_disconnect(connection);
    return image;
}
