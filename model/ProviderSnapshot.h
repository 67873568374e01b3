#pragma once

#include "model/CollectorState.h"
#include "model/UsageProvider.h"
#include "model/UsageSource.h"
#include "model/UsageWindow.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

// One provider's collected state at one moment.
struct ProviderSnapshot {
    QUuid id = QUuid::createUuid();
    UsageProvider provider = UsageProvider::codex;
    QDateTime collectedAt;
    UsageSource source = UsageSource::sample;
    CollectorState state = CollectorState::unavailable;
    QList<UsageWindow> windows;
    std::optional<QString> planName;
    std::optional<QString> creditBalance; // remaining credits as text, or "Unlimited"
    std::optional<QString> modelName;
    std::optional<QString> message;

    // "Updated " and the relative time from `now` to `collectedAt`.
    QString freshnessDescription(const QDateTime &now = QDateTime::currentDateTimeUtc()) const;

    friend bool operator==(const ProviderSnapshot &, const ProviderSnapshot &) = default;
};

// Over every member, as equality is.
size_t qHash(const ProviderSnapshot &snapshot, size_t seed = 0);

// The root of the history file.
struct UsageArchive {
    QList<ProviderSnapshot> snapshots;

    friend bool operator==(const UsageArchive &, const UsageArchive &) = default;
};

size_t qHash(const UsageArchive &archive, size_t seed = 0);
