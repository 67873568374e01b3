#include "app/Appcast.h"

#include "app/VersionComparison.h"

#include <QXmlStreamReader>

namespace Appcast {

namespace {

const QString kSparkle = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

// The comparable version of an item and what to compare it with.
std::pair<QString, QString> comparison(const AppcastItem &item, const QString &shortVersion,
                                       const QString &buildVersion)
{
    if (!item.version.isEmpty())
        return {item.version, buildVersion};
    return {item.shortVersion, shortVersion};
}

} // namespace

Result<QList<AppcastItem>> parse(const QByteArray &xml)
{
    QXmlStreamReader reader(xml);
    QList<AppcastItem> items;
    std::optional<AppcastItem> current;
    QUrl enclosure;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            const QStringView name = reader.name();
            const bool sparkle = reader.namespaceUri() == kSparkle;
            if (name == QLatin1String("item") && reader.namespaceUri().isEmpty()) {
                current = AppcastItem{};
                enclosure.clear();
            } else if (current && sparkle && name == QLatin1String("version")) {
                current->version = reader.readElementText().trimmed();
            } else if (current && sparkle && name == QLatin1String("shortVersionString")) {
                current->shortVersion = reader.readElementText().trimmed();
            } else if (current && !sparkle && name == QLatin1String("link")) {
                current->link = QUrl(reader.readElementText().trimmed());
            } else if (current && name == QLatin1String("enclosure")) {
                const QXmlStreamAttributes attributes = reader.attributes();
                enclosure = QUrl(attributes.value(QLatin1String("url")).toString());
                if (current->version.isEmpty())
                    current->version = attributes.value(kSparkle, QLatin1String("version")).toString().trimmed();
                if (current->shortVersion.isEmpty())
                    current->shortVersion =
                        attributes.value(kSparkle, QLatin1String("shortVersionString")).toString().trimmed();
            }
        } else if (reader.isEndElement() && reader.name() == QLatin1String("item") && current) {
            if (current->link.isEmpty())
                current->link = enclosure;
            if (!current->version.isEmpty() || !current->shortVersion.isEmpty())
                items.append(*current);
            current.reset();
        }
    }
    if (reader.hasError())
        return Error::platform(QStringLiteral("The update feed is not valid XML (%1)").arg(reader.errorString()));
    return items;
}

std::optional<AppcastItem> newestUpdate(const QList<AppcastItem> &items, const QString &shortVersion,
                                        const QString &buildVersion)
{
    std::optional<AppcastItem> newest;
    for (const AppcastItem &item : items) {
        const auto [candidate, running] = comparison(item, shortVersion, buildVersion);
        if (compareVersions(candidate, running) <= 0)
            continue;
        if (!newest
            || compareVersions(comparison(item, shortVersion, buildVersion).first,
                               comparison(*newest, shortVersion, buildVersion).first)
                   > 0)
            newest = item;
    }
    return newest;
}

} // namespace Appcast
