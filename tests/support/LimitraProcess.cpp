#include "tests/support/LimitraProcess.h"

#include <QProcess>

namespace {

LimitraRun runProcess(const QString &program, const QStringList &arguments, const QByteArray &input,
                      const QProcessEnvironment &environment, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    LimitraRun run;
    if (!process.waitForStarted(10000))
        return run;
    process.write(input);
    process.closeWriteChannel();
    run.finished = process.waitForFinished(timeoutMs);
    if (!run.finished) {
        process.kill();
        process.waitForFinished();
    }
    run.crashed = process.exitStatus() == QProcess::CrashExit;
    run.exitCode = process.exitCode();
    run.output = process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    return run;
}

} // namespace

LimitraRun runLimitra(const QStringList &arguments, const QByteArray &input, const QProcessEnvironment &environment,
                      int timeoutMs)
{
    return runProcess(QStringLiteral(LIMITRA_EXECUTABLE), arguments, input, environment, timeoutMs);
}

LimitraRun runShell(const QString &command, const QByteArray &input, const QProcessEnvironment &environment,
                    int timeoutMs)
{
    return runProcess("/bin/sh", {"-c", command}, input, environment, timeoutMs);
}
