#include "tests/support/LimitraProcess.h"

#include <QElapsedTimer>
#include <QProcess>

namespace {

LimitraRun runProcess(const QString &program, const QStringList &arguments, const QByteArray &input,
                      const QProcessEnvironment &environment, int timeoutMs, bool keepInputOpen)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    LimitraRun run;
    if (!process.waitForStarted(10000))
        return run;
    process.write(input);
    if (!keepInputOpen)
        process.closeWriteChannel();
    run.finished = process.waitForFinished(timeoutMs);
    run.elapsedMs = timer.elapsed();
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
                      int timeoutMs, bool keepInputOpen)
{
    return runProcess(QStringLiteral(LIMITRA_EXECUTABLE), arguments, input, environment, timeoutMs, keepInputOpen);
}

LimitraRun runShell(const QString &command, const QByteArray &input, const QProcessEnvironment &environment,
                    int timeoutMs)
{
    return runProcess(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), command}, input, environment, timeoutMs, false);
}
