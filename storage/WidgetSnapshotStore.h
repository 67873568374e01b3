#pragma once

#include "model/ProviderSnapshot.h"
#include "model/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QMap>
#include <QString>

// The file desktop widgets read: the latest usage of each provider, in
// "widget-usage.json" in $XDG_DATA_HOME/com.limitra.app.widgets. Its format is
// a contract with the widgets: compact JSON, dates as seconds since
// 2001-01-01 UTC, percentages clamped to 0-100, absent reset times left out.
// Widgets watch the folder for changes.
namespace WidgetSnapshotStore {

QString sharedContainerPath();
QString filePath();

QByteArray encode(const QMap<UsageProvider, ProviderSnapshot> &latest, const QDateTime &generatedAt);

// Writes the file atomically (the folder is created when missing).
Result<void> exportLatest(const QMap<UsageProvider, ProviderSnapshot> &latest);

} // namespace WidgetSnapshotStore
