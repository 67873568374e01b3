#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QVariantList>

// The calls a python3-dbusmock stand-in recorded (its GetCalls, a(tsav)), and
// the signals a test has it send.
struct RecordedCall {
    qulonglong time = 0;
    QString method;
    QVariantList arguments;
};

inline const QDBusArgument &operator>>(const QDBusArgument &argument, RecordedCall &call)
{
    argument.beginStructure();
    argument >> call.time >> call.method >> call.arguments;
    argument.endStructure();
    return argument;
}

inline QDBusArgument &operator<<(QDBusArgument &argument, const RecordedCall &call)
{
    argument.beginStructure();
    argument << call.time << call.method << call.arguments;
    argument.endStructure();
    return argument;
}

Q_DECLARE_METATYPE(RecordedCall)

namespace DBusMock {

inline void registerTypes()
{
    qDBusRegisterMetaType<RecordedCall>();
    qDBusRegisterMetaType<QList<RecordedCall>>();
}

inline QList<RecordedCall> calls(const QString &service, const QString &path)
{
    const QDBusMessage request =
        QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Mock"), "GetCalls");
    const QDBusReply<QList<RecordedCall>> reply = QDBusConnection::sessionBus().call(request);
    return reply.isValid() ? reply.value() : QList<RecordedCall>();
}

inline QList<RecordedCall> callsOf(const QString &service, const QString &path, const QString &method)
{
    QList<RecordedCall> found;
    for (const RecordedCall &call : calls(service, path)) {
        if (call.method == method)
            found.append(call);
    }
    return found;
}

inline bool emitSignal(const QString &service, const QString &path, const QString &interface, const QString &name,
                       const QString &signature, const QVariantList &arguments)
{
    QDBusMessage request =
        QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Mock"), "EmitSignal");
    request << interface << name << signature << arguments;
    return QDBusConnection::sessionBus().call(request).type() == QDBusMessage::ReplyMessage;
}

} // namespace DBusMock
