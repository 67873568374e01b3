#include "storage/ArchiveFormat.h"

#include "model/DateCoding.h"
#include "model/JsonGrammar.h"

#include <QHash>

#include <simdjson.h>

#include <algorithm>
#include <cmath>

namespace ArchiveFormat {

namespace {

// --- Writing ----------------------------------------------------------------

constexpr char kSnapshotIndent[] = "        ";
constexpr char kFieldIndent[] = "            ";
constexpr char kWindowIndent[] = "                ";
constexpr char kWindowFieldIndent[] = "                    ";

void appendEscaped(QByteArray &out, const QString &text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
    for (const char c : text.toUtf8()) {
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
    appendEscaped(out, window.id);
    appendField(out, kWindowFieldIndent, "label", first);
    appendEscaped(out, window.label);
    if (window.resetsAt) {
        appendField(out, kWindowFieldIndent, "resetsAt", first);
        appendDate(out, *window.resetsAt);
    }
    if (window.scope) {
        appendField(out, kWindowFieldIndent, "scope", first);
        appendEscaped(out, *window.scope);
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

// --- Reading ----------------------------------------------------------------

using simdjson::ondemand::object;
using simdjson::ondemand::value;

// One shared QString per distinct text.
class StringPool
{
public:
    QString get(std::string_view utf8)
    {
        const QByteArray key = QByteArray::fromRawData(utf8.data(), static_cast<qsizetype>(utf8.size()));
        if (auto found = m_strings.constFind(key); found != m_strings.cend())
            return found.value();
        const QByteArray owned(utf8.data(), static_cast<qsizetype>(utf8.size()));
        return m_strings.insert(owned, QString::fromUtf8(owned)).value();
    }

private:
    QHash<QByteArray, QString> m_strings;
};

Error decodingError(const char *what)
{
    return Error::platform(QStringLiteral("The usage history could not be read: %1").arg(QLatin1String(what)));
}

bool isNull(value &field)
{
    bool null = false;
    return !field.is_null().get(null) && null;
}

std::optional<QDateTime> readDate(value &field)
{
    std::string_view text;
    if (field.get_string().get(text))
        return std::nullopt;
    // The layout this file is written in, read without QDateTime's parser.
    if (text.size() == 20 && text[4] == '-' && text[7] == '-' && text[10] == 'T' && text[13] == ':' && text[16] == ':'
        && text[19] == 'Z') {
        const auto number = [&text](int from, int length) {
            int result = 0;
            for (int i = from; i < from + length; ++i) {
                if (text[i] < '0' || text[i] > '9')
                    return -1;
                result = result * 10 + (text[i] - '0');
            }
            return result;
        };
        const int year = number(0, 4), month = number(5, 2), day = number(8, 2);
        const int hour = number(11, 2), minute = number(14, 2), second = number(17, 2);
        const QDate date(year, month, day);
        if (year < 1) // a digit that is not one, or year 0: no date the writer writes
            return std::nullopt;
        if (date.isValid() && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60)
            return QDateTime(date, QTime(hour, minute, second), Qt::UTC);
    }
    return decodeDate(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())), DateCoding::iso8601);
}

// Returns false when the member is present with the wrong type.
bool readOptionalString(value &field, std::optional<QString> &into, StringPool &pool)
{
    if (isNull(field))
        return true;
    std::string_view text;
    if (field.get_string().get(text))
        return false;
    into = pool.get(text);
    return true;
}

Result<UsageWindow> readWindow(value element, StringPool &pool)
{
    object fields;
    if (element.get_object().get(fields))
        return decodingError("a window is not an object");
    UsageWindow window;
    bool hasId = false, hasLabel = false, hasPercent = false;
    for (auto member : fields) {
        std::string_view key;
        value field;
        if (member.unescaped_key().get(key) || member.value().get(field))
            return decodingError("a window is malformed");
        if (key == "id") {
            std::string_view text;
            if (field.get_string().get(text))
                return decodingError("a window's \"id\" is not a string");
            window.id = pool.get(text);
            hasId = true;
        } else if (key == "label") {
            std::string_view text;
            if (field.get_string().get(text))
                return decodingError("a window's \"label\" is not a string");
            window.label = pool.get(text);
            hasLabel = true;
        } else if (key == "usedPercent") {
            if (field.get_double().get(window.usedPercent))
                return decodingError("a window's \"usedPercent\" is not a number");
            hasPercent = true;
        } else if (key == "resetsAt") {
            if (!isNull(field)) {
                window.resetsAt = readDate(field);
                if (!window.resetsAt)
                    return decodingError("a window's \"resetsAt\" is not a date");
            }
        } else if (key == "windowMinutes") {
            if (!isNull(field)) {
                double minutes = 0;
                if (field.get_double().get(minutes) || minutes != std::trunc(minutes)
                    || std::fabs(minutes) > kMaxWindowMinutes)
                    return decodingError("a window's \"windowMinutes\" is not a whole number");
                window.windowMinutes = static_cast<qint64>(minutes);
            }
        } else if (key == "scope") {
            if (!readOptionalString(field, window.scope, pool))
                return decodingError("a window's \"scope\" is not a string");
        }
    }
    if (!hasId || !hasLabel || !hasPercent)
        return decodingError("a window lacks \"id\", \"label\" or \"usedPercent\"");
    return window;
}

template <typename E>
bool readEnum(value &field, E &into)
{
    std::string_view text;
    if (field.get_string().get(text))
        return false;
    const std::optional<E> parsed =
        fromRawValue<E>(QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size())));
    if (parsed)
        into = *parsed;
    return parsed.has_value();
}

Result<ProviderSnapshot> readSnapshot(value element, StringPool &pool)
{
    object fields;
    if (element.get_object().get(fields))
        return decodingError("a snapshot is not an object");
    ProviderSnapshot snapshot;
    int required = 0; // one bit per required member seen
    for (auto member : fields) {
        std::string_view key;
        value field;
        if (member.unescaped_key().get(key) || member.value().get(field))
            return decodingError("a snapshot is malformed");
        if (key == "id") {
            std::string_view text;
            if (field.get_string().get(text) || text.size() != 36)
                return decodingError("a snapshot's \"id\" is not a UUID");
            snapshot.id = QUuid::fromString(QLatin1String(text.data(), static_cast<qsizetype>(text.size())));
            if (snapshot.id.isNull())
                return decodingError("a snapshot's \"id\" is not a UUID");
            required |= 1;
        } else if (key == "provider") {
            if (!readEnum(field, snapshot.provider))
                return decodingError("a snapshot's \"provider\" is unknown");
            required |= 2;
        } else if (key == "collectedAt") {
            const std::optional<QDateTime> date = readDate(field);
            if (!date)
                return decodingError("a snapshot's \"collectedAt\" is not a date");
            snapshot.collectedAt = *date;
            required |= 4;
        } else if (key == "source") {
            if (!readEnum(field, snapshot.source))
                return decodingError("a snapshot's \"source\" is unknown");
            required |= 8;
        } else if (key == "state") {
            if (!readEnum(field, snapshot.state))
                return decodingError("a snapshot's \"state\" is unknown");
            required |= 16;
        } else if (key == "windows") {
            // Qt's reader would keep only the last of two lists: take neither.
            if (required & 32)
                return decodingError("a snapshot has two \"windows\" lists");
            simdjson::ondemand::array windows;
            if (field.get_array().get(windows))
                return decodingError("a snapshot's \"windows\" is not a list");
            for (auto window : windows) {
                value windowValue;
                if (window.get(windowValue))
                    return decodingError("a window is malformed");
                Result<UsageWindow> decoded = readWindow(windowValue, pool);
                if (!decoded)
                    return decoded.error();
                addWindow(snapshot.windows, std::move(*decoded));
            }
            required |= 32;
        } else if (key == "planName" || key == "creditBalance" || key == "modelName" || key == "message") {
            std::optional<QString> &target = key == "planName"        ? snapshot.planName
                                             : key == "creditBalance" ? snapshot.creditBalance
                                             : key == "modelName"     ? snapshot.modelName
                                                                      : snapshot.message;
            if (!readOptionalString(field, target, pool))
                return decodingError("a snapshot's text member is not a string");
        }
    }
    if (required != 63)
        return decodingError("a snapshot lacks a required member");
    return snapshot;
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
        appendEscaped(out, *snapshot.creditBalance);
    }
    appendField(out, kFieldIndent, "id", first);
    out += '"' + snapshot.id.toByteArray(QUuid::WithoutBraces).toUpper() + '"';
    if (snapshot.message) {
        appendField(out, kFieldIndent, "message", first);
        appendEscaped(out, *snapshot.message);
    }
    if (snapshot.modelName) {
        appendField(out, kFieldIndent, "modelName", first);
        appendEscaped(out, *snapshot.modelName);
    }
    if (snapshot.planName) {
        appendField(out, kFieldIndent, "planName", first);
        appendEscaped(out, *snapshot.planName);
    }
    appendField(out, kFieldIndent, "provider", first);
    appendEscaped(out, rawValue(snapshot.provider));
    appendField(out, kFieldIndent, "source", first);
    appendEscaped(out, rawValue(snapshot.source));
    appendField(out, kFieldIndent, "state", first);
    appendEscaped(out, rawValue(snapshot.state));
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

Result<UsageArchive> decode(const QByteArray &file)
{
    static_assert(simdjson::SIMDJSON_PADDING <= kReadPadding);
    // simdjson reads a little beyond the end of its input: use the array's
    // spare capacity when it has enough, else a padded copy.
    std::optional<simdjson::padded_string> copy;
    simdjson::padded_string_view input(file.constData(), static_cast<size_t>(file.size()),
                                       static_cast<size_t>(file.capacity()));
    if (file.capacity() - file.size() < kReadPadding) {
        copy.emplace(file.constData(), static_cast<size_t>(file.size()));
        input = *copy;
    }
    // JSON texts carry no byte-order mark; a strict parser refuses one.
    if (file.startsWith("\xEF\xBB\xBF"))
        return decodingError("it starts with a byte-order mark");
    // The reader below looks only at what it needs and would take a damaged
    // document for a whole one: check all of it first, with a parser that
    // reads every byte.
    {
        simdjson::dom::parser validator;
        const simdjson::error_code error = validator.parse(input.data(), input.length(), false).error();
        // simdjson also refuses what the grammar allows and this writer never
        // writes: a lone surrogate escape, a number beyond a double. Such a
        // document costs only the records that hold them.
        if (error
            && ((error != simdjson::STRING_ERROR && error != simdjson::NUMBER_ERROR)
                || checkJsonGrammar(QByteArrayView(file))))
            return decodingError("it is not JSON");
    }
    simdjson::ondemand::parser parser;
    simdjson::ondemand::document document;
    if (parser.iterate(input).get(document))
        return decodingError("it is not JSON");
    object root;
    if (document.get_object().get(root))
        return decodingError("it is not an object");

    StringPool pool;
    QList<ProviderSnapshot> snapshots;
    bool found = false;
    for (auto member : root) {
        std::string_view key;
        value field;
        if (member.unescaped_key().get(key) || member.value().get(field))
            return decodingError("it is not JSON");
        if (key != "snapshots")
            continue;
        if (found)
            return decodingError("\"snapshots\" appears twice");
        simdjson::ondemand::array list;
        if (field.get_array().get(list))
            return decodingError("\"snapshots\" is not a list");
        found = true;
        for (auto element : list) {
            value snapshotValue;
            if (element.get(snapshotValue))
                return decodingError("it is not JSON");
            // One record that does not decode costs that record, not the history.
            Result<ProviderSnapshot> snapshot = readSnapshot(snapshotValue, pool);
            if (snapshot)
                snapshots.append(std::move(*snapshot));
        }
    }
    if (!found)
        return decodingError("\"snapshots\" is missing");
    // Nothing but white space may follow the document.
    if (!document.current_location().error())
        return decodingError("it is not JSON");
    return UsageArchive{std::move(snapshots)};
}

bool isSorted(const QList<ProviderSnapshot> &snapshots)
{
    return std::is_sorted(
        snapshots.cbegin(), snapshots.cend(),
        [](const ProviderSnapshot &a, const ProviderSnapshot &b) { return a.collectedAt < b.collectedAt; });
}

} // namespace ArchiveFormat
