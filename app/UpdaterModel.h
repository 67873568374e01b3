#pragma once

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>

#include <chrono>

// Notify-only update checks: reads an update feed (a Sparkle-format appcast)
// from a URL fixed at build time, once a day and when asked, and reports a
// newer release with a link. It never downloads or installs anything. Without
// a feed URL no check can start.
class UpdaterModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool canCheckForUpdates READ canCheckForUpdates NOTIFY canCheckForUpdatesChanged)
    // The newer release's version ("1.4"), empty while there is none.
    Q_PROPERTY(QString availableVersion READ availableVersion NOTIFY resultChanged)
    Q_PROPERTY(QUrl availableLink READ availableLink NOTIFY resultChanged)
    // The outcome of the last check, for the settings page; empty before one.
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY resultChanged)
    // "Version 0.1.0 (1)".
    Q_PROPERTY(QString versionText READ versionText CONSTANT)

public:
    struct Options {
        QUrl feed;
        QString shortVersion;
        QString buildVersion;
        std::chrono::milliseconds interval{std::chrono::hours(24)};
        // The first automatic check, a little after start-up.
        std::chrono::milliseconds firstCheckDelay{std::chrono::minutes(1)};

        // The feed, version and build number compiled into this build.
        static Options current();
    };

    explicit UpdaterModel(Options options, QObject *parent = nullptr);

    static UpdaterModel &shared();

    bool canCheckForUpdates() const { return !m_options.feed.isEmpty() && !m_reply; }
    QString availableVersion() const { return m_availableVersion; }
    QUrl availableLink() const { return m_availableLink; }
    QString statusMessage() const { return m_statusMessage; }
    QString versionText() const;

public Q_SLOTS:
    void checkForUpdates();

Q_SIGNALS:
    void canCheckForUpdatesChanged();
    void resultChanged();
    // A check (automatic or asked for) found a newer release.
    void updateFound(const QString &version, const QUrl &link);

private:
    void finish(QNetworkReply *reply);

    Options m_options;
    QNetworkAccessManager m_network;
    QPointer<QNetworkReply> m_reply;
    QTimer m_daily;
    QString m_availableVersion;
    QUrl m_availableLink;
    QString m_statusMessage;
};
