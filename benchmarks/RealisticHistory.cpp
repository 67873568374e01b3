#include "RealisticHistory.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kRoundSeconds = 180;
constexpr int kDays = 90;

} // namespace

QList<ProviderSnapshot> realisticHistory(const QDateTime &end)
{
    QRandomGenerator random(90);
    QList<ProviderSnapshot> history;
    const int rounds = kDays * 86400 / kRoundSeconds;
    history.reserve(rounds * 2);
    double codexSession = 0, codexWeek = 0, claudeSession = 0, claudeWeek = 0, opusWeek = 0;
    for (int round = 0; round < rounds; ++round) {
        const QDateTime at = end.addSecs(qint64(round - rounds) * kRoundSeconds);
        const qint64 fiveHours = at.toSecsSinceEpoch() / (5 * 3600);
        const qint64 week = at.toSecsSinceEpoch() / (7 * 86400);
        if (round % 100 == 0)
            codexSession = claudeSession = 0;
        codexSession = std::min(100.0, codexSession + random.bounded(0.8));
        claudeSession = std::min(100.0, claudeSession + random.bounded(1.1));
        codexWeek = round % 3360 == 0 ? 0 : std::min(100.0, codexWeek + random.bounded(0.05));
        claudeWeek = round % 3360 == 0 ? 0 : std::min(100.0, claudeWeek + random.bounded(0.06));
        opusWeek = round % 3360 == 0 ? 0 : std::min(100.0, opusWeek + random.bounded(0.03));
        const bool trouble = round % 2000 < 15;

        ProviderSnapshot codex;
        codex.provider = UsageProvider::codex;
        codex.collectedAt = at;
        codex.source = UsageSource::codexAppServer;
        codex.state = trouble ? CollectorState::error : CollectorState::connected;
        if (trouble) {
            codex.message = QStringLiteral("Timed out while reading Codex usage.");
        } else {
            codex.windows = {
                UsageWindow{QStringLiteral("codex.codex.primary"), QStringLiteral("5-hour"), std::round(codexSession),
                            QDateTime::fromSecsSinceEpoch((fiveHours + 1) * 5 * 3600, Qt::UTC), 300, std::nullopt},
                UsageWindow{QStringLiteral("codex.codex.secondary"), QStringLiteral("Weekly"), std::round(codexWeek),
                            QDateTime::fromSecsSinceEpoch((week + 1) * 7 * 86400, Qt::UTC), 10080, std::nullopt}};
            if (round % 20 == 0)
                codex.windows.append(UsageWindow{QStringLiteral("codex.codex_bengalfox.primary"),
                                                 QStringLiteral("5-hour"), std::round(codexSession / 3), std::nullopt,
                                                 300, QStringLiteral("GPT-5.1-Codex-Max")});
            codex.planName = QStringLiteral("Pro");
        }
        history.append(codex);

        ProviderSnapshot claude;
        claude.provider = UsageProvider::claude;
        claude.collectedAt = at.addMSecs(350);
        const bool fromScreen = round % 40 < 4;
        claude.source = fromScreen ? UsageSource::claudeUsageCommand : UsageSource::claudeStatusLine;
        claude.state =
            fromScreen ? CollectorState::fallback : (trouble ? CollectorState::stale : CollectorState::connected);
        claude.windows = {
            UsageWindow{QStringLiteral("claude.five_hour"), QStringLiteral("5-hour"), claudeSession,
                        QDateTime::fromSecsSinceEpoch((fiveHours + 1) * 5 * 3600, Qt::UTC), 300, std::nullopt},
            UsageWindow{QStringLiteral("claude.seven_day"), QStringLiteral("Weekly"), claudeWeek,
                        QDateTime::fromSecsSinceEpoch((week + 1) * 7 * 86400, Qt::UTC), 10080, std::nullopt}};
        claude.modelName = QStringLiteral("Opus 4.1");
        if (fromScreen) {
            // The /usage screen also shows the single-model week.
            claude.windows.append(UsageWindow{QStringLiteral("claude.opus_weekly"), QStringLiteral("Opus"), opusWeek,
                                              QDateTime::fromSecsSinceEpoch((week + 1) * 7 * 86400, Qt::UTC), 10080,
                                              QStringLiteral("Opus")});
            claude.planName = QStringLiteral("Max");
            claude.message =
                QStringLiteral("Refreshed through Claude /usage because no active terminal status line was available.");
        }
        history.append(claude);
    }
    return history;
}
