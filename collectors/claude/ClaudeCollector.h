#pragma once

#include "model/UsageCollecting.h"
#include "system/ExecutableLocator.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <optional>

// The Claude provider's collector. Cheapest source first: the status-line
// payload the helper records, then the snapshot the last /usage probe left in
// the fallback file, and only when neither is recent a new probe, whose result
// becomes the new fallback file. It keeps nothing between calls.
class ClaudeCollector : public UsageCollecting
{
public:
    struct Settings {
        QString payloadPath;                       // AppPaths::claudeStatusLinePayload()
        std::optional<QString> executableOverride; // the `claude` path typed in Settings
        double liveInterval = 300;                 // seconds a source counts as recent
        double probeTimeout = 20;                  // seconds the /usage probe may take
        ExecutableLocator::SearchPlaces searchPlaces = ExecutableLocator::SearchPlaces::current();
        // The current time, against which every source's age is measured.
        std::function<QDateTime()> clock = [] { return QDateTime::currentDateTimeUtc(); };
    };

    explicit ClaudeCollector(Settings settings);

    UsageProvider provider() const override { return UsageProvider::claude; }
    // Runs on a background thread; the result is always a snapshot, whose
    // state and message tell what went wrong.
    QFuture<Result<ProviderSnapshot>> collect() override;
    // The same on the calling thread.
    ProviderSnapshot collectNow() const;

    static QString fallbackPath();

private:
    Result<ProviderSnapshot> loadStatusSnapshot() const;
    ProviderSnapshot staleSnapshot(const std::optional<ProviderSnapshot> &base, const QString &message) const;
    static Result<void> saveFallbackSnapshot(const ProviderSnapshot &snapshot);

    Settings m_settings;
};
