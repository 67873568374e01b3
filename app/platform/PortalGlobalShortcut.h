#pragma once

#include "app/platform/ShortcutRegistrar.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>

class QDBusMessage;
class QDBusObjectPath;
class QDBusPendingCall;

// The global shortcut through the desktop portal (org.freedesktop.portal.
// GlobalShortcuts), the only way a Wayland client gets one. The portal binds
// a shortcut once per session and the desktop has the last word on its keys,
// so the combination is a preference passed along; the session is kept while
// its combination stays the same, and a pause only mutes it. Every answer
// comes later: failures go to the late-failure handler.
class PortalGlobalShortcut : public QObject, public ShortcutRegistrar
{
    Q_OBJECT

public:
    explicit PortalGlobalShortcut(QDBusConnection bus, QObject *parent = nullptr);
    ~PortalGlobalShortcut() override;

    Result<void> registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action) override;
    void unregisterShortcut() override;
    void setLateFailureHandler(const std::function<void(const Error &)> &report) override { m_report = report; }

    // The combination in the portal's trigger notation ("CTRL+ALT+LOGO+u");
    // none for a key without a name there.
    static std::optional<QString> trigger(const GlobalShortcut &shortcut);

private Q_SLOTS:
    void activated(const QDBusObjectPath &session, const QString &shortcutId, qulonglong timestamp,
                   const QVariantMap &options);
    void requestAnswered(const QDBusMessage &message);

private:
    enum class Support { unknown, probing, available, missing };
    using Answer = std::function<void(uint response, const QVariantMap &results)>;

    void probe();
    void createSession();
    void bindShortcut(const QString &session);
    void closeSession(const QString &session);
    // Calls a portal method whose outcome comes as a Request's Response.
    void request(const QString &method, const QVariantList &arguments, const QString &token, const Answer &answer);
    void fail(quint64 generation, const Error &error);
    QString nextToken();

    QDBusConnection m_bus;
    Support m_support = Support::unknown;
    std::function<void()> m_action;
    std::function<void(const Error &)> m_report;
    // The combination asked for, and the one the current session has bound.
    std::optional<GlobalShortcut> m_wanted;
    std::optional<GlobalShortcut> m_bound;
    QString m_session;
    bool m_binding = false;
    bool m_armed = false;
    // Counts the requests for another combination, so that a late answer
    // about an older one is dropped.
    quint64 m_generation = 0;
    quint64 m_tokens = 0;
    QHash<QString, Answer> m_pending;
};
