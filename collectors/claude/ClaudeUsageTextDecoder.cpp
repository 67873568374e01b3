#include "collectors/claude/ClaudeUsageTextDecoder.h"

#include <QRegularExpression>
#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace ClaudeUsageTextDecoder {

namespace {

const QString kAccountMark = QStringLiteral(" · Claude ");

struct Header {
    QString id;
    QString label;
    std::optional<QString> scope;
    std::optional<qint64> windowMinutes;
};

const QString kCreditsId = QStringLiteral("claude.credits");

// Swift's notion of a newline: LF, VT, FF, CR, NEL and the Unicode line and
// paragraph separators.
bool isNewline(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x0A && u <= 0x0D) || u == 0x85 || u == 0x2028 || u == 0x2029;
}

QStringList cleanLines(QString text)
{
    static const QRegularExpression operatingSystemCommand(QStringLiteral("\x1B\\][^\x07]*\x07"));
    static const QRegularExpression controlSequence(QStringLiteral("\x1B\\[[0-?]*[ -/]*[@-~]"));
    // Cursor saves and restores ("ESC 7") and character set choices ("ESC ( B").
    static const QRegularExpression shortSequence(QStringLiteral("\x1B(?:[()*+][0-~]|[0-~])"));
    // A terminal may draw the space between two words as a move of the cursor
    // to the right ("Current ESC[9G session" reads "Current session").
    static const QRegularExpression cursorMoveRight(QStringLiteral("\x1B\\[[0-9;]*[CG]"));
    text.remove(operatingSystemCommand);
    text.replace(cursorMoveRight, QStringLiteral(" "));
    text.remove(controlSequence);
    text.remove(shortSequence);
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));

    QStringList lines;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i == text.size() || isNewline(text[i])) {
            const QString line = text.mid(start, i - start).trimmed();
            if (!line.isEmpty())
                lines.append(line);
            start = i + 1;
        }
    }
    return lines;
}

std::optional<Header> headerAt(const QString &line)
{
    if (line.compare(QLatin1String("Current session"), Qt::CaseInsensitive) == 0)
        return Header{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), std::nullopt, 300};
    if (line.compare(QLatin1String("Usage credits"), Qt::CaseInsensitive) == 0)
        return Header{kCreditsId, QStringLiteral("Credits"), std::nullopt, std::nullopt};
    const QString lower = line.toLower();
    const QString opening = QStringLiteral("current week (");
    if (!lower.startsWith(opening) || !lower.endsWith(QLatin1Char(')')))
        return std::nullopt;
    const QString inner = line.mid(opening.size(), line.size() - opening.size() - 1);
    if (inner.toLower() == QLatin1String("all models"))
        return Header{QStringLiteral("claude.seven_day"), QStringLiteral("Weekly"), std::nullopt, 10080};
    const QStringList words = inner.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString name = words.isEmpty() ? inner : words.first();
    return Header{QStringLiteral("claude.") + name.toLower() + QStringLiteral("_weekly"), name, name, 10080};
}

QString trimSpacesAndTabs(const QString &text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    const auto blank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    while (start < end && blank(text[start]))
        ++start;
    while (end > start && blank(text[end - 1]))
        --end;
    return text.mid(start, end - start);
}

// --- Reset lines -----------------------------------------------------------

struct ClockTime {
    int hour;   // 0-23
    int minute; // 0-59
};

// "3", "45" and "pm" (hour 1-12) as a 24-hour time.
std::optional<ClockTime> clockTime(const QString &hour, const QString &minute, const QString &meridiem)
{
    const int h = hour.toInt();
    const int m = minute.isEmpty() ? 0 : minute.toInt();
    if (h < 1 || h > 12 || m < 0 || m > 59)
        return std::nullopt;
    const bool afternoon = meridiem.compare(QLatin1String("pm"), Qt::CaseInsensitive) == 0;
    return ClockTime{h % 12 + (afternoon ? 12 : 0), m};
}

int monthNumber(const QString &name)
{
    static const QStringList months{QStringLiteral("january"), QStringLiteral("february"), QStringLiteral("march"),
                                    QStringLiteral("april"),   QStringLiteral("may"),      QStringLiteral("june"),
                                    QStringLiteral("july"),    QStringLiteral("august"),   QStringLiteral("september"),
                                    QStringLiteral("october"), QStringLiteral("november"), QStringLiteral("december")};
    const QString lower = name.toLower();
    for (int i = 0; i < months.size(); ++i) {
        if (lower == months[i] || lower == months[i].left(3) || (i == 8 && lower == QLatin1String("sept")))
            return i + 1;
    }
    return 0;
}

int weekdayNumber(const QString &name)
{
    static const QStringList days{QStringLiteral("monday"),   QStringLiteral("tuesday"), QStringLiteral("wednesday"),
                                  QStringLiteral("thursday"), QStringLiteral("friday"),  QStringLiteral("saturday"),
                                  QStringLiteral("sunday")};
    const QString lower = name.toLower();
    for (int i = 0; i < days.size(); ++i) {
        if (lower == days[i] || lower == days[i].left(3))
            return i + 1; // Qt's numbering: Monday is 1
    }
    return 0;
}

QDateTime at(const QDate &date, ClockTime time, const QTimeZone &zone)
{
    return {date, QTime(time.hour, time.minute), zone};
}

// The zone named by a trailing "(Area/City)", else the system's.
QTimeZone zoneOf(const QString &text)
{
    static const QRegularExpression trailingZone(QStringLiteral("\\(([^)]+)\\)$"));
    const QRegularExpressionMatch match = trailingZone.match(text);
    if (match.hasMatch()) {
        const QByteArray id = match.captured(1).toUtf8();
        if (QTimeZone::isTimeZoneIdAvailable(id))
            return QTimeZone(id);
    }
    return QTimeZone::systemTimeZone();
}

// The reset part of a line: the whole line ("Resets 3:05am (UTC)") or what
// follows " · " ("$12.34 / $50.00 spent · Resets Dec 1 (UTC)").
std::optional<QString> resetText(const QString &line)
{
    if (line.startsWith(QLatin1String("resets "), Qt::CaseInsensitive))
        return line;
    const qsizetype at = line.indexOf(QStringLiteral(" · Resets "));
    if (at < 0)
        return std::nullopt;
    return line.mid(at + 3);
}

// "$12.34 / $50.00 spent" as "$12.34 of $50.00".
std::optional<QString> creditsSpent(const QString &line)
{
    static const QRegularExpression spent(QStringLiteral("^(\\S+) / (\\S+) spent\\b"));
    const QRegularExpressionMatch match = spent.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    return match.captured(1) + QStringLiteral(" of ") + match.captured(2);
}

} // namespace

std::optional<QDateTime> parseReset(const QString &text, const QDateTime &now)
{
    const QTimeZone zone = zoneOf(text);
    static const QRegularExpression zoneGroup(QStringLiteral("\\s*\\([^)]+\\)$"));
    QString cleaned = text;
    cleaned.remove(QStringLiteral("Resets "));
    cleaned.replace(zoneGroup, QString());
    cleaned = cleaned.trimmed();
    const QDate today = now.toTimeZone(zone).date();

    // A time of day: today's, or tomorrow's once it has passed.
    static const QRegularExpression timeOnly(QStringLiteral("^(\\d{1,2})(?::(\\d{2}))?\\s*([ap]m)$"),
                                             QRegularExpression::CaseInsensitiveOption);
    if (const QRegularExpressionMatch match = timeOnly.match(cleaned); match.hasMatch()) {
        const std::optional<ClockTime> time = clockTime(match.captured(1), match.captured(2), match.captured(3));
        if (!time)
            return std::nullopt;
        const QDateTime moment = at(today, *time, zone);
        return (moment > now ? moment : at(today.addDays(1), *time, zone)).toUTC();
    }

    // A weekday and a time: the next such moment.
    static const QRegularExpression weekdayTime(
        QStringLiteral("^([a-z]+)\\.?,?\\s+(\\d{1,2})(?::(\\d{2}))?\\s*([ap]m)$"),
        QRegularExpression::CaseInsensitiveOption);
    if (const QRegularExpressionMatch match = weekdayTime.match(cleaned); match.hasMatch()) {
        const int weekday = weekdayNumber(match.captured(1));
        const std::optional<ClockTime> time = clockTime(match.captured(2), match.captured(3), match.captured(4));
        if (weekday == 0 || !time)
            return std::nullopt;
        QDate date = today.addDays((weekday - today.dayOfWeek() + 7) % 7);
        QDateTime moment = at(date, *time, zone);
        if (moment <= now)
            moment = at(date.addDays(7), *time, zone);
        return moment.toUTC();
    }

    // A date, with or without its year and a time of day ("Dec 1", "Nov 20 at 3pm",
    // "Jan 6, 2027, 1:48am"). Without a year: this year, or next year when that
    // lies more than a day back. Without a time: the start of that day.
    static const QRegularExpression dateTime(
        QStringLiteral("^([a-z]+)\\.?\\s+(\\d{1,2})(?:,\\s*(\\d{4}))?"
                       "(?:(?:,|\\s+at|,\\s+at)\\s*(\\d{1,2})(?::(\\d{2}))?\\s*([ap]m))?$"),
        QRegularExpression::CaseInsensitiveOption);
    if (const QRegularExpressionMatch match = dateTime.match(cleaned); match.hasMatch()) {
        const int month = monthNumber(match.captured(1));
        const int day = match.captured(2).toInt();
        std::optional<ClockTime> time = ClockTime{0, 0};
        if (match.hasCaptured(4))
            time = clockTime(match.captured(4), match.captured(5), match.captured(6));
        if (month == 0 || !time)
            return std::nullopt;
        if (match.hasCaptured(3)) {
            const QDate date(match.captured(3).toInt(), month, day);
            return date.isValid() ? std::optional<QDateTime>(at(date, *time, zone).toUTC()) : std::nullopt;
        }
        for (int year : {today.year(), today.year() + 1}) {
            const QDate date(year, month, day);
            if (!date.isValid())
                continue; // Feb 29 outside a leap year
            const QDateTime moment = at(date, *time, zone);
            if (moment >= now.addDays(-1))
                return moment.toUTC();
        }
        return std::nullopt;
    }
    return std::nullopt;
}

// The number that ends `text`.
std::optional<double> numberAtEnd(QStringView text)
{
    // A plain decimal, and no part of a word ("1e308", "abc5"); bar glyphs may
    // touch it, since the terminal draws some spaces as cursor moves.
    qsizetype start = text.size();
    while (start > 0
           && (text[start - 1].isDigit() || text[start - 1] == QLatin1Char('.') || text[start - 1] == QLatin1Char('-')))
        --start;
    if (start > 0 && (text[start - 1].isLetter() || text[start - 1] == QLatin1Char('+')))
        return std::nullopt;
    static const QRegularExpression decimal(QStringLiteral("^-?[0-9]+(\\.[0-9]+)?$"));
    const QStringView word = text.mid(start);
    if (!decimal.match(word).hasMatch())
        return std::nullopt;
    bool ok = false;
    const double value = word.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<double> usedPercent(const QString &line)
{
    const qsizetype usedAt = line.indexOf(QLatin1String("used"), 0, Qt::CaseInsensitive);
    if (usedAt < 0)
        return std::nullopt;
    // The percentage just before "used" ("100% 99% used" shows a rounded bar
    // figure, then the exact one); otherwise the one at the line's first "%"
    // ("Used 4.5% of limit").
    const QStringView before = QStringView(line).left(usedAt).trimmed();
    if (before.endsWith(QLatin1Char('%')))
        return numberAtEnd(before.chopped(1).trimmed());
    const qsizetype percent = line.indexOf(QLatin1Char('%'));
    if (percent < 0)
        return std::nullopt;
    return numberAtEnd(QStringView(line).left(percent).trimmed());
}

std::optional<QString> planName(const QStringList &lines)
{
    for (const QString &line : lines) {
        if (!line.contains(kAccountMark))
            continue;
        // "Claude Max" may end the line or be followed by the organisation.
        static const QRegularExpression plan(QStringLiteral(" · Claude ([^·]+?)\\s*(?: · |$)"));
        const QRegularExpressionMatch match = plan.match(line);
        if (!match.hasMatch())
            return std::nullopt;
        return trimSpacesAndTabs(match.captured(1));
    }
    return std::nullopt;
}

Result<ProviderSnapshot> decode(const QString &text, const QDateTime &collectedAt)
{
    const QStringList lines = cleanLines(text);
    QList<UsageWindow> windows;
    std::optional<QString> creditBalance;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const std::optional<Header> header = headerAt(lines[i]);
        if (!header)
            continue;
        const QStringList following = lines.mid(i + 1, 4);
        std::optional<double> used;
        for (const QString &line : following) {
            if (line.contains(QLatin1String("used"), Qt::CaseInsensitive)) {
                used = usedPercent(line);
                break;
            }
        }
        if (!used)
            continue;
        std::optional<QDateTime> resetsAt;
        for (const QString &line : following) {
            if (const std::optional<QString> reset = resetText(line)) {
                resetsAt = parseReset(*reset, collectedAt);
                break;
            }
        }
        if (header->id == kCreditsId) {
            for (const QString &line : following) {
                if (const std::optional<QString> spent = creditsSpent(line)) {
                    creditBalance = spent;
                    break;
                }
            }
        }
        addWindow(windows, UsageWindow{
                               .id = header->id,
                               .label = header->label,
                               .usedPercent = *used,
                               .resetsAt = resetsAt,
                               .windowMinutes = header->windowMinutes,
                               .scope = header->scope,
                           });
    }
    if (windows.isEmpty())
        return LimitraError::invalidResponse(QStringLiteral("Claude /usage did not contain plan percentages"));

    // Single-model weeks without a reset line reset with the all-models week.
    std::optional<QDateTime> weeklyReset;
    for (const UsageWindow &window : windows) {
        if (window.id == QLatin1String("claude.seven_day")) {
            weeklyReset = window.resetsAt;
            break;
        }
    }
    for (UsageWindow &window : windows) {
        if (window.windowMinutes == 10080 && !window.resetsAt)
            window.resetsAt = weeklyReset;
    }

    ProviderSnapshot snapshot;
    snapshot.provider = UsageProvider::claude;
    snapshot.collectedAt = collectedAt;
    snapshot.source = UsageSource::claudeUsageCommand;
    snapshot.state = CollectorState::fallback;
    snapshot.windows = windows;
    snapshot.planName = planName(lines);
    snapshot.creditBalance = creditBalance;
    for (const QString &line : lines) {
        if (const qsizetype mark = line.indexOf(kAccountMark); mark >= 0) {
            snapshot.modelName = trimSpacesAndTabs(line.left(mark));
            break;
        }
    }
    snapshot.message =
        QStringLiteral("Refreshed through Claude /usage because no active terminal status line was available.");
    return snapshot;
}

bool showsWholeScreen(const QString &text)
{
    // The footer stands under the sections once they are drawn: "Esc to close"
    // today, "Esc to cancel" in older versions. Both also stand under other
    // screens (the loading one, the folder-trust question), so a footer only
    // counts when drawn after a section (an account may have weekly ones only).
    const qsizetype section = std::max(text.lastIndexOf(QLatin1String("Current session"), -1, Qt::CaseInsensitive),
                                       text.lastIndexOf(QLatin1String("Current week"), -1, Qt::CaseInsensitive));
    if (section < 0)
        return false;
    const qsizetype footer =
        std::max(text.lastIndexOf(QLatin1String("Esc to close")), text.lastIndexOf(QLatin1String("Esc to cancel")));
    return footer > section;
}

bool showsSignedOut(const QString &text)
{
    // The status line of a session without an account, and the first-run
    // welcome that a home without Claude Code's settings gets.
    static const QRegularExpression firstRun(QStringLiteral("Welcome to Claude Code v\\d"));
    // The probe asks after every read: skip the cleaning when neither can be there.
    if (!text.contains(QLatin1String("Not logged in")) && !text.contains(QLatin1String("Welcome to Claude Code")))
        return false;
    const QStringList lines = cleanLines(text);
    return std::any_of(lines.cbegin(), lines.cend(), [](const QString &line) {
        return line.contains(QLatin1String("Not logged in")) || firstRun.match(line).hasMatch();
    });
}

} // namespace ClaudeUsageTextDecoder
