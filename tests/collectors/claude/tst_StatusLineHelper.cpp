// `limitra --claude-statusline`, run as a real child process the way Claude
// Code runs it, in a throw-away home.
#include "collectors/claude/ClaudeStatusLineHelper.h"
#include "collectors/claude/StatusLineInput.h"
#include "system/ChildProcess.h"
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/TestHome.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include <csignal>
#include <future>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray kPayload = R"({"session_id":"4f2a","cwd":"/home/dev/src","model":{"id":"claude-opus-4-1",
"display_name":"Opus 4.1"},"rate_limits":{"five_hour":{"used_percentage":42.9,"resets_at":1767225600},
"seven_day":{"used_percentage":13,"resets_at":1767600000}}})";
const QByteArray kSummary = "Claude · 5h 42% · 7d 13%\n";
const QByteArray kWaiting = "Limitra · waiting for Claude usage\n";

const QStringList kHelper{QStringLiteral("--claude-statusline")};

QString payloadFile(const TestHome &home)
{
    return home.appDirectory() + QStringLiteral("/claude-statusline.json");
}

// Saves `command` as the user's status line from before the bridge.
void saveBackup(const TestHome &home, const QString &command)
{
    const QJsonObject backup{
        {QStringLiteral("hadStatusLine"), true},
        {QStringLiteral("statusLine"),
         QJsonObject{{QStringLiteral("type"), QStringLiteral("command")}, {QStringLiteral("command"), command}}},
    };
    home.writeFile(QStringLiteral(".local/share/Limitra/claude-statusline-backup.json"),
                   QJsonDocument(backup).toJson());
}

bool processExists(pid_t pid)
{
    return isRunning(pid); // a zombie waiting for a late init counts as gone
}

} // namespace

class StatusLineHelperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inputs_data();
    void inputs();
    void invalidInputKeepsTheLastPayload();
    void filesArePrivate();
    void previousCommand_data();
    void previousCommand();
    void previousCommandReceivesThePayload();
    void hangingPreviousCommandIsStopped();
    void previousCommandThatCannotStart();
    void loopingBridgeCommandIsNotRun();
    void unusableBackups_data();
    void unusableBackups();
    void childThatClosesItsInputEarly();
    void readerThatClosesOutputEarly();
    void inputLeftOpen_data();
    void inputLeftOpen();
    void inputThatNeverCompletes();
    void backgroundProcessKeepingOutputOpen();
    void endOfTheHelperEndsThePreviousCommand_data();
    void endOfTheHelperEndsThePreviousCommand();
    void concurrentHelpersNeverExposeHalfAPayload();
    void summaryNumbers_data();
    void summaryNumbers();
};

void StatusLineHelperTest::inputs_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("output");

    QTest::newRow("realistic payload") << kPayload << 0 << kSummary;
    QTest::newRow("empty object") << QByteArray("{}") << 0 << kWaiting;
    QTest::newRow("array is valid JSON") << QByteArray("[1,2]") << 0 << kWaiting;
    QTest::newRow("weekly only") << QByteArray(R"({"rate_limits":{"seven_day":{"used_percentage":13.2}}})") << 0
                                 << QByteArray("Claude · 7d 13%\n");
    QTest::newRow("empty input") << QByteArray() << 2 << QByteArray();
    QTest::newRow("white space only") << QByteArray(" \n\t") << 2 << QByteArray();
    QTest::newRow("bare number") << QByteArray("42") << 2 << QByteArray();
    QTest::newRow("bare string") << QByteArray("\"{}\"") << 2 << QByteArray();
    QTest::newRow("plain text") << QByteArray("hello Claude") << 2 << QByteArray();
    QTest::newRow("broken object") << QByteArray(R"({"a": })") << 2 << QByteArray();
    QTest::newRow("garbage after the document") << QByteArray("{} trailing") << 2 << QByteArray();
    QTest::newRow("stray closing bracket") << QByteArray("}") << 2 << QByteArray();
    QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF{}") << 2 << QByteArray();
}

void StatusLineHelperTest::inputs()
{
    QFETCH(QByteArray, input);
    QFETCH(int, status);
    QFETCH(QByteArray, output);
    TestHome home;
    const LimitraRun run = runLimitra(kHelper, input, home.environment());
    QVERIFY(run.finished);
    QCOMPARE(run.exitCode, status);
    QCOMPARE(run.output, output);
    QVERIFY(run.errors.isEmpty());
    if (status == 0)
        QCOMPARE(readAll(payloadFile(home)), input); // stored exactly as received
    else
        QVERIFY(!QFile::exists(payloadFile(home)));
}

void StatusLineHelperTest::invalidInputKeepsTheLastPayload()
{
    TestHome home;
    QCOMPARE(runLimitra(kHelper, kPayload, home.environment()).exitCode, 0);
    QCOMPARE(runLimitra(kHelper, "{\"rate_limits\": ", home.environment()).exitCode, 2);
    QCOMPARE(runLimitra(kHelper, "7", home.environment()).exitCode, 2);
    QCOMPARE(readAll(payloadFile(home)), kPayload);
}

void StatusLineHelperTest::filesArePrivate()
{
    TestHome home;
    QCOMPARE(runLimitra(kHelper, kPayload, home.environment()).exitCode, 0);
    struct stat info = {};
    QCOMPARE(::stat(QFile::encodeName(home.appDirectory()).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0700u);
    QCOMPARE(::stat(QFile::encodeName(payloadFile(home)).constData(), &info), 0);
    QCOMPARE(info.st_mode & 0777, 0600u);
    // No temporary file is left beside it.
    QCOMPARE(QDir(home.appDirectory()).entryList(QDir::Files | QDir::Hidden),
             QStringList{QStringLiteral("claude-statusline.json")});
}

void StatusLineHelperTest::previousCommand_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("output");

    QTest::newRow("several lines, unchanged")
        << "printf 'first line\\n  second line'" << QByteArray("first line\n  second line");
    QTest::newRow("prints nothing") << "true" << kSummary;
    QTest::newRow("fails after printing") << "echo partial; exit 1" << kSummary;
    QTest::newRow("killed by a signal") << "echo partial; kill -9 $$" << kSummary;
    QTest::newRow("command not found") << "no-such-command-anywhere" << kSummary;
    QTest::newRow("more than a pipe holds") << "head -c 300000 /dev/zero | tr '\\0' x" << QByteArray(300000, 'x');
    QTest::newRow("endless output") << "yes" << kSummary;
    QTest::newRow("shell syntax of the user") << "a=Opus; echo \"$a · $(echo ok)\"" << QByteArray("Opus · ok\n");
}

void StatusLineHelperTest::previousCommand()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, output);
    TestHome home;
    saveBackup(home, command);
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, output);
    QCOMPARE(readAll(payloadFile(home)), kPayload);
}

void StatusLineHelperTest::previousCommandReceivesThePayload()
{
    TestHome home;
    saveBackup(home, QStringLiteral("cat"));
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, kPayload);
}

void StatusLineHelperTest::hangingPreviousCommandIsStopped()
{
    // A pipeline that never ends: past the limit the summary stands in, and
    // nothing of the command's process group is left.
    TestHome home;
    const QString pidFile = home.path() + QStringLiteral("/sleeper.pid");
    saveBackup(home, QStringLiteral("sleep 600 | (echo $$ > '%1'; cat)").arg(pidFile));
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment(), 60000);
    QVERIFY(run.finished);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, kSummary);
    const pid_t shell = readAll(pidFile).trimmed().toInt();
    QVERIFY(shell > 0);
    const auto inTheGroup = [shell](pid_t pid, const QByteArray &) { return ::getpgid(pid) == shell; };
    QCOMPARE(runningProcessesWhere(inTheGroup), QList<pid_t>());
}

void StatusLineHelperTest::previousCommandThatCannotStart()
{
    // A command longer than the kernel takes as one argument cannot be started.
    TestHome home;
    saveBackup(home, QStringLiteral("echo ") + QString(200000, QLatin1Char('x')));
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment());
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.output.isEmpty());
    QVERIFY(run.errors.isEmpty());
    QCOMPARE(readAll(payloadFile(home)), kPayload); // recorded before the command was tried
}

void StatusLineHelperTest::loopingBridgeCommandIsNotRun()
{
    TestHome home;
    const QString marker = home.path() + QStringLiteral("/ran");
    saveBackup(home, QStringLiteral("touch '%1'; echo '/old/limitra --claude-statusline'").arg(marker));
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, kSummary);
    QVERIFY(!QFile::exists(marker));
}

void StatusLineHelperTest::unusableBackups_data()
{
    QTest::addColumn<QByteArray>("backup");
    QTest::newRow("not JSON") << QByteArray("{statusLine");
    QTest::newRow("array") << QByteArray(R"([{"statusLine":{"type":"command","command":"echo no"}}])");
    QTest::newRow("status line is a string") << QByteArray(R"({"hadStatusLine":true,"statusLine":"echo no"})");
    QTest::newRow("other type") << QByteArray(R"({"statusLine":{"type":"static","command":"echo no"}})");
    QTest::newRow("command not a string") << QByteArray(R"({"statusLine":{"type":"command","command":["echo"]}})");
    QTest::newRow("none saved") << QByteArray(R"({"hadStatusLine":false,"statusLine":null})");
}

void StatusLineHelperTest::unusableBackups()
{
    QFETCH(QByteArray, backup);
    TestHome home;
    home.writeFile(QStringLiteral(".local/share/Limitra/claude-statusline-backup.json"), backup);
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment());
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, kSummary);
}

void StatusLineHelperTest::childThatClosesItsInputEarly()
{
    // Writing a large payload to a command that has already closed its input
    // must not end the helper with SIGPIPE.
    TestHome home;
    saveBackup(home, QStringLiteral("exec 0<&-; printf closed"));
    QByteArray large = kPayload;
    large.insert(1, "\"padding\":\"" + QByteArray(1 << 20, 'p') + "\",");
    for (int attempt = 0; attempt < 5; ++attempt) {
        const LimitraRun run = runLimitra(kHelper, large, home.environment());
        QVERIFY(!run.crashed);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.output, QByteArray("closed"));
    }
}

void StatusLineHelperTest::readerThatClosesOutputEarly()
{
    TestHome home;
    ChildOptions options;
    options.program = QStringLiteral(LIMITRA_EXECUTABLE);
    options.arguments = kHelper;
    QStringList environment = home.environment().toStringList();
    options.environment.emplace();
    for (const QString &entry : environment)
        options.environment->append(entry.toUtf8());
    Result<std::unique_ptr<ChildProcess>> child = ChildProcess::start(options);
    QVERIFY(child.ok());
    (*child)->closeOutput(); // nobody will read what the helper prints
    const ChildRun run = runToCompletion(**child, kPayload);
    QVERIFY2(run.status.exited, "the helper was killed by a signal");
    QCOMPARE(run.status.code, 0);
    QCOMPARE(readAll(payloadFile(home)), kPayload);
}

void StatusLineHelperTest::inputLeftOpen_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("finished");
    QTest::newRow("complete payload") << kPayload + "\n" << true;
    QTest::newRow("bare string") << QByteArray("\"abc\"") << false;
    QTest::newRow("bare number") << QByteArray(" 42") << false;
    QTest::newRow("byte-order mark before an object") << QByteArray("\xEF\xBB\xBF{}") << false;
    QTest::newRow("stray closing bracket") << QByteArray("]") << false;
}

void StatusLineHelperTest::inputLeftOpen()
{
    // Claude Code may keep its end of the pipe open: the bytes alone must
    // decide, long before the (here one-hour) limit.
    QFETCH(QByteArray, input);
    QFETCH(bool, finished);
    int pipeEnds[2];
    QCOMPARE(::pipe(pipeEnds), 0);
    QCOMPARE(::write(pipeEnds[1], input.constData(), size_t(input.size())), ssize_t(input.size()));
    auto reading = std::async(std::launch::async, [&] {
        return readStatusLineInput(pipeEnds[0], std::chrono::hours(1), ClaudeStatusLineHelper::kMaxPayloadBytes);
    });
    const bool decided = reading.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
    ::close(pipeEnds[1]); // ends a reader that is still waiting
    const StatusLineInput result = reading.get();
    ::close(pipeEnds[0]);
    QVERIFY2(decided, "the reader waited for more input");
    QCOMPARE(result.finished, finished);
    if (finished)
        QCOMPARE(result.bytes, input);
}

void StatusLineHelperTest::inputThatNeverCompletes()
{
    TestHome home;
    const LimitraRun run = runLimitra(kHelper, R"({"rate_limits": {"five_hour": )", home.environment(), 30000, true);
    QVERIFY2(run.finished, "the helper waited forever");
    QCOMPARE(run.exitCode, 2);
    QVERIFY(run.output.isEmpty());
    QVERIFY(run.elapsedMs >= ClaudeStatusLineHelper::kInputTimeLimit.count() - 100);
    QVERIFY(!QFile::exists(payloadFile(home)));
}

void StatusLineHelperTest::backgroundProcessKeepingOutputOpen()
{
    // A background process that inherited the command's output must not keep
    // the status line waiting once the command itself has finished.
    TestHome home;
    saveBackup(home, QStringLiteral("sleep 30 & echo line"));
    const LimitraRun run = runLimitra(kHelper, kPayload, home.environment(), 60000);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(run.output, QByteArray("line\n"));
    QVERIFY2(run.elapsedMs < 20000, qPrintable(QString::number(run.elapsedMs)));
}

void StatusLineHelperTest::endOfTheHelperEndsThePreviousCommand_data()
{
    QTest::addColumn<int>("signalNumber");
    QTest::newRow("SIGTERM, as a caller that gives up on the status line") << int(SIGTERM);
    QTest::newRow("SIGKILL, which the helper never sees") << int(SIGKILL);
}

void StatusLineHelperTest::endOfTheHelperEndsThePreviousCommand()
{
    QFETCH(int, signalNumber);
    TestHome home;
    const QString pidFile = home.path() + QStringLiteral("/child.pid");
    // A pipeline: a process the shell started, not only the shell itself.
    saveBackup(home, QStringLiteral("sleep 600 & echo $! > '%1'; wait").arg(pidFile));
    QProcess helper;
    helper.setProcessEnvironment(home.environment());
    helper.start(QStringLiteral(LIMITRA_EXECUTABLE), kHelper);
    QVERIFY(helper.waitForStarted());
    helper.write(kPayload);
    helper.closeWriteChannel();
    QTRY_VERIFY_WITH_TIMEOUT(!readAll(pidFile).trimmed().isEmpty(), 10000);
    const pid_t sleeper = readAll(pidFile).trimmed().toInt();
    QVERIFY(processExists(sleeper));

    ::kill(static_cast<pid_t>(helper.processId()), signalNumber);
    QVERIFY(helper.waitForFinished(5000));
    QCOMPARE(helper.exitStatus(), QProcess::CrashExit);
    QTRY_VERIFY_WITH_TIMEOUT(!processExists(sleeper), 5000);
}

void StatusLineHelperTest::concurrentHelpersNeverExposeHalfAPayload()
{
    TestHome home;
    constexpr int kHelpers = 50;
    std::vector<std::unique_ptr<QProcess>> helpers;
    QSet<QByteArray> written;
    for (int i = 0; i < kHelpers; ++i) {
        // Payloads of different sizes, so a torn read would show.
        QByteArray payload = R"({"rate_limits":{"five_hour":{"used_percentage":)" + QByteArray::number(i)
                             + R"(}},"padding":")" + QByteArray(1000 + i * 997, 'a' + char(i % 26)) + "\"}";
        written.insert(payload);
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(home.environment());
        process->start(QStringLiteral(LIMITRA_EXECUTABLE), kHelper);
        process->write(payload);
        // Into the pipe now (it holds the whole payload), not when the event
        // loop next runs: on a loaded machine that could be after the
        // helper's input limit.
        QVERIFY(process->waitForBytesWritten(30000));
        process->closeWriteChannel();
        helpers.push_back(std::move(process));
    }

    int reads = 0;
    const auto allDone = [&] {
        return std::all_of(helpers.begin(), helpers.end(),
                           [](const auto &process) { return process->state() == QProcess::NotRunning; });
    };
    while (!allDone()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        const QByteArray content = readAll(payloadFile(home));
        if (content.isEmpty())
            continue; // not written yet
        ++reads;
        QVERIFY2(written.contains(content), "a reader saw a payload that no helper wrote whole");
    }
    for (const auto &process : helpers) {
        QCOMPARE(process->exitStatus(), QProcess::NormalExit);
        QCOMPARE(process->exitCode(), 0);
    }
    QVERIFY(reads > 0);
    QVERIFY(written.contains(readAll(payloadFile(home))));
    QCOMPARE(QDir(home.appDirectory()).entryList(QDir::Files | QDir::Hidden).size(), 1);
}

void StatusLineHelperTest::summaryNumbers_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("summary");
    QTest::newRow("cut, not rounded") << QByteArray(R"({"rate_limits":{"five_hour":{"used_percentage":99.99}}})")
                                      << "Claude · 5h 99%\n";
    QTest::newRow("negative fraction") << QByteArray(R"({"rate_limits":{"five_hour":{"used_percentage":-0.5}}})")
                                       << "Claude · 5h 0%\n";
    QTest::newRow("over the limit") << QByteArray(R"({"rate_limits":{"seven_day":{"used_percentage":250.7}}})")
                                    << "Claude · 7d 250%\n";
    QTest::newRow("huge") << QByteArray(R"({"rate_limits":{"seven_day":{"used_percentage":1e20}}})")
                          << "Claude · 7d 100000000000000000000%\n";
    QTest::newRow("other windows never shown")
        << QByteArray(R"({"rate_limits":{"opus":{"used_percentage":5},"seven_day":{"used_percentage":"5"}}})")
        << "Limitra · waiting for Claude usage\n";
    QTest::newRow("rate limits not an object")
        << QByteArray(R"({"rate_limits":[1]})") << "Limitra · waiting for Claude usage\n";
}

void StatusLineHelperTest::summaryNumbers()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, summary);
    QCOMPARE(ClaudeStatusLineHelper::compactSummary(payload), summary);
}

QTEST_GUILESS_MAIN(StatusLineHelperTest)
#include "tst_StatusLineHelper.moc"
