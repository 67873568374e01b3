#pragma once

#include <QDBusConnection>
#include <QImage>
#include <QList>
#include <QPoint>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>

#include <memory>
#include <vector>

// A desktop of its own for a test: an Xvfb display and a private session bus,
// with the processes a test starts on them (tray hosts, Limitra) ended with it.
class DesktopSession
{
public:
    DesktopSession();
    ~DesktopSession();

    // False when Xvfb or the bus could not be started (the reason went to the log).
    bool isReady() const { return !m_display.isEmpty() && !m_busAddress.isEmpty(); }

    // `base` with this session's display and bus, and no offscreen platform.
    QProcessEnvironment environment(QProcessEnvironment base) const;
    QDBusConnection bus() const { return QDBusConnection(m_busName); }

    // Starts a program that lives until the session ends (or `stop`). Its
    // standard error goes to the test's unless `errors` says otherwise.
    QProcess *start(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment,
                    QProcess::ProcessChannelMode errors = QProcess::ForwardedErrorChannel);
    static void stop(QProcess *process);

    // Visible top-level windows titled `title`, by their geometry on the screen.
    QList<QRect> windows(const QString &title) const;
    // Windows titled `title` anywhere in the tree, mapped or not, embedded ones
    // (an XEmbed tray icon) included.
    QList<QRect> windowsInTree(const QString &title) const;
    // `pastDoubleClick` waits first, so that the click is not the second of a
    // double click (a tray host may drop those).
    enum class Pause { none, pastDoubleClick };
    void click(const QPoint &position, Pause pause = Pause::none) const;
    // Types keys as `xdotool key` names them ("ctrl+shift+a", "Num_Lock").
    void key(const QString &keys) const;
    QString display() const { return m_display; }

    // What the screen shows inside `area`, as a person would see it.
    QImage grab(const QRect &area) const;

private:
    QByteArray run(const QString &program, const QStringList &arguments) const;

    QProcess m_xvfb;
    QProcess m_busDaemon;
    QString m_display;
    QString m_busAddress;
    QString m_busName;
    std::vector<std::unique_ptr<QProcess>> m_children;
};
