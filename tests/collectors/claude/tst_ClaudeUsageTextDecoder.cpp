// Reading Claude Code's /usage screen, as drawn into a terminal.
#include "collectors/claude/ClaudeUsageTextDecoder.h"
#include "tests/support/ResultChecks.h"

#include <QTimeZone>
#include <QtTest>

namespace {

const QTimeZone kBerlin("Europe/Berlin");
const QTimeZone kLosAngeles("America/Los_Angeles");
// 2026-11-15 10:00 in Berlin.
const QDateTime kNow = QDateTime(QDate(2026, 11, 15), QTime(10, 0), kBerlin).toUTC();

QString esc(const char *sequence)
{
    return QStringLiteral("\x1B") + QString::fromLatin1(sequence);
}

// A /usage screen shaped like Claude Code's: colours, cursor moves, progress bars.
QString usageScreen()
{
    return esc("]0;claude\x07") + esc("[2J") + esc("[H") + QStringLiteral(" ✻ Welcome to Claude Code\r\n")
           + QStringLiteral("  Opus 4.1 · Claude Max · someone's Organization\r\n\r\n") + esc("[1m")
           + QStringLiteral("  Current session") + esc("[22m") + QStringLiteral("\r\n  ") + esc("[38;5;75m")
           + QStringLiteral("███████████████▌") + esc("[39m") + QStringLiteral("                       31% used\r\n")
           + QStringLiteral("  Resets 2:59pm (Europe/Berlin)\r\n\r\n") + esc("[1m")
           + QStringLiteral("  Current week (all models)") + esc("[22m") + QStringLiteral("\r\n  ████▌") + esc("[10C")
           + QStringLiteral("9% used\r\n  Resets Nov 20 at 3pm (Europe/Berlin)\r\n\r\n")
           + QStringLiteral(
               "  Current week (Sonnet only)\r\n  ██ 14% used\r\n  Resets Nov 21, 9:30am (Europe/Berlin)\r\n")
           + QStringLiteral("  Current week (Opus)\r\n  ▌  2.5% used\r\n\r\n") + esc("[2K")
           + QStringLiteral("  Esc to cancel\r\n");
}

// Today's screen (Claude Code 2.1.329): each usage line holds the bar's rounded
// figure and then the exact one, the account line ends with the plan, resets
// in the next year name it, and the usage credits have a section of their own.
QString todaysScreen()
{
    return QStringLiteral("[Screen Reader Mode: on via flag]\r\n") + esc("7") + esc("8")
           + QStringLiteral("Claude Code v2.1.329\r\nOpus 5.5 · Claude Max\r\n") + esc("[2m")
           + QStringLiteral("you: /usage") + esc("[22m\r\n") + QStringLiteral("Settings  Status   Config   Usage\r\n")
           + QStringLiteral("Current session\r\n100% 99% used\r\nResets 3:05am (UTC)\r\n")
           + QStringLiteral("Current week (all models)\r\n58% 58% used\r\nResets Jan 6, 2027, 1:48am (UTC)\r\n")
           + QStringLiteral("Current week (Sonnet only)\r\n12% 12% used\r\nResets Jan 6, 2027, 1:48am (UTC)\r\n")
           + QStringLiteral("Current week (Fable)\r\n21% 21% used\r\nResets Jan 6, 2027, 1:48am (UTC)\r\n")
           + QStringLiteral("What's contributing to your usage?\r\nScanning local sessions…\r\n")
           + QStringLiteral("Usage credits\r\n25% 24% used\r\n$12.34 / $50.00 spent · Resets Jan 1 (UTC)\r\n")
           + esc("(B") + QStringLiteral("←/→ to switch · Esc to close");
}

QDateTime utc(int year, int month, int day, int hour, int minute = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC);
}

QDateTime berlin(int year, int month, int day, int hour, int minute = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), kBerlin).toUTC();
}

} // namespace

class ClaudeUsageTextDecoderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fullScreen();
    void todaysFullScreen();
    void redrawnScreenGivesWindowsOnce();
    void headersAndReach_data();
    void headersAndReach();
    void accountLine_data();
    void accountLine();
    void numbers_data();
    void numbers();
    void resets_data();
    void resets();
    void screenStates_data();
    void screenStates();
};

void ClaudeUsageTextDecoderTest::fullScreen()
{
    Result<ProviderSnapshot> result = ClaudeUsageTextDecoder::decode(usageScreen(), kNow);
    QVERIFY_OK(result);
    const ProviderSnapshot &snapshot = *result;
    QCOMPARE(snapshot.provider, UsageProvider::claude);
    QCOMPARE(snapshot.source, UsageSource::claudeUsageCommand);
    QCOMPARE(snapshot.state, CollectorState::fallback);
    QCOMPARE(snapshot.collectedAt, kNow);
    QCOMPARE(snapshot.planName, QStringLiteral("Max"));
    QCOMPARE(snapshot.modelName, QStringLiteral("Opus 4.1"));
    QCOMPARE(snapshot.message,
             QStringLiteral("Refreshed through Claude /usage because no active terminal status line was available."));
    QCOMPARE(snapshot.windows.size(), 4);
    // The Opus week has no reset line of its own: it gets the all-models week's.
    QCOMPARE(snapshot.windows[0], (UsageWindow{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), 31,
                                               berlin(2026, 11, 15, 14, 59), 300, std::nullopt}));
    QCOMPARE(snapshot.windows[1], (UsageWindow{QStringLiteral("claude.seven_day"), QStringLiteral("Weekly"), 9,
                                               berlin(2026, 11, 20, 15), 10080, std::nullopt}));
    QCOMPARE(snapshot.windows[2], (UsageWindow{QStringLiteral("claude.sonnet_weekly"), QStringLiteral("Sonnet"), 14,
                                               berlin(2026, 11, 21, 9, 30), 10080, QStringLiteral("Sonnet")}));
    QCOMPARE(snapshot.windows[3], (UsageWindow{QStringLiteral("claude.opus_weekly"), QStringLiteral("Opus"), 2.5,
                                               berlin(2026, 11, 20, 15), 10080, QStringLiteral("Opus")}));
}

void ClaudeUsageTextDecoderTest::todaysFullScreen()
{
    // 2026-12-28 20:00 UTC: the weekly resets fall in the next year.
    const QDateTime now = utc(2026, 12, 28, 20);
    Result<ProviderSnapshot> result = ClaudeUsageTextDecoder::decode(todaysScreen(), now);
    QVERIFY_OK(result);
    QCOMPARE(result->planName, QStringLiteral("Max"));
    QCOMPARE(result->modelName, QStringLiteral("Opus 5.5"));
    QCOMPARE(result->creditBalance, QStringLiteral("$12.34 of $50.00"));
    const QDateTime weekEnd = utc(2027, 1, 6, 1, 48);
    const QList<UsageWindow> expected{
        {QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), 99, utc(2026, 12, 29, 3, 5), 300, std::nullopt},
        {QStringLiteral("claude.seven_day"), QStringLiteral("Weekly"), 58, weekEnd, 10080, std::nullopt},
        {QStringLiteral("claude.sonnet_weekly"), QStringLiteral("Sonnet"), 12, weekEnd, 10080,
         QStringLiteral("Sonnet")},
        {QStringLiteral("claude.fable_weekly"), QStringLiteral("Fable"), 21, weekEnd, 10080, QStringLiteral("Fable")},
        {QStringLiteral("claude.credits"), QStringLiteral("Credits"), 24, utc(2027, 1, 1, 0), std::nullopt,
         std::nullopt},
    };
    QCOMPARE(result->windows, expected);
}

void ClaudeUsageTextDecoderTest::redrawnScreenGivesWindowsOnce()
{
    // A screen drawn twice (or a hostile one repeating a section): one window
    // per id, the first drawing's.
    QString second = usageScreen();
    second.replace(QStringLiteral("% used"), QStringLiteral("1% used"));
    Result<ProviderSnapshot> result = ClaudeUsageTextDecoder::decode(usageScreen() + second, kNow);
    QVERIFY_OK(result);
    Result<ProviderSnapshot> once = ClaudeUsageTextDecoder::decode(usageScreen(), kNow);
    QVERIFY_OK(once);
    QCOMPARE(result->windows, once->windows);
}

void ClaudeUsageTextDecoderTest::headersAndReach_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("ids");
    QTest::newRow("no window at all") << "Welcome to Claude Code\nNot logged in" << QStringList();
    QTest::newRow("session with suffix is no header") << "Current session (5h)\n45% used" << QStringList();
    QTest::newRow("usage line four lines down")
        << "Current session\na\nb\nc\n10% Used" << QStringList{QStringLiteral("claude.five_hour")};
    QTest::newRow("usage line five lines down") << "Current session\na\nb\nc\nd\n10% used" << QStringList();
    QTest::newRow("blank lines do not count")
        << "Current session\n\n\n  \n\na\n\n10% used" << QStringList{QStringLiteral("claude.five_hour")};
    QTest::newRow("all models any case") << "CURRENT WEEK (All Models)\n5% used"
                                         << QStringList{QStringLiteral("claude.seven_day")};
    QTest::newRow("empty parentheses") << "Current week ()\n5% used" << QStringList{QStringLiteral("claude._weekly")};
    QTest::newRow("header inside a usage reach")
        << "Current session\nCurrent week (all models)\n5% used"
        << QStringList{QStringLiteral("claude.five_hour"), QStringLiteral("claude.seven_day")};
    QTest::newRow("unicode line separator")
        << QStringLiteral("Current session\u202812% used") << QStringList{QStringLiteral("claude.five_hour")};
}

void ClaudeUsageTextDecoderTest::headersAndReach()
{
    QFETCH(QString, text);
    QFETCH(QStringList, ids);
    Result<ProviderSnapshot> result = ClaudeUsageTextDecoder::decode(text, kNow);
    QStringList found;
    for (const UsageWindow &window : result ? result->windows : QList<UsageWindow>()) {
        found.append(window.id);
        QVERIFY(window.usedPercent > 0);
    }
    QCOMPARE(found, ids);
}

void ClaudeUsageTextDecoderTest::accountLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("plan");  // "-" for none
    QTest::addColumn<QString>("model"); // "-" for none
    QTest::newRow("two words") << QString("Sonnet 4.5 · Claude Team Premium · Acme") << "Team Premium"
                               << "Sonnet 4.5";
    QTest::newRow("no account line") << QString("Claude Max") << "-"
                                     << "-";
}

void ClaudeUsageTextDecoderTest::accountLine()
{
    QFETCH(QString, line);
    QFETCH(QString, plan);
    QFETCH(QString, model);
    Result<ProviderSnapshot> result =
        ClaudeUsageTextDecoder::decode(line + QStringLiteral("\nCurrent session\n1% used"), kNow);
    QVERIFY_OK(result);
    QCOMPARE(result->planName, plan == QLatin1String("-") ? std::nullopt : std::optional<QString>(plan));
    QCOMPARE(result->modelName, model == QLatin1String("-") ? std::nullopt : std::optional<QString>(model));
}

void ClaudeUsageTextDecoderTest::numbers_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QVariant>("number"); // none: no percentage read
    QTest::newRow("bar before") << "▌▌▌ 23% used" << QVariant(23.0);
    QTest::newRow("rounded bar figure, then the exact one") << "100% 99% used" << QVariant(99.0);
    QTest::newRow("fraction") << "4.5% Used" << QVariant(4.5);
    QTest::newRow("negative") << "-5% used" << QVariant(-5.0);
    QTest::newRow("after used, at the first percent sign") << "version 2 used 10%" << QVariant(10.0);
    QTest::newRow("used, then the figure") << "Used 4.5% of limit" << QVariant(4.5);
    QTest::newRow("space before the sign") << "23 % used" << QVariant(23.0);
    QTest::newRow("no percent sign") << "10 used" << QVariant();
    QTest::newRow("two dots") << "1.2.3% used" << QVariant();
    QTest::newRow("nothing before") << "% used" << QVariant();
    QTest::newRow("exponent") << "1e308% used" << QVariant();
    QTest::newRow("glued to a word") << "abc5% used" << QVariant();
}

void ClaudeUsageTextDecoderTest::numbers()
{
    QFETCH(QString, line);
    QFETCH(QVariant, number);
    const std::optional<double> found = ClaudeUsageTextDecoder::usedPercent(line);
    QCOMPARE(found, number.isValid() ? std::optional<double>(number.toDouble()) : std::nullopt);
}

void ClaudeUsageTextDecoderTest::resets_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("expected"); // invalid: none

    QTest::newRow("time already passed") << "Resets 9:00am (Europe/Berlin)" << kNow << berlin(2026, 11, 16, 9);
    QTest::newRow("date across the year end") << "Resets Jan 2 at 5am (Europe/Berlin)" << kNow << berlin(2027, 1, 2, 5);
    QTest::newRow("date within a day back stays")
        << "Resets Nov 14 at 11am (Europe/Berlin)" << kNow << berlin(2026, 11, 14, 11);
    QTest::newRow("hour without minutes") << "Resets 10pm (America/Los_Angeles)" << kNow
                                          << QDateTime(QDate(2026, 11, 15), QTime(22, 0), kLosAngeles).toUTC();
    QTest::newRow("date with comma") << "Resets Mar 5, 7pm (America/Los_Angeles)" << kNow
                                     << QDateTime(QDate(2027, 3, 5), QTime(19, 0), kLosAngeles).toUTC();
    QTest::newRow("date with its year, past") << "Resets Jan 6, 2026, 1:48am (UTC)" << kNow << utc(2026, 1, 6, 1, 48);
    QTest::newRow("date with a year that lacks it") << "Resets Feb 29, 2027, 1am (UTC)" << kNow << QDateTime();
    QTest::newRow("date with minutes and at")
        << "Resets Dec 1 at 3:15pm (Europe/Berlin)" << kNow << berlin(2026, 12, 1, 15, 15);
    // kNow is a Sunday; the next Saturday is six days on.
    QTest::newRow("weekday") << "Resets Sat 5:00 AM (Europe/Berlin)" << kNow << berlin(2026, 11, 21, 5);
    QTest::newRow("same weekday later today") << "Resets Sun 11pm (Europe/Berlin)" << kNow << berlin(2026, 11, 15, 23);
    QTest::newRow("same weekday, passed: a week on")
        << "Resets Sun 9am (Europe/Berlin)" << kNow << berlin(2026, 11, 22, 9);
    QTest::newRow("midnight just after midnight")
        << "Resets 12:00am (Europe/Berlin)" << berlin(2026, 11, 15, 0) << berlin(2026, 11, 16, 0);
    QTest::newRow("noon") << "Resets 12pm (Europe/Berlin)" << kNow << berlin(2026, 11, 15, 12);
    QTest::newRow("new year's eve, time passed")
        << "Resets 1:00am (Europe/Berlin)" << berlin(2026, 12, 31, 23, 30) << berlin(2027, 1, 1, 1);
    QTest::newRow("lower-case prefix is not understood") << "resets 2:59pm (Europe/Berlin)" << kNow << QDateTime();
    QTest::newRow("hour out of range") << "Resets 13:00pm (Europe/Berlin)" << kNow << QDateTime();
    QTest::newRow("no such day") << "Resets Feb 30 at 3pm (Europe/Berlin)" << kNow << QDateTime();
    QTest::newRow("not a month") << "Resets Foo 3 at 3pm (Europe/Berlin)" << kNow << QDateTime();
    QTest::newRow("no time") << "Resets soon" << kNow << QDateTime();
    // Without a zone, or with one nobody knows, the system's zone counts.
    const QTimeZone system = QTimeZone::systemTimeZone();
    const QDateTime june = QDateTime(QDate(2026, 6, 10), QTime(8, 0), system);
    const QDateTime afternoon = QDateTime(QDate(2026, 6, 10), QTime(15, 0), system).toUTC();
    QTest::newRow("no zone") << "Resets 3pm" << june << afternoon;
    QTest::newRow("unknown zone") << "Resets 3pm (Mars/Olympus)" << june << afternoon;
}

void ClaudeUsageTextDecoderTest::resets()
{
    QFETCH(QString, line);
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, expected);
    const std::optional<QDateTime> reset = ClaudeUsageTextDecoder::parseReset(line, now);
    if (!expected.isValid()) {
        QVERIFY2(!reset, reset ? qPrintable(reset->toString(Qt::ISODate)) : "");
        return;
    }
    QVERIFY(reset);
    QCOMPARE(reset->toUTC(), expected);
}

void ClaudeUsageTextDecoderTest::screenStates_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("whole");
    QTest::addColumn<bool>("signedOut");
    const QString trust = QStringLiteral("Permission Required: Accessing workspace:\r\n/tmp/x\r\nEnter y/n:\r\n"
                                         "Enter to confirm · Esc to cancel");
    const QString loading = QStringLiteral("Settings  Status   Config   Usage\r\nLoading usage data…\r\n"
                                           "←/→ to switch · Esc to close");
    QTest::newRow("today's screen") << todaysScreen() << true << false;
    QTest::newRow("loading, then the sections without their footer")
        << loading + QStringLiteral("\r\nCurrent session\r\n1% 1% used") << false << false;
    QTest::newRow("trust question, then the loading screen") << trust + loading << false << false;
    QTest::newRow("weekly sections only")
        << QStringLiteral("Current week (all models)\r\n3% used\r\nEsc to cancel") << true << false;
    QTest::newRow("signed out") << QStringLiteral("Opus 5.5 · API Usage Billing\r\n") + esc("[31m")
                                       + QStringLiteral("Not logged in · run /login\r\n") + loading
                                << false << true;
    QTest::newRow("first run") << esc("7") + esc("8")
                                      + QStringLiteral("Welcome to Claude Code v2.1.329\r\n"
                                                       "Unable to connect to Anthropic services")
                               << false << true;
    QTest::newRow("welcome banner of older versions")
        << QStringLiteral(" ✻ Welcome to Claude Code!\r\n") << false << false;
}

void ClaudeUsageTextDecoderTest::screenStates()
{
    QFETCH(QString, text);
    QFETCH(bool, whole);
    QFETCH(bool, signedOut);
    QCOMPARE(ClaudeUsageTextDecoder::showsWholeScreen(text), whole);
    QCOMPARE(ClaudeUsageTextDecoder::showsSignedOut(text), signedOut);
}

QTEST_GUILESS_MAIN(ClaudeUsageTextDecoderTest)
#include "tst_ClaudeUsageTextDecoder.moc"
