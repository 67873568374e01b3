#include "app/UpdaterModel.h"

#include "LimitraVersion.h"
#include "app/Appcast.h"

#include <QNetworkReply>
#include <QNetworkRequest>

#ifndef LIMITRA_APPCAST_URL
#define LIMITRA_APPCAST_URL ""
#endif

namespace {

constexpr qint64 kLargestFeed = 4 * 1024 * 1024;
constexpr int kTransferTimeoutMs = 30000;

} // namespace

UpdaterModel::Options UpdaterModel::Options::current()
{
    return {.feed = QUrl(QStringLiteral(LIMITRA_APPCAST_URL)),
            .shortVersion = QString::fromLatin1(LimitraVersion::kVersion),
            .buildVersion = QString::fromLatin1(LimitraVersion::kBuildNumber)};
}

UpdaterModel::UpdaterModel(Options options, QObject *parent)
    : QObject(parent)
    , m_options(std::move(options))
{
    m_network.setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
    m_network.setTransferTimeout(kTransferTimeoutMs);
    if (m_options.feed.isEmpty())
        return;
    m_daily.setInterval(m_options.interval);
    m_daily.setTimerType(Qt::VeryCoarseTimer);
    connect(&m_daily, &QTimer::timeout, this, &UpdaterModel::checkForUpdates);
    m_daily.start();
    QTimer::singleShot(m_options.firstCheckDelay, this, &UpdaterModel::checkForUpdates);
}

UpdaterModel &UpdaterModel::shared()
{
    static UpdaterModel *instance = new UpdaterModel(Options::current());
    return *instance;
}

QString UpdaterModel::versionText() const
{
    const auto orDash = [](const QString &text) { return text.isEmpty() ? QStringLiteral("—") : text; };
    return QStringLiteral("Version %1 (%2)").arg(orDash(m_options.shortVersion), orDash(m_options.buildVersion));
}

void UpdaterModel::checkForUpdates()
{
    if (!canCheckForUpdates())
        return;
    QNetworkRequest request(m_options.feed);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Limitra/%1").arg(m_options.shortVersion));
    m_reply = m_network.get(request);
    Q_EMIT canCheckForUpdatesChanged();
    QNetworkReply *reply = m_reply;
    connect(reply, &QNetworkReply::downloadProgress, this, [reply](qint64 received, qint64) {
        if (received > kLargestFeed)
            reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply] { finish(reply); });
}

void UpdaterModel::finish(QNetworkReply *reply)
{
    reply->deleteLater();
    m_reply.clear();
    Q_EMIT canCheckForUpdatesChanged();

    if (reply->error() != QNetworkReply::NoError) {
        m_statusMessage = QStringLiteral("The update check failed: %1").arg(reply->errorString());
        Q_EMIT resultChanged();
        return;
    }
    const Result<QList<AppcastItem>> items = Appcast::parse(reply->readAll());
    if (!items) {
        m_statusMessage = QStringLiteral("The update check failed: %1").arg(items.error().description());
        Q_EMIT resultChanged();
        return;
    }
    const std::optional<AppcastItem> update =
        Appcast::newestUpdate(*items, m_options.shortVersion, m_options.buildVersion);
    if (!update) {
        m_availableVersion.clear();
        m_availableLink.clear();
        m_statusMessage = QStringLiteral("Limitra is up to date.");
        Q_EMIT resultChanged();
        return;
    }
    m_availableVersion = update->shortVersion.isEmpty() ? update->version : update->shortVersion;
    m_availableLink = update->link;
    m_statusMessage = QStringLiteral("Limitra %1 is available.").arg(m_availableVersion);
    Q_EMIT resultChanged();
    Q_EMIT updateFound(m_availableVersion, m_availableLink);
}
