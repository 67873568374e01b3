#include "app/platform/PortalGlobalShortcut.h"

#include "LimitraIdentity.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

#include <array>
#include <utility>

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString kRequestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString kShortcutId = QStringLiteral("toggle-panel");
const QString kApplicationId = QStringLiteral(LIMITRA_APP_ID);

// One entry of BindShortcuts' list: (id, properties).
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

// The keys with a name of their own, by keysym, as the desktop's keymap names them.
constexpr std::array<std::pair<quint32, const char *>, 25> kKeyNames{{
    {0xff0d, "Return"}, {0xff8d, "KP_Enter"}, {0xff09, "Tab"},  {0x0020, "space"}, {0xffff, "Delete"},
    {0xff51, "Left"},   {0xff53, "Right"},    {0xff54, "Down"}, {0xff52, "Up"},    {0xff55, "Prior"},
    {0xff56, "Next"},   {0xff50, "Home"},     {0xff57, "End"},  {0xffbe, "F1"},    {0xffbf, "F2"},
    {0xffc0, "F3"},     {0xffc1, "F4"},       {0xffc2, "F5"},   {0xffc3, "F6"},    {0xffc4, "F7"},
    {0xffc5, "F8"},     {0xffc6, "F9"},       {0xffc7, "F10"},  {0xffc8, "F11"},   {0xffc9, "F12"},
}};

// A response code of our own for a call the portal refused outright.
constexpr uint kCallFailed = 100;

} // namespace

Q_DECLARE_METATYPE(PortalShortcut)

PortalGlobalShortcut::PortalGlobalShortcut(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    // A normalised signature (no spaces) spares a normalisation per connection.
    // clang-format off
    m_bus.connect(kService, kPath, kInterface, QStringLiteral("Activated"), this,
                  SLOT(activated(QDBusObjectPath,QString,qulonglong,QVariantMap)));
    // clang-format on
}

PortalGlobalShortcut::~PortalGlobalShortcut()
{
    if (!m_session.isEmpty())
        closeSession(m_session);
}

std::optional<QString> PortalGlobalShortcut::trigger(const GlobalShortcut &shortcut)
{
    QString key;
    const quint32 keysym = shortcut.keyCode;
    if ((keysym >= '0' && keysym <= '9') || (keysym >= 'a' && keysym <= 'z')) {
        key = QChar(char16_t(keysym));
    } else {
        for (const auto &[code, name] : kKeyNames) {
            if (code == keysym)
                key = QString::fromLatin1(name);
        }
    }
    if (key.isEmpty())
        return std::nullopt;
    QString text;
    if (shortcut.modifierFlags & GlobalShortcut::control)
        text += QStringLiteral("CTRL+");
    if (shortcut.modifierFlags & GlobalShortcut::alt)
        text += QStringLiteral("ALT+");
    if (shortcut.modifierFlags & GlobalShortcut::shift)
        text += QStringLiteral("SHIFT+");
    if (shortcut.modifierFlags & GlobalShortcut::super)
        text += QStringLiteral("LOGO+");
    return text + key;
}

Result<void> PortalGlobalShortcut::registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action)
{
    m_action = std::move(action);
    m_armed = true;
    if (m_support == Support::missing)
        return LimitraError::globalShortcutsUnsupported();
    if (m_bound == shortcut) {
        // Back to what the desktop binds already: a binding still under way
        // is dropped when its answer comes.
        if (m_wanted != shortcut) {
            m_wanted = shortcut;
            ++m_generation;
            m_binding = false;
        }
        return {};
    }
    if (m_wanted == shortcut && (m_binding || m_support == Support::probing))
        return {};
    m_wanted = shortcut;
    ++m_generation;
    // The bound session stays until a new one is bound, so that a
    // combination the desktop refuses leaves the old one working.
    if (m_support == Support::unknown)
        probe();
    else if (m_support == Support::available)
        createSession();
    return {};
}

void PortalGlobalShortcut::unregisterShortcut()
{
    // The session stays: binding again would ask the desktop (and on some,
    // the user) once more.
    m_armed = false;
    m_action = nullptr;
}

void PortalGlobalShortcut::probe()
{
    m_support = Support::probing;
    // Newer portals know an application only by an id it registers before
    // any other call; older ones have no registry, and that is no failure.
    const QDBusMessage registration =
        QDBusMessage::createMethodCall(kService, kPath, QStringLiteral("org.freedesktop.host.portal.Registry"),
                                       QStringLiteral("Register"))
        << kApplicationId << QVariantMap();
    auto *registered = new QDBusPendingCallWatcher(m_bus.asyncCall(registration), this);
    connect(registered, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *call) {
        call->deleteLater();
        const QDBusMessage get =
            QDBusMessage::createMethodCall(kService, kPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                           QStringLiteral("Get"))
            << kInterface << QStringLiteral("version");
        auto *version = new QDBusPendingCallWatcher(m_bus.asyncCall(get), this);
        connect(version, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *answer) {
            answer->deleteLater();
            const QDBusPendingReply<QDBusVariant> reply = *answer;
            m_support = reply.isValid() ? Support::available : Support::missing;
            if (!m_armed || !m_wanted)
                return;
            if (m_support == Support::missing)
                fail(m_generation, LimitraError::globalShortcutsUnsupported());
            else
                createSession();
        });
    });
}

void PortalGlobalShortcut::createSession()
{
    const quint64 generation = m_generation;
    m_binding = true;
    const QVariantMap options{{QStringLiteral("handle_token"), nextToken()},
                              {QStringLiteral("session_handle_token"), nextToken()}};
    request(QStringLiteral("CreateSession"), {options}, options.value(QStringLiteral("handle_token")).toString(),
            [this, generation](uint response, const QVariantMap &results) {
                const QVariant handle = results.value(QStringLiteral("session_handle"));
                // Portals before 1.18 answer with a string, later ones with an object path.
                const QString session = handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
                                            ? handle.value<QDBusObjectPath>().path()
                                            : handle.toString();
                if (generation != m_generation) {
                    if (!session.isEmpty())
                        closeSession(session);
                    return;
                }
                if (response != 0 || session.isEmpty()) {
                    fail(generation, results.contains(QStringLiteral("error"))
                                         ? Error::platform(results.value(QStringLiteral("error")).toString())
                                         : Error::platform(QStringLiteral("The desktop opened no session for the "
                                                                          "panel shortcut.")));
                    return;
                }
                bindShortcut(session);
            });
}

void PortalGlobalShortcut::bindShortcut(const QString &session)
{
    const quint64 generation = m_generation;
    const GlobalShortcut shortcut = *m_wanted;
    QVariantMap properties{{QStringLiteral("description"), QStringLiteral("Open or close the Limitra panel")}};
    if (const std::optional<QString> preferred = trigger(shortcut))
        properties.insert(QStringLiteral("preferred_trigger"), *preferred);
    const QList<PortalShortcut> shortcuts{{kShortcutId, properties}};
    const QString token = nextToken();
    request(QStringLiteral("BindShortcuts"),
            {QVariant::fromValue(QDBusObjectPath(session)), QVariant::fromValue(shortcuts), QString(),
             QVariantMap{{QStringLiteral("handle_token"), token}}},
            token, [this, generation, session, shortcut](uint response, const QVariantMap &results) {
                if (generation != m_generation) {
                    closeSession(session);
                    return;
                }
                m_binding = false;
                if (response != 0) {
                    closeSession(session);
                    if (results.contains(QStringLiteral("error"))) {
                        fail(generation, Error::platform(results.value(QStringLiteral("error")).toString()));
                        return;
                    }
                    QString refused = QStringLiteral("The desktop did not bind %1").arg(shortcut.displayString());
                    if (m_bound)
                        refused += QStringLiteral("; %1 still opens the panel").arg(m_bound->displayString());
                    fail(generation,
                         Error::platform(refused + QStringLiteral(". Record the shortcut again to try once more.")));
                    return;
                }
                if (!m_session.isEmpty())
                    closeSession(m_session);
                m_session = session;
                m_bound = shortcut;
            });
}

void PortalGlobalShortcut::closeSession(const QString &session)
{
    m_bus.call(QDBusMessage::createMethodCall(kService, session, QStringLiteral("org.freedesktop.portal.Session"),
                                              QStringLiteral("Close")),
               QDBus::NoBlock);
}

void PortalGlobalShortcut::request(const QString &method, const QVariantList &arguments, const QString &token,
                                   const Answer &answer)
{
    // The Response can come before the call's own reply: listen first, on
    // the path the portal derives from our name and the token.
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token);
    m_pending.insert(path, answer);
    m_bus.connect(kService, path, kRequestInterface, QStringLiteral("Response"), this,
                  SLOT(requestAnswered(QDBusMessage)));
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
    call.setArguments(arguments);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, path](QDBusPendingCallWatcher *reply) {
        reply->deleteLater();
        if (!reply->isError())
            return;
        m_bus.disconnect(kService, path, kRequestInterface, QStringLiteral("Response"), this,
                         SLOT(requestAnswered(QDBusMessage)));
        if (const Answer answered = m_pending.take(path))
            answered(kCallFailed, {{QStringLiteral("error"), reply->error().message()}});
    });
}

void PortalGlobalShortcut::requestAnswered(const QDBusMessage &message)
{
    const QString path = message.path();
    m_bus.disconnect(kService, path, kRequestInterface, QStringLiteral("Response"), this,
                     SLOT(requestAnswered(QDBusMessage)));
    const Answer answer = m_pending.take(path);
    const QVariantList arguments = message.arguments();
    if (!answer || arguments.size() != 2)
        return;
    answer(arguments[0].toUInt(), qdbus_cast<QVariantMap>(arguments[1]));
}

void PortalGlobalShortcut::activated(const QDBusObjectPath &session, const QString &shortcutId, qulonglong timestamp,
                                     const QVariantMap &options)
{
    Q_UNUSED(timestamp);
    Q_UNUSED(options);
    if (!m_armed || m_session.isEmpty() || session.path() != m_session || shortcutId != kShortcutId || !m_action)
        return;
    const std::function<void()> action = m_action; // the action may replace itself
    action();
}

void PortalGlobalShortcut::fail(quint64 generation, const Error &error)
{
    m_binding = false;
    if (generation == m_generation && m_armed && m_report)
        m_report(error);
}

QString PortalGlobalShortcut::nextToken()
{
    return QStringLiteral("limitra%1").arg(++m_tokens);
}
