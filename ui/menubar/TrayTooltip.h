#pragma once

#include "model/ProviderSnapshot.h"

#include <QMap>

// The tray icon's tooltip: each visible provider's windows in words, for
// example "OpenAI Codex: 5-hour 42% used, resets in 2 hr.".
QString trayTooltip(const QList<UsageProvider> &visible, const QMap<UsageProvider, ProviderSnapshot> &latest,
                    const QDateTime &now);
