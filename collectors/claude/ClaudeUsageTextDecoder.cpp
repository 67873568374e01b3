#include "collectors/claude/ClaudeUsageTextDecoder.h"

#include <QRegularExpression>
#include <QTimeZone>

namespace ClaudeUsageTextDecoder {

namespace {

const QString kAccountMark = QStringLiteral(" · Claude ");

struct Header {
    QString id;
    QString label;
    std::optional<QString> scope;
};

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
    text.remove(operatingSystemCommand);
    text.remove(controlSequence);
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
        return Header{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), std::nullopt};
    const QString lower = line.toLower();
    const QString opening = QStringLiteral("current week (");
    if (!lower.startsWith(opening) || !lower.endsWith(QLatin1Char(')')))
        return std::nullopt;
    const QString inner = line.mid(opening.size(), line.size() - opening.size() - 1);
    if (inner.toLower() == QLatin1String("all models"))
        return Header{QStringLiteral("claude.seven_day"), QStringLiteral("Weekly"), std::nullopt};
    const QStringList words = inner.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString name = words.isEmpty() ? inner : words.first();
    return Header{QStringLiteral("claude.") + name.toLower() + QStringLiteral("_weekly"), name, name};
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
    return QDateTime(date, QTime(time.hour, time.minute), zone);
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

    // A date and a time, this year, or next year when that lies more than a day back.
    static const QRegularExpression dateTime(
        QStringLiteral("^([a-z]+)\\.?\\s+(\\d{1,2})(?:,|\\s+at|,\\s+at)\\s*(\\d{1,2})(?::(\\d{2}))?\\s*([ap]m)$"),
        QRegularExpression::CaseInsensitiveOption);
    if (const QRegularExpressionMatch match = dateTime.match(cleaned); match.hasMatch()) {
        const int month = monthNumber(match.captured(1));
        const int day = match.captured(2).toInt();
        const std::optional<ClockTime> time = clockTime(match.captured(3), match.captured(4), match.captured(5));
        if (month == 0 || !time)
            return std::nullopt;
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

std::optional<double> firstNumber(QChar marker, const QString &line)
{
    const qsizetype markerAt = line.indexOf(marker);
    if (markerAt < 0)
        return std::nullopt;
    const QString before = line.left(markerAt);
    qsizetype end = before.size();
    // The run of digits and dots nearest to the marker.
    qsizetype runEnd = -1;
    for (qsizetype i = end - 1; i >= 0; --i) {
        const QChar c = before[i];
        if (c.isNumber() || c == QLatin1Char('.')) {
            runEnd = i + 1;
            break;
        }
    }
    if (runEnd < 0)
        return std::nullopt;
    qsizetype runStart = runEnd;
    while (runStart > 0 && (before[runStart - 1].isNumber() || before[runStart - 1] == QLatin1Char('.')))
        --runStart;
    bool ok = false;
    const double value = before.mid(runStart, runEnd - runStart).toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return value;
}

std::optional<QString> planName(const QStringList &lines)
{
    for (const QString &line : lines) {
        if (!line.contains(kAccountMark))
            continue;
        static const QRegularExpression plan(QStringLiteral(" · Claude ([^·]+) · "));
        const QRegularExpressionMatch match = plan.match(line);
        if (!match.hasMatch())
            return std::nullopt;
        QString name = match.captured(0);
        name.remove(kAccountMark);
        name.remove(QStringLiteral(" · "));
        return trimSpacesAndTabs(name);
    }
    return std::nullopt;
}

Result<ProviderSnapshot> decode(const QString &text, const QDateTime &collectedAt)
{
    const QStringList lines = cleanLines(text);
    QList<UsageWindow> windows;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const std::optional<Header> header = headerAt(lines[i]);
        if (!header)
            continue;
        const QStringList following = lines.mid(i + 1, 4);
        std::optional<double> used;
        for (const QString &line : following) {
            if (line.contains(QLatin1String("used"), Qt::CaseInsensitive)) {
                used = firstNumber(QLatin1Char('%'), line);
                break;
            }
        }
        if (!used)
            continue;
        std::optional<QDateTime> resetsAt;
        for (const QString &line : following) {
            if (line.toLower().startsWith(QLatin1String("resets "))) {
                resetsAt = parseReset(line, collectedAt);
                break;
            }
        }
        const bool weekly = header->id != QLatin1String("claude.five_hour");
        windows.append(UsageWindow{
            .id = header->id,
            .label = header->label,
            .usedPercent = *used,
            .resetsAt = resetsAt,
            .windowMinutes = weekly ? 10080 : 300,
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

} // namespace ClaudeUsageTextDecoder
