#pragma once

#include "app/AppModel.h"
#include "app/Preferences.h"
#include "app/platform/LoginItemService.h"
#include "app/platform/Notifier.h"
#include "app/platform/ShortcutRegistrar.h"
#include "model/UsageCollecting.h"
#include "storage/UsageArchiveStore.h"
#include "tests/support/SnapshotSamples.h"

#include <QPromise>

#include <deque>
#include <memory>

// The model's platform services, each doing what its functions say.
struct FakeNotifier final : Notifier {
    std::function<void()> onPermission;
    std::function<void(const QString &identifier, const QString &title, const QString &body)> onPost;
    void requestPermission() override { onPermission(); }
    void post(const QString &identifier, const QString &title, const QString &body) override
    {
        onPost(identifier, title, body);
    }
};

struct FakeLoginItems final : LoginItemService {
    std::function<bool()> enabled;
    std::function<Result<void>(bool)> onSet;
    bool isEnabled() const override { return enabled(); }
    Result<void> setEnabled(bool on) override { return onSet(on); }
};

struct FakeShortcuts final : ShortcutRegistrar {
    std::function<Result<void>(const GlobalShortcut &, std::function<void()>)> onRegister;
    std::function<void()> onUnregister;
    Result<void> registerShortcut(const GlobalShortcut &shortcut, std::function<void()> action) override
    {
        return onRegister(shortcut, std::move(action));
    }
    void unregisterShortcut() override { onUnregister(); }
};

struct FakeCollector final : UsageCollecting {
    UsageProvider which;
    std::function<QFuture<Result<ProviderSnapshot>>()> onCollect;
    UsageProvider provider() const override { return which; }
    QFuture<Result<ProviderSnapshot>> collect() override { return onCollect(); }
};

// Services for the model that record everything they are asked to do, with
// collectors whose rounds the test finishes by hand and a clock that stands still.
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
    };

    // Services writing to `folder`: the archive and the preferences file.
    AppModel::Services services(const QString &folder)
    {
        AppModel::Services s;
        s.makeCollector = [this](UsageProvider provider, const QString &executableOverride) {
            auto collector = std::make_unique<FakeCollector>();
            collector->which = provider;
            collector->onCollect = [this, provider, executableOverride] {
                auto promise = std::make_shared<QPromise<Result<ProviderSnapshot>>>();
                promise->start();
                collections.push_back({provider, executableOverride, promise});
                return promise->future();
            };
            ++collectorsMade;
            return collector;
        };
        s.archive = std::make_unique<UsageArchiveStore>(folder + QStringLiteral("/usage-history.json"));
        s.preferences = std::make_unique<Preferences>(preferencesPath(folder));
        auto notifier = std::make_unique<FakeNotifier>();
        notifier->onPermission = [this] { ++permissionRequests; };
        notifier->onPost = [this](const QString &id, const QString &title, const QString &body) {
            posts.push_back({id, title, body});
        };
        s.notifier = std::move(notifier);
        auto login = std::make_unique<FakeLoginItems>();
        login->enabled = [this] { return loginEnabled; };
        login->onSet = [this](bool on) -> Result<void> {
            if (loginFailure)
                return Error::platform(*loginFailure);
            loginEnabled = on;
            return {};
        };
        s.loginItems = std::move(login);
        auto shortcuts = std::make_unique<FakeShortcuts>();
        shortcuts->onRegister = [this](const GlobalShortcut &shortcut, std::function<void()> action) -> Result<void> {
            ++registrations;
            registered.reset();
            if (takenShortcut == shortcut)
                return LimitraError::shortcutUnavailable(shortcut.displayString());
            registered = shortcut;
            press = std::move(action);
            return {};
        };
        shortcuts->onUnregister = [this] {
            registered.reset();
            press = nullptr;
        };
        s.shortcuts = std::move(shortcuts);
        s.executablePath = [this] { return std::optional<QString>(executable); };
        s.exportWidget = [this](const QMap<UsageProvider, ProviderSnapshot> &latest) { exports.push_back(latest); };
        s.now = [this] { return now; };
        s.runLater = [this](std::chrono::milliseconds interval, QObject *, std::function<void()> next) {
            scheduled.push_back({interval, std::move(next)});
        };
        return s;
    }

    static QString preferencesPath(const QString &folder) { return folder + QStringLiteral("/Limitra.conf"); }

    // A snapshot of `provider` collected now: its first percentage a 5-hour
    // window, any other a weekly one, all resetting at `resetsAt`.
    ProviderSnapshot usage(UsageProvider provider, QList<double> percents,
                           std::optional<QDateTime> resetsAt = std::nullopt) const
    {
        QList<UsageWindow> windows;
        for (qsizetype i = 0; i < percents.size(); ++i) {
            windows.append(i == 0 ? SnapshotSamples::fiveHour(provider, percents[i], resetsAt)
                                  : SnapshotSamples::weekly(provider, percents[i], resetsAt));
            if (i > 1)
                windows.last().id += QString::number(i); // one id per window
        }
        return SnapshotSamples::connected(provider, now, windows);
    }
    // A round where every provider has `percents`.
    void finishAllAt(QList<double> percents)
    {
        finishAll([&](UsageProvider provider) { return usage(provider, percents); });
    }

    // Finishes the pending collections in order, with `make` deciding each result.
    void finishAll(const std::function<Result<ProviderSnapshot>(UsageProvider)> &make)
    {
        while (!collections.empty()) {
            const Collection collection = collections.front();
            collections.pop_front();
            collection.promise->addResult(make(collection.provider));
            collection.promise->finish();
        }
    }

    const QDateTime now = QDateTime::currentDateTimeUtc();
    std::deque<Collection> collections;
    int collectorsMade = 0;
    std::vector<Post> posts;
    int permissionRequests = 0;
    bool loginEnabled = false;
    std::optional<QString> loginFailure;
    std::optional<GlobalShortcut> takenShortcut;
    QString executable = QStringLiteral("/opt/Limitra/limitra");
    std::optional<GlobalShortcut> registered;
    std::function<void()> press;
    int registrations = 0;
    std::vector<QMap<UsageProvider, ProviderSnapshot>> exports;
    // The periodic rounds the model asked for, which no timer runs.
    std::vector<std::pair<std::chrono::milliseconds, std::function<void()>>> scheduled;
};
