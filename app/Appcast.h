#pragma once

#include "model/Result.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

// One release in an update feed (a Sparkle-format appcast: RSS items with
// sparkle:version, sparkle:shortVersionString and a link or enclosure).
struct AppcastItem {
    QString version;      // sparkle:version (compared with the build number)
    QString shortVersion; // sparkle:shortVersionString (shown to the user)
    QUrl link;            // the release page, else the download
};

namespace Appcast {

Result<QList<AppcastItem>> parse(const QByteArray &xml);

// The newest item that is newer than the running build, if any. An item
// without sparkle:version is compared by its short version instead.
std::optional<AppcastItem> newestUpdate(const QList<AppcastItem> &items, const QString &shortVersion,
                                        const QString &buildVersion);

} // namespace Appcast
