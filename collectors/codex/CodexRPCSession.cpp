#include "collectors/codex/CodexRPCSession.h"

#include "LimitraVersion.h"
#include "collectors/codex/RPCInbox.h"
#include "system/ChildProcess.h"
#include "system/FileSystem.h"
#include "system/PipeReader.h"
#include "system/ProcessEnvironment.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QScopeGuard>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <mutex>
#include <unistd.h>

namespace CodexRPCSession {

namespace {

// How long the server and what it started get to leave after SIGTERM.
constexpr std::chrono::milliseconds kStopGrace{1000};

QJsonObject initializeRequest()
{
    return {
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
}

// 0 when the line was written, otherwise the write's errno.
int send(ChildProcess &child, const QJsonObject &message)
{
    const QByteArray line = QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
    return FileSystem::writeAll(child.inputFd(), line) ? 0 : errno;
}

// The end of what the server wrote to standard error: its last line says why
// a server ended without answering (an old codex that has no app server, a
// script whose interpreter is missing). Bounded, so a server that floods
// standard error costs nothing.
class ErrorTail
{
public:
    static constexpr qsizetype kKept = 4096;

    void consume(QByteArrayView chunk)
    {
        const std::scoped_lock lock(m_mutex);
        m_text.append(chunk.last(std::min(chunk.size(), kKept)));
        if (m_text.size() > kKept)
            m_text.remove(0, m_text.size() - kKept);
    }
    void end() { m_ended.release(); }
    QSemaphore &ended() { return m_ended; }

    // The last line that is not blank, without terminal colours.
    QString lastLine() const
    {
        static const QRegularExpression colours(QStringLiteral("\x1B\\[[0-9;?]*[A-Za-z]"));
        const std::scoped_lock lock(m_mutex);
        QStringList lines = QString::fromUtf8(m_text).remove(colours).split(QLatin1Char('\n'));
        while (!lines.isEmpty() && lines.last().trimmed().isEmpty())
            lines.removeLast();
        return lines.isEmpty() ? QString() : lines.last().trimmed().left(300);
    }

private:
    mutable std::mutex m_mutex;
    QByteArray m_text;
    QSemaphore m_ended;
};

// Long enough for a server that has exited to have its standard error read
// to the end; short, because a helper it left may hold that open.
constexpr double kErrorTailWait = 1.0;

LimitraError endedEarly(ErrorTail &errors, const Wait &wait, double timeout)
{
    wait(errors.ended(), std::min(timeout, kErrorTailWait));
    const QString reason = errors.lastLine();
    return LimitraError::processFailed(
        reason.isEmpty() ? QStringLiteral("The Codex app server exited without answering.")
                         : QStringLiteral("The Codex app server exited without answering (%1).").arg(reason));
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
    options.environment = ProcessEnvironment::forExecutable(ProcessEnvironment::entries(), executablePath);
    options.input = ChildStream::pipe;
    options.output = ChildStream::pipe;
    options.errors = ChildStream::pipe;
    Result<std::unique_ptr<ChildProcess>> started = ChildProcess::start(options);
    if (!started)
        return LimitraError::processFailed(QStringLiteral("Could not launch Codex: ") + started.error().description());
    ChildProcess &child = **started;

    RPCInbox inbox;
    PipeReader reader(
        child.outputFd(), [&inbox](QByteArrayView chunk) { inbox.consume(chunk); }, [&inbox] { inbox.close(); });
    ErrorTail errors;
    PipeReader errorReader(
        child.errorsFd(), [&errors](QByteArrayView chunk) { errors.consume(chunk); }, [&errors] { errors.end(); });
    const auto shutdown = qScopeGuard([&] {
        reader.stop();
        errorReader.stop();
        child.closeInput();
        child.stopGroup(kStopGrace);
    });
    // A server that went away before a message reached it ended early.
    const auto sendFailure = [&](const QJsonObject &message) -> std::optional<Error> {
        const int failure = send(child, message);
        if (failure == 0)
            return std::nullopt;
        if (failure == EPIPE)
            return endedEarly(errors, wait, timeout);
        return Error::fromErrno(failure, QString());
    };

    QSemaphore *initialized = inbox.prepare(1);
    if (std::optional<Error> failed = sendFailure(initializeRequest()))
        return *failed;
    if (!wait(*initialized, timeout))
        return LimitraError::timeout(QStringLiteral("initializing the Codex app server"));
    if (inbox.overflowed())
        return tooLong();
    if (!inbox.response(1) && inbox.closed())
        return endedEarly(errors, wait, timeout);
    if (Result<QJsonObject> answer = validate(inbox.response(1), QStringLiteral("Codex initialization")); !answer)
        return answer.error();

    if (std::optional<Error> failed = sendFailure({{QStringLiteral("method"), QStringLiteral("initialized")}}))
        return *failed;

    QSemaphore *limitsRead = inbox.prepare(2);
    const QJsonObject readLimits{{QStringLiteral("method"), QStringLiteral("account/rateLimits/read")},
                                 {QStringLiteral("id"), 2}};
    if (std::optional<Error> failed = sendFailure(readLimits))
        return *failed;
    if (!wait(*limitsRead, timeout))
        return LimitraError::timeout(QStringLiteral("reading Codex usage"));
    if (inbox.overflowed())
        return tooLong();
    if (!inbox.response(2) && inbox.closed())
        return endedEarly(errors, wait, timeout);
    Result<QJsonObject> answer = validate(inbox.response(2), QStringLiteral("Codex usage"));
    if (!answer)
        return answer.error();
    const QJsonValue result = answer->value(QStringLiteral("result"));
    if (!result.isObject())
        return LimitraError::invalidResponse(QStringLiteral("missing rate-limit result"));
    return decode(result.toObject(), QDateTime::currentDateTimeUtc());
}

} // namespace CodexRPCSession
