#include "storage/ArchiveFormat.h"

#include "model/DateCoding.h"
#include "model/JsonGrammar.h"

#include <QHash>

#include <simdjson.h>

#include <algorithm>
#include <cmath>

namespace ArchiveFormat {

namespace {

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
        return decodingError(R"(a window lacks "id", "label" or "usedPercent")");
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
