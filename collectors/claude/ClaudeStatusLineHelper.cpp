#include "collectors/claude/ClaudeStatusLineHelper.h"

#include "collectors/claude/ClaudeIntegrationManager.h"
#include "collectors/claude/StatusLineInput.h"
#include "model/Json.h"
#include "system/AppPaths.h"
#include "system/AtomicFile.h"
#include "system/ChildProcess.h"
#include "system/FileSystem.h"
#include "system/TerminationForwarding.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <unistd.h>

namespace ClaudeStatusLineHelper {

namespace {

const QString kBridgeMark = QString::fromLatin1(kCommandLineSwitch);

// The integer part of a percentage as text: 42.9 gives "42", -0.5 gives "0".
QString wholePercent(double value)
{
    const double whole = std::trunc(value);
    return whole == 0 ? QStringLiteral("0") : QString::number(whole, 'f', 0);
}

std::optional<QString> summaryPart(const QJsonObject &limits, const QString &key, const QString &prefix)
{
    const std::optional<double> used =
        jsonNumber(limits.value(key).toObject().value(QStringLiteral("used_percentage")));
    if (!used)
        return std::nullopt;
    return prefix + wholePercent(*used) + QLatin1Char('%');
}

} // namespace

QString compactSummary(const QByteArray &payload)
{
    const QJsonDocument document = QJsonDocument::fromJson(payload);
    const QJsonValue limitsValue = document.object().value(QStringLiteral("rate_limits"));
    QStringList parts;
    if (document.isObject() && limitsValue.isObject()) {
        const QJsonObject limits = limitsValue.toObject();
        if (auto part = summaryPart(limits, QStringLiteral("five_hour"), QStringLiteral("5h ")))
            parts.append(*part);
        if (auto part = summaryPart(limits, QStringLiteral("seven_day"), QStringLiteral("7d ")))
            parts.append(*part);
    }
    if (parts.isEmpty())
        return QStringLiteral("Limitra · waiting for Claude usage\n");
    return QStringLiteral("Claude · ") + parts.join(QStringLiteral(" · ")) + QLatin1Char('\n');
}

Result<std::optional<QByteArray>> runOriginalStatusLine(const QByteArray &input, std::chrono::milliseconds timeLimit)
{
    const std::optional<QByteArray> none;
    Result<QByteArray> backup = FileSystem::readFile(ClaudeIntegrationManager::backupPath());
    if (!backup)
        return none;
    if (!requireJsonGrammar(*backup, QStringLiteral("The status-line backup")))
        return none;
    const QJsonDocument document = QJsonDocument::fromJson(*backup);
    const QJsonObject statusLine = document.object().value(QStringLiteral("statusLine")).toObject();
    const QJsonValue type = statusLine.value(QStringLiteral("type"));
    const QJsonValue command = statusLine.value(QStringLiteral("command"));
    if (type.toString() != QLatin1String("command") || !command.isString())
        return none;
    // A saved command that is a bridge (of this or any other copy) would call
    // the helper again, and again.
    if (command.toString().contains(kBridgeMark))
        return none;

    // Run the way Claude Code runs status-line commands, so the user keeps the
    // exact line they had.
    ChildOptions options;
    options.program = QStringLiteral("/bin/sh");
    options.arguments = {QStringLiteral("-c"), command.toString()};
    options.errors = ChildStream::null;
    // Claude Code may kill the helper outright; the command goes with it.
    options.endsWithParent = true;
    Result<std::unique_ptr<ChildProcess>> child = ChildProcess::start(options);
    if (!child) {
        return Error::platform(
            QStringLiteral("Could not start the previous status-line command: %1").arg(child.error().description()));
    }
    const TerminationForwarding forwarding((*child)->pid());
    const ChildRun run = runToCompletion(**child, input, {.time = timeLimit, .maxOutput = kMaxPreviousOutputBytes});
    if (run.limitExceeded || !run.status.success())
        return none;
    return std::optional<QByteArray>(run.output);
}

int run()
{
    // A reader that goes away early (the previous command, or whoever reads our
    // output) must make writes fail, not end the helper. Children get the
    // default disposition back when they start.
    ::signal(SIGPIPE, SIG_IGN);

    const StatusLineInput input = readStatusLineInput(STDIN_FILENO, kInputTimeLimit, kMaxPayloadBytes);
    if (input.bytes.isEmpty() || !input.finished)
        return 2;
    // Only a JSON object or array is a payload, held to the grammar as strictly
    // as the collector reads it back; its shape is the collector's business.
    if (!parseJson(input.bytes, QStringLiteral("The status-line payload")))
        return 2;

    if (!AppPaths::ensureApplicationSupportDirectory())
        return 1;
    // The payload is rewritten on every status-line refresh and is worthless
    // after a crash, so it is not flushed to disk.
    const QString payloadPath = AppPaths::claudeStatusLinePayload();
    if (!AtomicFile::write(payloadPath, input.bytes, {.mode = 0600, .keepExistingMode = false, .durable = false}))
        return 1;

    Result<std::optional<QByteArray>> previous = runOriginalStatusLine(input.bytes);
    if (!previous)
        return 1;
    if (*previous && !(*previous)->isEmpty()) {
        // A reader that went away is no failure: the payload is recorded.
        FileSystem::writeAll(STDOUT_FILENO, **previous);
        return 0;
    }
    FileSystem::writeAll(STDOUT_FILENO, compactSummary(input.bytes).toUtf8());
    return 0;
}

} // namespace ClaudeStatusLineHelper
