// Appends to a history file in a loop until killed; the archive tests kill it
// at random moments. Prints a dot after each append. Usage: archive_writer PATH
#include "storage/ArchiveFile.h"

#include <QCoreApplication>

#include <unistd.h>

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    QDateTime now = QDateTime::currentDateTimeUtc();
    ArchiveFile archive(QString::fromLocal8Bit(argv[1]), 90 * 86400.0, [&now] { return now; });
    for (int round = 0;; ++round) {
        now = now.addSecs(180);
        QList<ProviderSnapshot> snapshots;
        // Rounds of very different sizes, so the kill lands in all phases of a write.
        for (int i = 0; i < 1 + (round % 5) * 400; ++i) {
            ProviderSnapshot snapshot;
            snapshot.provider = i % 2 ? UsageProvider::claude : UsageProvider::codex;
            snapshot.collectedAt = now.addMSecs(i);
            snapshot.state = CollectorState::connected;
            snapshot.windows = {
                UsageWindow{QStringLiteral("w"), QStringLiteral("5-hour"), double(round), now, 300, std::nullopt}};
            snapshots.append(snapshot);
        }
        if (!archive.append(snapshots))
            return 1;
        // Each whole round is announced, so the kills can wait for the first.
        if (::write(STDOUT_FILENO, ".", 1) != 1)
            return 1;
    }
}
