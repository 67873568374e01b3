// The shared child-process facility: what the collectors' tests through it
// cannot see (inheritance, signal masks, reaping, relative paths).
#include "system/ChildProcess.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

ChildOptions shell(const QString &script)
{
    ChildOptions options;
    options.program = QStringLiteral("/bin/sh");
    options.arguments = {QStringLiteral("-c"), script};
    return options;
}

ChildRun runShell(const QString &script, const QByteArray &input = {})
{
    Result<std::unique_ptr<ChildProcess>> child = ChildProcess::start(shell(script));
    if (!child)
        qFatal("could not start /bin/sh: %s", qPrintable(child.error().description()));
    return runToCompletion(**child, input);
}

} // namespace

class ChildProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void onlyStandardStreamsAreInherited();
    void signalsStartAtTheirDefaults();
    void destructionKillsAndReaps();
    void relativeProgramAndWorkingDirectory();
};

void ChildProcessTest::onlyStandardStreamsAreInherited()
{
    // A descriptor this process opened without close-on-exec still does not
    // reach the child.
    const int leaky = ::open("/dev/null", O_RDONLY);
    QVERIFY(leaky > 2);
    const ChildRun run = runShell(QStringLiteral("ls /proc/self/fd"));
    ::close(leaky);
    QStringList descriptors = QString::fromUtf8(run.output).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    descriptors.sort();
    // 0, 1, 2 and the one `ls` opens to read the folder.
    QCOMPARE(descriptors,
             (QStringList{QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")}));
}

void ChildProcessTest::signalsStartAtTheirDefaults()
{
    const auto previous = ::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked, old;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &old);
    const ChildRun run = runShell(QStringLiteral("grep -E '^Sig(Blk|Ign)' /proc/self/status"));
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    ::signal(SIGPIPE, previous);
    // Neither blocked nor ignored: the masks of the standard signals (1 to 31)
    // are empty. glibc keeps its own real-time signals to itself.
    const QList<QByteArray> lines = run.output.trimmed().split('\n');
    QCOMPARE(lines.size(), 2);
    for (const QByteArray &line : lines) {
        bool ok = false;
        const quint64 mask = line.mid(line.indexOf('\t') + 1).toULongLong(&ok, 16);
        QVERIFY(ok);
        QVERIFY2((mask & 0x7fffffffULL) == 0, line.constData());
    }
}

void ChildProcessTest::destructionKillsAndReaps()
{
    TestHome home;
    const QString pidFile = home.path() + QStringLiteral("/grandchild");
    pid_t leader = 0;
    {
        // The shell starts a grandchild that ignores SIGTERM, then waits.
        Result<std::unique_ptr<ChildProcess>> child = ChildProcess::start(
            shell(QStringLiteral("sh -c 'trap \"\" TERM; echo $$ > %1; exec sleep 60' & wait").arg(pidFile)));
        QVERIFY(child.ok());
        leader = (*child)->pid();
        QTRY_VERIFY(!readAll(pidFile).trimmed().isEmpty());
    }
    const pid_t grandchild = readAll(pidFile).trimmed().toInt();
    // The leader was reaped (no zombie) and the whole group is gone.
    QCOMPARE(::kill(leader, 0), -1);
    QTRY_COMPARE(::kill(grandchild, 0), -1);
}

void ChildProcessTest::relativeProgramAndWorkingDirectory()
{
    TestHome home;
    const QString script = home.writeFile(QStringLiteral("bin/tool"), "#!/bin/sh\npwd\n");
    QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
    const QString previous = QDir::currentPath();
    QDir::setCurrent(home.path());
    ChildOptions options;
    options.program = QStringLiteral("bin/tool"); // relative to our folder, not the child's
    options.workingDirectory = QStringLiteral("/tmp");
    Result<std::unique_ptr<ChildProcess>> child = ChildProcess::start(options);
    QDir::setCurrent(previous);
    QVERIFY_OK(child);
    QCOMPARE(runToCompletion(**child, {}).output, QByteArray("/tmp\n"));
}

QTEST_GUILESS_MAIN(ChildProcessTest)
#include "tst_ChildProcess.moc"
