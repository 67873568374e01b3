#include "collectors/codex/CodexRPCSession.h"

#include "LimitraVersion.h"
#include "collectors/codex/RPCInbox.h"
#include "system/ChildProcess.h"
#include "system/FileSystem.h"
#include "system/PipeReader.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QScopeGuard>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <unistd.h>

namespace CodexRPCSession {

namespace {

// How long the server and what it started get to leave after SIGTERM.
constexpr std::chrono::milliseconds kStopGrace{1000};

Result<void> send(ChildProcess &child, const QJsonObject &message)
{
    const QByteArray line = QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
    if (!FileSystem::writeAll(child.inputFd(), line))
        return Error::fromErrno(errno, QString());
    return {};
}

LimitraError endedEarly()
{
    return LimitraError::processFailed(QStringLiteral("The Codex app server exited without answering."));
}

LimitraError tooLong()
{
    return LimitraError::invalidResponse(QStringLiteral("a message from the Codex app server was longer than %1 MiB")
                                             .arg(RPCInbox::kMaxLineBytes / (1024 * 1024)));
}

} // namespace

bool waitOnTheClock(QSemaphore &answered, double timeout)
{
    const double milliseconds = std::clamp(timeout * 1000.0, 0.0, double(std::numeric_limits<int>::max()));
    return answered.tryAcquire(1, static_cast<int>(milliseconds));
}

QString appVersion()
{
    return QString::fromLatin1(LimitraVersion::kVersion);
}

Result<QJsonObject> validate(const std::optional<QJsonObject> &response, const QString &operation)
{
    if (!response)
        return LimitraError::invalidResponse(QStringLiteral("missing response for ") + operation);
    const QJsonValue error = response->value(QStringLiteral("error"));
    if (error.isObject()) {
        const QJsonValue message = error.toObject().value(QStringLiteral("message"));
        return LimitraError::processFailed(
            operation + QStringLiteral(" failed: ")
            + (message.isString() ? message.toString() : QStringLiteral("Unknown app-server error")));
    }
    return *response;
}

Result<ProviderSnapshot> collect(const QString &executablePath, double timeout, const Wait &wait)
{
    ChildOptions options;
    options.program = executablePath;
    options.arguments = {QStringLiteral("app-server"), QStringLiteral("--listen"), QStringLiteral("stdio://")};
    options.input = ChildStream::pipe;
    options.output = ChildStream::pipe;
    // Never read: /dev/null can never fill up and block the server.
    options.errors = ChildStream::null;
    Result<std::unique_ptr<ChildProcess>> started = ChildProcess::start(options);
    if (!started)
        return LimitraError::processFailed(QStringLiteral("Could not launch Codex: ") + started.error().description());
    ChildProcess &child = **started;

    RPCInbox inbox;
    PipeReader reader(
        child.outputFd(), [&inbox](QByteArrayView chunk) { inbox.consume(chunk); }, [&inbox] { inbox.close(); });
    const auto shutdown = qScopeGuard([&] {
        reader.stop();
        child.closeInput();
        child.stopGroup(kStopGrace);
    });

    QSemaphore *initialized = inbox.prepare(1);
    const QJsonObject initialize{
        {QStringLiteral("method"), QStringLiteral("initialize")},
        {QStringLiteral("id"), 1},
        {QStringLiteral("params"),
         QJsonObject{
             {QStringLiteral("clientInfo"), QJsonObject{{QStringLiteral("name"), QStringLiteral("limitra")},
                                                        {QStringLiteral("title"), QStringLiteral("Limitra")},
                                                        {QStringLiteral("version"), appVersion()}}},
             {QStringLiteral("capabilities"),
              QJsonObject{{QStringLiteral("optOutNotificationMethods"),
                           QJsonArray{QStringLiteral("thread/started"), QStringLiteral("item/agentMessage/delta")}}}},
         }},
    };
    if (Result<void> sent = send(child, initialize); !sent)
        return sent.error();
    if (!wait(*initialized, timeout))
        return LimitraError::timeout(QStringLiteral("initializing the Codex app server"));
    if (inbox.overflowed())
        return tooLong();
    if (!inbox.response(1) && inbox.closed())
        return endedEarly();
    if (Result<QJsonObject> answer = validate(inbox.response(1), QStringLiteral("Codex initialization")); !answer)
        return answer.error();

    if (Result<void> sent = send(child, {{QStringLiteral("method"), QStringLiteral("initialized")}}); !sent)
        return sent.error();

    QSemaphore *limitsRead = inbox.prepare(2);
    const QJsonObject readLimits{{QStringLiteral("method"), QStringLiteral("account/rateLimits/read")},
                                 {QStringLiteral("id"), 2}};
    if (Result<void> sent = send(child, readLimits); !sent)
        return sent.error();
    if (!wait(*limitsRead, timeout))
        return LimitraError::timeout(QStringLiteral("reading Codex usage"));
    if (inbox.overflowed())
        return tooLong();
    if (!inbox.response(2) && inbox.closed())
        return endedEarly();
    Result<QJsonObject> answer = validate(inbox.response(2), QStringLiteral("Codex usage"));
    if (!answer)
        return answer.error();
    const QJsonValue result = answer->value(QStringLiteral("result"));
    if (!result.isObject())
        return LimitraError::invalidResponse(QStringLiteral("missing rate-limit result"));
    return decode(result.toObject(), QDateTime::currentDateTimeUtc());
}

} // namespace CodexRPCSession
