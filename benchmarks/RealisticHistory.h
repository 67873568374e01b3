#pragma once

#include "model/ProviderSnapshot.h"

#include <QDateTime>
#include <QList>

// Both providers every three minutes for 90 days, ending at `end`: a few windows
// each, plan names, usage that climbs and resets, and now and then a period
// of errors or stale data. Always the same for the same `end`.
QList<ProviderSnapshot> realisticHistory(const QDateTime &end);
