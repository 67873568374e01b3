#include "storage/WidgetSnapshotStore.h"

#include "model/DateCoding.h"
#include "system/AppPaths.h"
#include "system/AtomicFile.h"
#include "system/FileSystem.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace WidgetSnapshotStore {

QString sharedContainerPath()
{
    return AppPaths::dataHome() + QStringLiteral("/com.limitra.app.widgets");
}

QString filePath()
{
    return sharedContainerPath() + QStringLiteral("/widget-usage.json");
}

QByteArray encode(const QMap<UsageProvider, ProviderSnapshot> &latest, const QDateTime &generatedAt)
{
    QJsonArray providers;
    for (UsageProvider provider : allCases<UsageProvider>) {
        const auto found = latest.constFind(provider);
        if (found == latest.cend())
            continue;
        QJsonArray windows;
        for (const UsageWindow &window : found->windows) {
            QJsonObject entry{{QStringLiteral("label"), window.label},
                              {QStringLiteral("usedPercent"), std::clamp(window.usedPercent, 0.0, 100.0)}};
            if (window.resetsAt)
                entry.insert(QStringLiteral("resetsAt"), referenceDateSeconds(*window.resetsAt));
            windows.append(entry);
        }
        providers.append(QJsonObject{{QStringLiteral("id"), rawValue(provider)},
                                     {QStringLiteral("name"), shortName(provider)},
                                     {QStringLiteral("state"), rawValue(found->state)},
                                     {QStringLiteral("windows"), windows}});
    }
    const QJsonObject payload{{QStringLiteral("generatedAt"), referenceDateSeconds(generatedAt)},
                              {QStringLiteral("providers"), providers}};
    return QJsonDocument(payload).toJson(QJsonDocument::Compact);
}

Result<void> exportLatest(const QMap<UsageProvider, ProviderSnapshot> &latest)
{
    if (Result<void> folder = FileSystem::makeDirectories(sharedContainerPath()); !folder)
        return folder;
    return AtomicFile::write(filePath(), encode(latest, QDateTime::currentDateTimeUtc()),
                             {.mode = 0600, .keepExistingMode = false, .durable = false});
}

} // namespace WidgetSnapshotStore
