// `limitra --claude-statusline`, run as a real child process the way Claude
// Code runs it, in a throw-away home; the previous status line's rules run
// in-process.
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
#include <unistd.h>

namespace {

const QByteArray kPayload = R"({"session_id":"4f2a","cwd":"/home/dev/src","model":{"id":"claude-opus-4-1",
"display_name":"Opus 4.1"},"rate_limits":{"five_hour":{"used_percentage":42.9,"resets_at":1767225600},
"seven_day":{"used_percentage":13,"resets_at":1767600000}}})";
const QByteArray kSummary = "Claude · 5h 42% · 7d 13%\n";
const QByteArray kWaiting = "Limitra · waiting for Claude usage\n";
const QStringList kHelper{QStringLiteral("--claude-statusline")};

// A backup holding `command` as the user's status line from before the bridge.
QByteArray backupOf(const QString &command)
{
    const QJsonObject statusLine{{QStringLiteral("type"), QStringLiteral("command")},
                                 {QStringLiteral("command"), command}};
    return QJsonDocument(
               QJsonObject{{QStringLiteral("hadStatusLine"), true}, {QStringLiteral("statusLine"), statusLine}})
        .toJson();
}

void saveBackup(const TestHome &home, const QByteArray &backup)
{
    home.writeFile(QStringLiteral(".local/share/Limitra/claude-statusline-backup.json"), backup);
}

QString payloadFile(const TestHome &home)
{
    return home.appDirectory() + QStringLiteral("/claude-statusline.json");
}

} // namespace

class StatusLineHelperTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runs_data();
    void runs();
    void previousCommand_data();
    void previousCommand();
    void readerThatClosesOutputEarly();
    void inputLeftOpen_data();
    void inputLeftOpen();
    void endOfTheHelperEndsThePreviousCommand_data();
    void endOfTheHelperEndsThePreviousCommand();
    void concurrentHelpersNeverExposeHalfAPayload();
    void summaryNumbers_data();
    void summaryNumbers();
};

void StatusLineHelperTest::runs_data()
{
    QTest::addColumn<QByteArray>("backup"); // empty: none
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("output");

    const QByteArray none;
    QTest::newRow("realistic payload") << none << kPayload << 0 << kSummary;
    QTest::newRow("array is valid JSON") << none << QByteArray("[1,2]") << 0 << kWaiting;
    QTest::newRow("empty input") << none << QByteArray() << 2 << none;
    QTest::newRow("broken object") << none << QByteArray(R"({"a": })") << 2 << none;
    QTest::newRow("garbage after the document") << none << QByteArray("{} trailing") << 2 << none;
    // Qt's own reader would take (and repair) this; the collector would not.
    QTest::newRow("number without a leading digit") << none << QByteArray(R"({"a": .5})") << 2 << none;
    const QByteArray padding(ClaudeStatusLineHelper::kMaxPayloadBytes, 'p');
    QTest::newRow("larger than any payload") << none << "{\"padding\":\"" + padding + "\"}" << 2 << none;
    // The user's previous status line, run with the payload on its input.
    QTest::newRow("previous: reads the payload") << backupOf("cat") << kPayload << 0 << kPayload;
    QTest::newRow("previous: prints nothing") << backupOf("true") << kPayload << 0 << kSummary;
    // Longer than the kernel takes as one argument.
    QTest::newRow("previous: cannot start")
        << backupOf("echo " + QString(200000, QLatin1Char('x'))) << kPayload << 1 << none;
    // Writing a large payload to a command that has closed its input must not
    // end the helper with SIGPIPE.
    QByteArray large = kPayload;
    large.insert(1, "\"padding\":\"" + QByteArray(1 << 20, 'p') + "\",");
    QTest::newRow("previous: closes its input early")
        << backupOf("exec 0<&-; printf closed") << large << 0 << QByteArray("closed");
}

void StatusLineHelperTest::runs()
{
    QFETCH(QByteArray, backup);
    QFETCH(QByteArray, input);
    QFETCH(int, status);
    QFETCH(QByteArray, output);
    TestHome home;
    if (!backup.isEmpty())
        saveBackup(home, backup);
    home.writeFile(QStringLiteral(".local/share/Limitra/claude-statusline.json"), "earlier");
    const LimitraRun run = runLimitra(kHelper, input, home.environment());
    QVERIFY(run.finished && !run.crashed);
    QCOMPARE(run.exitCode, status);
    QCOMPARE(run.output, output);
    QVERIFY(run.errors.isEmpty());
    // Stored exactly as received, before the previous command runs, or the
    // last payload stays.
    QCOMPARE(readAll(payloadFile(home)), status == 2 ? QByteArray("earlier") : input);
    QCOMPARE(QDir(home.appDirectory()).entryList(QDir::Files | QDir::Hidden).size(), backup.isEmpty() ? 1 : 2);
}

void StatusLineHelperTest::previousCommand_data()
{
    QTest::addColumn<QByteArray>("backup");
    QTest::addColumn<QByteArray>("output"); // null: no usable previous line
    const QByteArray none;
    QTest::newRow("several lines and the user's shell syntax")
        << backupOf("a=Opus; printf \"$a · $(echo ok)\\n  second line\"") << QByteArray("Opus · ok\n  second line");
    QTest::newRow("more than a pipe holds")
        << backupOf("head -c 300000 /dev/zero | tr '\\0' x") << QByteArray(300000, 'x');
    QTest::newRow("fails after printing") << backupOf("echo partial; exit 1") << none;
    QTest::newRow("killed by a signal") << backupOf("echo partial; kill -9 $$") << none;
    QTest::newRow("endless output") << backupOf("yes") << none;
    // A background process that inherited the command's output must not keep
    // the status line waiting past the command's end.
    QTest::newRow("leaves a process behind") << backupOf("sleep 30 & echo line") << QByteArray("line\n");
    // A pipeline that never ends is stopped at the limit, its whole group.
    QTest::newRow("never ends") << backupOf("sleep 7261 | cat") << none;
    // A bridge (of any copy) would call the helper again, and again.
    QTest::newRow("a bridge") << backupOf("echo '/old/limitra --claude-statusline'") << none;
    QTest::newRow("backup: not JSON") << QByteArray("{statusLine") << none;
    QTest::newRow("backup: JSON only to a lax reader")
        << QByteArray(R"({"statusLine":{"type":"command","command":"echo no","padding":.5}})") << none;
    QTest::newRow("backup: other type") << QByteArray(R"({"statusLine":{"type":"static","command":"echo no"}})")
                                        << none;
    QTest::newRow("backup: command not a string")
        << QByteArray(R"({"statusLine":{"type":"command","command":["echo"]}})") << none;
}

void StatusLineHelperTest::previousCommand()
{
    QFETCH(QByteArray, backup);
    QFETCH(QByteArray, output);
    TestHome home;
    home.activate();
    saveBackup(home, backup);
    // A short limit where none is expected: an early stop cannot change the verdict.
    const auto limit =
        output.isNull() ? std::chrono::milliseconds(300) : ClaudeStatusLineHelper::kPreviousCommandTimeLimit;
    const Result<std::optional<QByteArray>> previous = ClaudeStatusLineHelper::runOriginalStatusLine(kPayload, limit);
    QVERIFY(previous.ok());
    QCOMPARE(previous->value_or(QByteArray()), output);
    QCOMPARE(previous->has_value(), !output.isNull());
    const auto sleeper = [](pid_t, const QByteArray &commandLine) {
        return commandLine.startsWith("sleep") && commandLine.contains("7261");
    };
    QTRY_COMPARE(runningProcessesWhere(sleeper), QList<pid_t>());
}

void StatusLineHelperTest::readerThatClosesOutputEarly()
{
    TestHome home;
    ChildOptions options;
    options.program = QStringLiteral(LIMITRA_EXECUTABLE);
    options.arguments = kHelper;
    options.environment.emplace();
    for (const QString &entry : home.environment().toStringList())
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
    QTest::addColumn<int>("limitMs");
    QTest::addColumn<bool>("finished");
    // Claude Code may keep its end of the pipe open: the bytes alone must
    // decide, long before the (here one-hour) limit. A reader that waits for
    // more never returns, and the test runner's limit fails the test.
    const int hour = 3600 * 1000;
    QTest::newRow("complete payload") << kPayload + "\n" << hour << true;
    QTest::newRow("bare string") << QByteArray("\"abc\"") << hour << false;
    QTest::newRow("bare number") << QByteArray(" 42") << hour << false;
    QTest::newRow("byte-order mark before an object") << QByteArray("\xEF\xBB\xBF{}") << hour << false;
    QTest::newRow("stray closing bracket") << QByteArray("]") << hour << false;
    QTest::newRow("never completes, time is up") << QByteArray(R"({"rate_limits": {"five_hour": )") << 0 << false;
}

void StatusLineHelperTest::inputLeftOpen()
{
    QFETCH(QByteArray, input);
    QFETCH(int, limitMs);
    QFETCH(bool, finished);
    int pipeEnds[2];
    QCOMPARE(::pipe(pipeEnds), 0);
    QCOMPARE(::write(pipeEnds[1], input.constData(), size_t(input.size())), ssize_t(input.size()));
    const StatusLineInput result =
        readStatusLineInput(pipeEnds[0], std::chrono::milliseconds(limitMs), ClaudeStatusLineHelper::kMaxPayloadBytes);
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
    QCOMPARE(result.finished, finished);
    if (finished)
        QCOMPARE(result.bytes, input);
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
    // A process the shell started, not only the shell itself.
    saveBackup(home, backupOf(QStringLiteral("sleep 600 & echo $! > '%1'; wait").arg(pidFile)));
    QProcess helper;
    helper.setProcessEnvironment(home.environment());
    helper.start(QStringLiteral(LIMITRA_EXECUTABLE), kHelper);
    QVERIFY(helper.waitForStarted());
    helper.write(kPayload);
    helper.closeWriteChannel();
    QTRY_VERIFY_WITH_TIMEOUT(!readAll(pidFile).trimmed().isEmpty(), 10000);
    const pid_t sleeper = readAll(pidFile).trimmed().toInt();
    QVERIFY(isRunning(sleeper));

    ::kill(static_cast<pid_t>(helper.processId()), signalNumber);
    QVERIFY(helper.waitForFinished(5000));
    QCOMPARE(helper.exitStatus(), QProcess::CrashExit);
    QTRY_VERIFY_WITH_TIMEOUT(!isRunning(sleeper), 5000);
}

void StatusLineHelperTest::concurrentHelpersNeverExposeHalfAPayload()
{
    TestHome home;
    constexpr int kHelpers = 10;
    std::vector<std::unique_ptr<QProcess>> helpers;
    QSet<QByteArray> written;
    for (int i = 0; i < kHelpers; ++i) {
        // Payloads of different sizes, so a torn read would show.
        QByteArray payload = R"({"rate_limits":{"five_hour":{"used_percentage":)" + QByteArray::number(i)
                             + R"(}},"padding":")" + QByteArray(1000 + i * 5001, 'a' + char(i % 26)) + "\"}";
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
    const auto running = [&] {
        return std::any_of(helpers.begin(), helpers.end(),
                           [](const auto &process) { return process->state() != QProcess::NotRunning; });
    };
    while (running()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        const QByteArray content = readAll(payloadFile(home));
        if (content.isEmpty())
            continue; // not written yet
        ++reads;
        QVERIFY2(written.contains(content), "a reader saw a payload that no helper wrote whole");
    }
    for (const auto &process : helpers)
        QCOMPARE(process->exitCode(), 0);
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
    QTest::newRow("weekly only, huge") << QByteArray(R"({"rate_limits":{"seven_day":{"used_percentage":1e20}}})")
                                       << "Claude · 7d 100000000000000000000%\n";
    QTest::newRow("true counts as 1, as in the collector")
        << QByteArray(R"({"rate_limits":{"five_hour":{"used_percentage":true}}})") << "Claude · 5h 1%\n";
    QTest::newRow("empty object") << QByteArray("{}") << QString::fromUtf8(kWaiting);
    QTest::newRow("other windows never shown")
        << QByteArray(R"({"rate_limits":{"opus":{"used_percentage":5},"seven_day":{"used_percentage":"5"}}})")
        << QString::fromUtf8(kWaiting);
    QTest::newRow("rate limits not an object") << QByteArray(R"({"rate_limits":[1]})") << QString::fromUtf8(kWaiting);
}

void StatusLineHelperTest::summaryNumbers()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, summary);
    QCOMPARE(ClaudeStatusLineHelper::compactSummary(payload), summary);
}

QTEST_GUILESS_MAIN(StatusLineHelperTest)
#include "tst_StatusLineHelper.moc"
