// Lost updates of ~/.claude/settings.json while another program rewrites it:
// an editor-like writer (read, change one member, write a temporary file,
// rename) runs in a loop in a thread of its own while the bridge is installed
// and removed ROUNDS times. Before each rewrite the other writer checks that
// the file still holds its own last value; when it does not, a bridge write
// replaced its fresh content with a stale copy: a lost update.
//
//   settings_race ROUNDS PAUSE_MS     (HOME must be a scratch folder)
#include "collectors/claude/ClaudeIntegrationManager.h"
#include "system/FileSystem.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

namespace {

constexpr char kMember[] = "otherWriterCount";

struct OtherWriter {
    std::atomic<bool> stop{false};
    int rewrites = 0;
    int lost = 0;

    void run(const QString &path, std::chrono::milliseconds pause)
    {
        int last = 0;
        while (!stop.load()) {
            QFile in(path);
            if (!in.open(QIODevice::ReadOnly))
                continue;
            QJsonObject settings = QJsonDocument::fromJson(in.readAll()).object();
            in.close();
            if (settings.value(QLatin1String(kMember)).toInt() != last)
                ++lost;
            settings.insert(QLatin1String(kMember), ++last);
            QFile out(path + QStringLiteral(".editor-tmp"));
            if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
                continue;
            out.write(QJsonDocument(settings).toJson());
            out.close();
            std::rename(QFile::encodeName(out.fileName()).constData(), QFile::encodeName(path).constData());
            ++rewrites;
            std::this_thread::sleep_for(pause);
        }
    }
};

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: settings_race ROUNDS PAUSE_MS\n");
        return 2;
    }
    const int rounds = std::atoi(argv[1]);
    const std::chrono::milliseconds pause(std::atoi(argv[2]));
    const QString path = ClaudeIntegrationManager::settingsPath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile seed(path);
    if (!seed.open(QIODevice::WriteOnly)
        || seed.write(R"({"statusLine": {"type": "command", "command": "echo mine"}, "otherWriterCount": 0})") < 0) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return 1;
    }
    seed.close();

    OtherWriter writer;
    std::thread thread([&] { writer.run(path, pause); });
    int written = 0;
    int keptChanging = 0;
    int otherErrors = 0;
    for (int round = 0; round < rounds; ++round) {
        const Result<void> result =
            round % 2 == 0 ? ClaudeIntegrationManager::install() : ClaudeIntegrationManager::uninstall();
        if (result)
            ++written;
        else if (result.error().description().contains(QLatin1String("kept changing")))
            ++keptChanging;
        else
            ++otherErrors;
    }
    // One more rewrite by the other writer sees the last bridge write.
    std::this_thread::sleep_for(pause + std::chrono::milliseconds(50));
    writer.stop = true;
    thread.join();
    std::printf("bridge writes: %d, went through: %d, refused as \"kept changing\": %d, other errors: %d\n", rounds,
                written, keptChanging, otherErrors);
    std::printf("other writer: %d rewrites, %d lost updates\n", writer.rewrites, writer.lost);
    return writer.lost == 0 ? 0 : 1;
}
