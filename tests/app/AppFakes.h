#pragma once

#include "app/AppModel.h"
#include "app/Preferences.h"
#include "app/platform/LoginItemService.h"
#include "app/platform/Notifier.h"
#include "app/platform/ShortcutRegistrar.h"
#include "model/UsageCollecting.h"
#include "storage/UsageArchiveStore.h"

#include <QPromise>

#include <deque>
#include <memory>

// Stand-ins for the model's services, with everything they are asked to do
// recorded, and collectors whose rounds the test finishes by hand.
struct AppFakes {
    struct Post {
        QString identifier;
        QString title;
        QString body;
    };

    // One pending collection per collector made; the test resolves them.
    struct Collection {
        UsageProvider provider;
        QString executableOverride;
        std::shared_ptr<QPromise<Result<ProviderSnapshot>>> promise;

        void finish(const Result<ProviderSnapshot> &result) const
        {
            promise->addResult(result);
            promise->finish();
        }
    };

    class Collector : public UsageCollecting
    {
    public:
        Collector(AppFakes &fakes, UsageProvider provider, QString executableOverride)
            : m_fakes(fakes)
            , m_provider(provider)
            , m_override(std::move(executableOverride))
        {
        }
        UsageProvider provider() const override { return m_provider; }
        QFuture<Result<ProviderSnapshot>> collect() override
        {
            auto promise = std::make_shared<QPromise<Result<ProviderSnapshot>>>();
            promise->start();
            m_fakes.collections.push_back({m_provider, m_override, promise});
            return promise->future();
        }

    private:
        AppFakes &m_fakes;
        UsageProvider m_provider;
        QString m_override;
    };

    class RecordingNotifier : public Notifier
    {
    public:
        explicit RecordingNotifier(AppFakes &fakes)
            : m_fakes(fakes)
        {
        }
        void requestPermission() override { ++m_fakes.permissionRequests; }
        void post(const QString &identifier, const QString &title, const QString &body) override
        {
            m_fakes.posts.push_back({identifier, title, body});
        }

    private:
        AppFakes &m_fakes;
    };

    class LoginItems : public LoginItemService
    {
    public:
        explicit LoginItems(AppFakes &fakes)
            : m_fakes(fakes)
        {
        }
        bool isEnabled() const override { return m_fakes.loginEnabled; }
        Result<void> setEnabled(bool enabled) override
        {
            if (enabled == m_fakes.loginEnabled)
                return {};
            ++m_fakes.loginChanges;
            if (m_fakes.loginFailure)
                return Error::platform(*m_fakes.loginFailure);
            m_fakes.loginEnabled = enabled;
            return {};
        }

    private:
        AppFakes &m_fakes;
    };

    class Shortcuts : public ShortcutRegistrar
    {
    public:
        explicit Shortcuts(AppFakes &fakes)
            : m_fakes(fakes)
        {
        }
        Result<void> registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action) override
        {
            ++m_fakes.registrations;
            m_fakes.registered.reset();
            if (m_fakes.takenShortcut == shortcut)
                return LimitraError::shortcutUnavailable(shortcut.displayString());
            m_fakes.registered = shortcut;
            m_fakes.press = std::move(action);
            return {};
        }
        void unregisterShortcut() override
        {
            m_fakes.registered.reset();
            m_fakes.press = nullptr;
        }

    private:
        AppFakes &m_fakes;
    };

    // Services writing to `folder`: the archive and the preferences file.
    AppModel::Services services(const QString &folder)
    {
        AppModel::Services s;
        s.makeCollector = [this](UsageProvider provider, const QString &executableOverride) {
            ++collectorsMade;
            return std::make_unique<Collector>(*this, provider, executableOverride);
        };
        s.archive = std::make_unique<UsageArchiveStore>(folder + QStringLiteral("/usage-history.json"));
        s.preferences = std::make_unique<Preferences>(preferencesPath(folder));
        s.notifier = std::make_unique<RecordingNotifier>(*this);
        s.loginItems = std::make_unique<LoginItems>(*this);
        s.shortcuts = std::make_unique<Shortcuts>(*this);
        s.executablePath = [this] { return std::optional<QString>(executable); };
        s.exportWidget = [this](const QMap<UsageProvider, ProviderSnapshot> &latest) { exports.push_back(latest); };
        s.refreshInterval = refreshInterval;
        return s;
    }

    static QString preferencesPath(const QString &folder) { return folder + QStringLiteral("/Limitra.conf"); }

    // Finishes the pending collections in order, with `make` deciding each result.
    void finishAll(const std::function<Result<ProviderSnapshot>(UsageProvider)> &make)
    {
        while (!collections.empty()) {
            const Collection collection = collections.front();
            collections.pop_front();
            collection.finish(make(collection.provider));
        }
    }

    std::deque<Collection> collections;
    int collectorsMade = 0;
    std::vector<Post> posts;
    int permissionRequests = 0;
    bool loginEnabled = false;
    int loginChanges = 0;
    std::optional<QString> loginFailure;
    std::optional<GlobalShortcut> takenShortcut;
    QString executable = QStringLiteral("/opt/Limitra/limitra");
    std::optional<GlobalShortcut> registered;
    std::function<void()> press;
    int registrations = 0;
    std::vector<QMap<UsageProvider, ProviderSnapshot>> exports;
    std::chrono::milliseconds refreshInterval{std::chrono::hours(1)};
};

// A snapshot with one window per percentage given.
inline ProviderSnapshot usage(UsageProvider provider, std::initializer_list<double> percents,
                              std::optional<QDateTime> resetsAt = std::nullopt)
{
    ProviderSnapshot snapshot;
    snapshot.provider = provider;
    snapshot.collectedAt = QDateTime::currentDateTimeUtc();
    snapshot.source = provider == UsageProvider::codex ? UsageSource::codexAppServer : UsageSource::claudeStatusLine;
    snapshot.state = CollectorState::connected;
    int index = 0;
    for (const double percent : percents) {
        const QString label = index == 0 ? QStringLiteral("5-hour") : QStringLiteral("Weekly");
        snapshot.windows.append(UsageWindow{rawValue(provider) + QStringLiteral(".w%1").arg(index), label, percent,
                                            resetsAt, std::nullopt, std::nullopt});
        ++index;
    }
    return snapshot;
}
