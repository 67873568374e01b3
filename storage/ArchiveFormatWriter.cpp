#include "storage/ArchiveFormat.h"

#include "model/DateCoding.h"

#include <cmath>

namespace ArchiveFormat {

void appendJsonString(QByteArray &out, const QString &text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    const QByteArray utf8 = text.toUtf8();
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (byte < 0x20) {
                out += "\\u00";
                out += hex[byte >> 4];
                out += hex[byte & 0xF];
            } else {
                out += c;
            }
        }
    }
    out += '"';
}

namespace {

constexpr char kSnapshotIndent[] = "        ";
constexpr char kFieldIndent[] = "            ";
constexpr char kWindowIndent[] = "                ";
constexpr char kWindowFieldIndent[] = "                    ";

// As Qt's JSON writer formats a double: whole numbers up to 2^53 as integers,
// everything else in the shortest form that reads back exactly.
void appendNumber(QByteArray &out, double value)
{
    if (std::isfinite(value) && value == std::trunc(value) && std::fabs(value) <= 9007199254740992.0)
        out += QByteArray::number(static_cast<qint64>(value));
    else if (std::isfinite(value))
        out += QByteArray::number(value, 'g', QLocale::FloatingPointShortest);
    else
        out += "null";
}

qint64 floorDivide(qint64 value, qint64 divisor)
{
    const qint64 quotient = value / divisor;
    return (value % divisor != 0 && value < 0) ? quotient - 1 : quotient;
}

// "2026-01-31T17:05:09Z" without the cost of QDateTime's formatter.
void appendDate(QByteArray &out, const QDateTime &date)
{
    const qint64 seconds = floorDivide(date.toMSecsSinceEpoch(), 1000);
    qint64 days = floorDivide(seconds, 86400);
    const qint64 secondOfDay = seconds - days * 86400;
    // Civil date from days since 1970-01-01 (H. Hinnant's algorithm).
    days += 719468;
    const qint64 era = floorDivide(days, 146097);
    const qint64 dayOfEra = days - era * 146097;
    const qint64 yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const qint64 dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const qint64 shiftedMonth = (5 * dayOfYear + 2) / 153;
    const qint64 day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const qint64 month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    const qint64 year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
    if (year < 0 || year > 9999) {
        out += '"' + iso8601Text(date).toLatin1() + '"';
        return;
    }
    char text[64];
    std::snprintf(text, sizeof text, "\"%04d-%02d-%02dT%02d:%02d:%02dZ\"", int(year), int(month), int(day),
                  int(secondOfDay / 3600), int(secondOfDay / 60 % 60), int(secondOfDay % 60));
    out += text;
}

void appendField(QByteArray &out, const char *indent, const char *key, bool &first)
{
    out += first ? "\n" : ",\n";
    first = false;
    out += indent;
    out += '"';
    out += key;
    out += "\": ";
}

void appendWindow(QByteArray &out, const UsageWindow &window)
{
    out += kWindowIndent;
    out += '{';
    bool first = true;
    appendField(out, kWindowFieldIndent, "id", first);
    appendJsonString(out, window.id);
    appendField(out, kWindowFieldIndent, "label", first);
    appendJsonString(out, window.label);
    if (window.resetsAt) {
        appendField(out, kWindowFieldIndent, "resetsAt", first);
        appendDate(out, *window.resetsAt);
    }
    if (window.scope) {
        appendField(out, kWindowFieldIndent, "scope", first);
        appendJsonString(out, *window.scope);
    }
    appendField(out, kWindowFieldIndent, "usedPercent", first);
    appendNumber(out, window.usedPercent);
    if (window.windowMinutes) {
        appendField(out, kWindowFieldIndent, "windowMinutes", first);
        out += QByteArray::number(*window.windowMinutes);
    }
    out += '\n';
    out += kWindowIndent;
    out += '}';
}

} // namespace

QByteArray header()
{
    return QByteArrayLiteral("{\n    \"snapshots\": [");
}

QByteArray footer()
{
    return QByteArrayLiteral("\n    ]\n}\n");
}

QByteArray separator(bool first)
{
    return first ? QByteArrayLiteral("\n") : QByteArrayLiteral(",\n");
}

void appendSnapshot(QByteArray &out, const ProviderSnapshot &snapshot)
{
    out += kSnapshotIndent;
    out += '{';
    bool first = true;
    appendField(out, kFieldIndent, "collectedAt", first);
    appendDate(out, snapshot.collectedAt);
    if (snapshot.creditBalance) {
        appendField(out, kFieldIndent, "creditBalance", first);
        appendJsonString(out, *snapshot.creditBalance);
    }
    appendField(out, kFieldIndent, "id", first);
    out += '"' + snapshot.id.toByteArray(QUuid::WithoutBraces).toUpper() + '"';
    if (snapshot.message) {
        appendField(out, kFieldIndent, "message", first);
        appendJsonString(out, *snapshot.message);
    }
    if (snapshot.modelName) {
        appendField(out, kFieldIndent, "modelName", first);
        appendJsonString(out, *snapshot.modelName);
    }
    if (snapshot.planName) {
        appendField(out, kFieldIndent, "planName", first);
        appendJsonString(out, *snapshot.planName);
    }
    appendField(out, kFieldIndent, "provider", first);
    appendJsonString(out, rawValue(snapshot.provider));
    appendField(out, kFieldIndent, "source", first);
    appendJsonString(out, rawValue(snapshot.source));
    appendField(out, kFieldIndent, "state", first);
    appendJsonString(out, rawValue(snapshot.state));
    appendField(out, kFieldIndent, "windows", first);
    out += '[';
    for (qsizetype i = 0; i < snapshot.windows.size(); ++i) {
        out += i == 0 ? "\n" : ",\n";
        appendWindow(out, snapshot.windows[i]);
    }
    out += '\n';
    out += kFieldIndent;
    out += "]\n";
    out += kSnapshotIndent;
    out += '}';
}

QByteArray encode(const UsageArchive &archive)
{
    const QList<ProviderSnapshot> &snapshots = archive.snapshots;
    QByteArray out = header();
    out.reserve(snapshots.size() * 700 + 64);
    for (qsizetype i = 0; i < snapshots.size(); ++i) {
        out += separator(i == 0);
        appendSnapshot(out, snapshots[i]);
    }
    out += footer();
    return out;
}

} // namespace ArchiveFormat
