#pragma once

#include <QObject>
#include <QTimer>

class QDBusServiceWatcher;

// Tells when a tray host exists: a StatusNotifierWatcher with a registered
// host, or (on X11) an XEmbed tray manager. Qt decides between the two tray
// protocols once, at its first tray call, and an icon made before a host
// exists never appears; so nothing may touch Qt's tray API before this says so.
class TrayHostWatcher : public QObject
{
    Q_OBJECT

public:
    explicit TrayHostWatcher(QObject *parent = nullptr);

    // Asks at once (blocking briefly on the session bus); true when a host is there.
    bool checkNow();
    bool hostAvailable() const { return m_available; }

Q_SIGNALS:
    // Once, when a host is first seen.
    void available();

private Q_SLOTS:
    void checkStatusNotifierHost();

private:
    void markAvailable();

    bool m_available = false;
    QDBusServiceWatcher *m_serviceWatcher = nullptr;
    QTimer m_poll;
};
