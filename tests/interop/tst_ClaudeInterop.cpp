// Limitra's /usage probe against the real Claude Code CLI (installed by
// scripts/install-interop-clis). This machine cannot reach Claude's service:
// without an account the usage screen never appears, and the diagnostic must
// report that in time; with an account whose usage Claude Code has cached,
// it draws the screen offline, and the probe must read it right.
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "collectors/claude/ClaudeUsageProbe.h"
#include "system/ChildProcess.h"
#include "system/PseudoTerminal.h"
#include "tests/support/FakeTools.h"
#include "tests/support/LimitraProcess.h"
#include "tests/support/ResultChecks.h"
#include "tests/support/TestHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace {

// Stands in for Claude's API on 127.0.0.1: every POST to /v1/messages gets a
// short streamed answer with the subscription's rate-limit headers, which
// Claude Code passes to the status line as `rate_limits`.
class FakeMessagesApi : public QObject
{
public:
    FakeMessagesApi()
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { serve(socket); });
                connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    QString baseUrl() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }
    int messagesAnswered = 0;
    const qint64 fiveHourReset = QDateTime::currentSecsSinceEpoch() + 3600;

private:
    void serve(QTcpSocket *socket)
    {
        QByteArray &request = m_pending[socket];
        request += socket->readAll();
        const qsizetype headerEnd = request.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        const QByteArray head = request.left(headerEnd);
        qsizetype length = 0;
        for (const QByteArray &line : head.split('\n')) {
            if (line.toLower().startsWith("content-length:"))
                length = line.mid(15).trimmed().toLongLong();
        }
        if (request.size() < headerEnd + 4 + length)
            return;
        const QByteArray requestLine = head.left(head.indexOf('\r'));
        request.remove(0, headerEnd + 4 + length);
        if (!requestLine.startsWith("POST /v1/messages") || requestLine.contains("count_tokens")) {
            socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
            return;
        }
        ++messagesAnswered;
        const QByteArray body = R"(event: message_start
data: {"type":"message_start","message":{"id":"msg_1","type":"message","role":"assistant","model":"claude-opus-4-1","content":[],"stop_reason":null,"stop_sequence":null,"usage":{"input_tokens":5,"output_tokens":1}}}

event: content_block_start
data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":""}}

event: content_block_delta
data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"Hello."}}

event: content_block_stop
data: {"type":"content_block_stop","index":0}

event: message_delta
data: {"type":"message_delta","delta":{"stop_reason":"end_turn","stop_sequence":null},"usage":{"output_tokens":2}}

event: message_stop
data: {"type":"message_stop"}

)";
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nContent-Length: "
                      + QByteArray::number(body.size())
                      + "\r\nanthropic-ratelimit-unified-status: allowed"
                        "\r\nanthropic-ratelimit-unified-5h-utilization: 0.42"
                        "\r\nanthropic-ratelimit-unified-5h-reset: "
                      + QByteArray::number(fiveHourReset)
                      + "\r\nanthropic-ratelimit-unified-7d-utilization: 0.13"
                        "\r\nanthropic-ratelimit-unified-7d-reset: "
                      + QByteArray::number(fiveHourReset + 3 * 86400) + "\r\n\r\n" + body);
    }

    QTcpServer m_server;
    QHash<QTcpSocket *, QByteArray> m_pending;
};

// A signed-in Max account (token strings are never sent anywhere) whose usage
// Claude Code fetched a moment ago, so that /usage draws it from its cache.
void writeOfflineAccount(const TestHome &home)
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    const QString account = QStringLiteral("00000000-0000-4000-8000-000000000001");
    home.writeFile(QStringLiteral(".claude/.credentials.json"),
                   QJsonDocument(QJsonObject{{"claudeAiOauth",
                                              QJsonObject{{"accessToken", "sk-ant-oat01-offline"},
                                                          {"refreshToken", "sk-ant-ort01-offline"},
                                                          {"expiresAt", now + 86400000},
                                                          {"scopes", QJsonArray{"user:inference", "user:profile"}},
                                                          {"subscriptionType", "max"}}}})
                       .toJson());
    const auto window = [](double used, const char *resetsAt) {
        return QJsonObject{{"utilization", used}, {"resets_at", resetsAt}};
    };
    const QJsonObject utilization{
        {"five_hour", window(99, "2026-11-23T03:05:00Z")},
        {"seven_day", window(58, "2027-01-06T01:48:00Z")},
        {"seven_day_sonnet", window(12, "2027-01-06T01:48:00Z")},
        // 24.68 % is drawn as a bar of "25%" before the text's "24% used".
        {"extra_usage", QJsonObject{{"is_enabled", true},
                                    {"monthly_limit", 5000},
                                    {"used_credits", 1234},
                                    {"utilization", 24.68},
                                    {"currency", "USD"}}},
    };
    home.writeFile(
        QStringLiteral(".claude.json"),
        QJsonDocument(
            QJsonObject{{"hasCompletedOnboarding", true},
                        {"oauthAccount", QJsonObject{{"accountUuid", account},
                                                     {"emailAddress", "dev@example.com"},
                                                     {"organizationUuid", "00000000-0000-4000-8000-000000000002"}}},
                        {"cachedUsageUtilization",
                         QJsonObject{{"fetchedAtMs", now}, {"accountUuid", account}, {"utilization", utilization}}}})
            .toJson());
}

// The words a terminal screen shows, in the order they were drawn: the
// terminal may draw a space as a cursor move ("Limitra ESC[11G· ESC[13Gwaiting"),
// so every escape sequence counts as a space and runs of spaces as one.
QString drawnWords(const QByteArray &screen)
{
    static const QRegularExpression operatingSystemCommand(QStringLiteral("\x1B\\][^\x07\x1B]*(?:\x07|\x1B\\\\)"));
    static const QRegularExpression sequence(QStringLiteral("\x1B(?:\\[[0-?]*[ -/]*[@-~]|[()*+][0-~]|[0-~])"));
    static const QRegularExpression spaces(QStringLiteral("\\s+"));
    QString text = QString::fromUtf8(screen);
    text.replace(operatingSystemCommand, QStringLiteral(" "));
    text.replace(sequence, QStringLiteral(" "));
    text.replace(spaces, QStringLiteral(" "));
    return text;
}

const UsageWindow *windowWithId(const ProviderSnapshot &snapshot, const QString &id)
{
    for (const UsageWindow &window : snapshot.windows) {
        if (window.id == id)
            return &window;
    }
    return nullptr;
}

} // namespace

class ClaudeInteropTest : public QObject
{
    Q_OBJECT

private:
    QString m_claude;

    // Processes still running from the installation (the launcher and the
    // native program it runs both live in node_modules).
    QList<pid_t> claudeProcesses() const
    {
        const QByteArray installation =
            QFile::encodeName(QDir(QFileInfo(m_claude).absolutePath() + QStringLiteral("/..")).canonicalPath());
        const QString target = QFileInfo(m_claude).canonicalFilePath();
        return runningProcessesWhere([&](pid_t pid, const QByteArray &commandLine) {
            return commandLine.contains(installation)
                   || QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid)).symLinkTarget() == target;
        });
    }

private Q_SLOTS:
    void initTestCase();
    void signedOutIsReportedAtOnce();
    void probeReadsTheRealScreen();
    void statusLineBridgeWithTheRealClaude();
};

void ClaudeInteropTest::initTestCase()
{
    m_claude = qEnvironmentVariable("LIMITRA_INTEROP_CLAUDE");
    QVERIFY2(QFileInfo(m_claude).isExecutable(), "run through `make interop`, which installs the real CLI");
}

void ClaudeInteropTest::signedOutIsReportedAtOnce()
{
    TestHome home;
    QProcessEnvironment environment = home.environment();
    environment.insert(QStringLiteral("PATH"), QFileInfo(m_claude).absolutePath() + QStringLiteral(":/usr/bin:/bin"));
    environment.insert(QStringLiteral("ANTHROPIC_API_KEY"), QStringLiteral("sk-not-a-key"));
    // The bridge, installed the way a user would: through the status line.
    home.writeFile(QStringLiteral(".claude/settings.json"),
                   "{\"statusLine\": {\"type\": \"command\", \"command\": \"'" LIMITRA_EXECUTABLE
                   "' --claude-statusline\"}}");

    const LimitraRun run = runLimitra({QStringLiteral("--check-claude")}, {}, environment, 60000);
    QVERIFY(run.finished);
    QCOMPARE(run.exitCode, 1);
    QVERIFY(run.output.isEmpty());
    // Claude Code 2.1.329 greets a home without its settings as a first run:
    // that is a signed-out user, told so at once rather than at the limit.
    QCOMPARE(run.errors, QByteArray("Claude collector failed: Claude Code is not signed in. "
                                    "Run `claude auth login` and try again.\n"));
    QTRY_COMPARE_WITH_TIMEOUT(claudeProcesses(), QList<pid_t>(), 3000);
    QVERIFY(QFileInfo(home.appDirectory() + QStringLiteral("/ClaudeProbe")).isDir());
}

void ClaudeInteropTest::probeReadsTheRealScreen()
{
    TestHome home;
    home.activate();
    writeOfflineAccount(home);
    qputenv("DISABLE_AUTOUPDATER", "1");
    qputenv("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1");
    qputenv("TZ", "UTC");
    const Result<ProviderSnapshot> snapshot = ClaudeUsageProbe::collectSnapshot(m_claude, 20);
    QVERIFY_OK(snapshot);
    QCOMPARE(snapshot->planName, std::optional<QString>(QStringLiteral("Max")));
    QCOMPARE(snapshot->creditBalance, std::optional<QString>(QStringLiteral("$12.34 of $50.00")));
    const UsageWindow *session = windowWithId(*snapshot, QStringLiteral("claude.five_hour"));
    const UsageWindow *week = windowWithId(*snapshot, QStringLiteral("claude.seven_day"));
    const UsageWindow *credits = windowWithId(*snapshot, QStringLiteral("claude.credits"));
    QVERIFY(session && week && credits);
    QCOMPARE(session->usedPercent, 99.0);
    QCOMPARE(credits->usedPercent, 24.0); // the text's figure, not the bar's
    QCOMPARE(week->usedPercent, 58.0);
    QCOMPARE(week->resetsAt, std::optional(QDateTime(QDate(2027, 1, 6), QTime(1, 48), Qt::UTC)));
    QTRY_COMPARE_WITH_TIMEOUT(claudeProcesses(), QList<pid_t>(), 3000);
}

void ClaudeInteropTest::statusLineBridgeWithTheRealClaude()
{
    // A session of the real CLI in a terminal, with the bridge installed the
    // way Limitra installs it, sends one prompt to the fake API: Claude Code
    // runs the helper, which records the payload and prints the summary that
    // Claude Code then shows as its status line.
    TestHome home;
    home.activate();
    FakeMessagesApi api;
    const QString project = home.path() + QStringLiteral("/project");
    QVERIFY(QDir().mkpath(project));
    home.writeFile(
        QStringLiteral(".claude.json"),
        QJsonDocument(QJsonObject{{"hasCompletedOnboarding", true},
                                  {"projects", QJsonObject{{project, QJsonObject{{"hasTrustDialogAccepted", true}}}}}})
            .toJson());
    QVERIFY_OK(ClaudeIntegrationManager::install(QFileInfo(QStringLiteral(LIMITRA_EXECUTABLE)).absoluteFilePath()));

    Result<std::unique_ptr<PseudoTerminal>> terminal = PseudoTerminal::open(160, 50);
    QVERIFY_OK(terminal);
    ChildOptions options;
    options.program = m_claude;
    options.workingDirectory = project;
    options.terminal = (*terminal)->slavePath();
    QProcessEnvironment environment = home.environment();
    environment.insert(QStringLiteral("ANTHROPIC_BASE_URL"), api.baseUrl());
    environment.insert(QStringLiteral("CLAUDE_CODE_OAUTH_TOKEN"), QStringLiteral("offline"));
    environment.insert(QStringLiteral("DISABLE_AUTOUPDATER"), QStringLiteral("1"));
    environment.insert(QStringLiteral("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC"), QStringLiteral("1"));
    environment.insert(QStringLiteral("PWD"), project);
    // A terminal session always names its terminal; without TERM Claude Code
    // draws no status line at all (CI runs with an empty environment).
    environment.insert(QStringLiteral("TERM"), QStringLiteral("xterm-256color"));
    environment.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    options.environment = QList<QByteArray>();
    for (const QString &entry : environment.toStringList())
        options.environment->append(entry.toUtf8());
    Result<std::unique_ptr<ChildProcess>> claude = ChildProcess::start(options);
    QVERIFY_OK(claude);
    (*terminal)->closeSlave();
    auto stopClaude = qScopeGuard([&] { (*claude)->stopGroup(std::chrono::seconds(2)); });

    QByteArray screen;
    const auto shows = [&](const QString &text) {
        (*terminal)->readAvailable(screen);
        return drawnWords(screen).contains(text);
    };
    // The status line runs at start, before any usage is known.
    QTRY_VERIFY2_WITH_TIMEOUT(
        shows(QStringLiteral("Limitra · waiting for Claude usage")),
        qPrintable(QStringLiteral("the screen ends: %1").arg(QString::fromUtf8(screen.right(600)))), 60000);
    (*terminal)->write("hi");
    QTest::qWait(500);
    (*terminal)->write("\r");
    QTRY_VERIFY2_WITH_TIMEOUT(shows(QStringLiteral("Claude · 5h 42%")) && shows(QStringLiteral("7d 13%")),
                              qPrintable(QStringLiteral("%1 answers; the screen ends: %2")
                                             .arg(api.messagesAnswered)
                                             .arg(QString::fromUtf8(screen.right(600)))),
                              60000);
    QVERIFY(api.messagesAnswered >= 1);

    const QJsonObject payload =
        QJsonDocument::fromJson(readAll(home.appDirectory() + QStringLiteral("/claude-statusline.json"))).object();
    const QJsonObject fiveHour = payload.value("rate_limits").toObject().value("five_hour").toObject();
    QCOMPARE(fiveHour.value("used_percentage").toDouble(), 42.0);
    QCOMPARE(qint64(fiveHour.value("resets_at").toDouble()), api.fiveHourReset);

    (*terminal)->write("\x03\x03");
    (*claude)->stopGroup(std::chrono::seconds(2));
    stopClaude.dismiss();
    QTRY_COMPARE_WITH_TIMEOUT(claudeProcesses(), QList<pid_t>(), 5000);
}

QTEST_GUILESS_MAIN(ClaudeInteropTest)
#include "tst_ClaudeInterop.moc"
