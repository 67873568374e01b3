#include "collectors/claude/ClaudeIntegrationManager.h"

#include "collectors/claude/ClaudeStatusLineHelper.h"
#include "model/Json.h"
#include "model/JsonNumberShield.h"
#include "system/AppPaths.h"
#include "system/AtomicFile.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <unistd.h>

namespace ClaudeIntegrationManager {

namespace {

const QString kBridgeMark = QString::fromLatin1(ClaudeStatusLineHelper::kCommandLineSwitch);
const QString kStatusLine = QStringLiteral("statusLine");
const QString kHadStatusLine = QStringLiteral("hadStatusLine");
// Claude Code and editors write the settings too; a few rounds of reading
// again are enough unless something rewrites the file in a loop.
constexpr int kWriteAttempts = 5;

QString settingsFolder()
{
    return AppPaths::homeDirectory() + QStringLiteral("/.claude");
}

// The settings file as read, so that a write can tell whether another program
// (Claude Code, an editor) changed it meanwhile.
struct SettingsFile {
    QJsonObject settings;
    std::optional<QByteArray> bytes; // none: there was no file
};

// The settings with the numbers that Qt would not keep exactly set aside in
// `numbers`, which then puts them back when the settings are written.
Result<SettingsFile> loadSettings(JsonNumberShield &numbers)
{
    const QString path = settingsPath();
    if (!FileSystem::exists(path))
        return SettingsFile{};
    Result<QByteArray> bytes = FileSystem::readFile(path);
    if (!bytes)
        return bytes.error();
    const QString subject = QStringLiteral("~/.claude/settings.json");
    // Checked as written, so that an error names the position in the file.
    if (Result<void> grammar = requireJsonGrammar(*bytes, subject); !grammar)
        return grammar.error();
    Result<QJsonDocument> document = parseJson(numbers.shield(*bytes), subject);
    if (!document)
        return document.error();
    if (!document->isObject())
        return LimitraError::invalidResponse(QStringLiteral("~/.claude/settings.json is not a JSON object"));
    return SettingsFile{document->object(), *bytes};
}

// Claude Code owns the file: its permissions stay as the user set them. Sets
// `changedMeanwhile` (and writes nothing) when the file no longer holds what
// `read` held.
Result<void> writeSettings(const QJsonObject &settings, const JsonNumberShield &numbers, const SettingsFile &read,
                           bool &changedMeanwhile)
{
    if (Result<void> folder = FileSystem::makeDirectories(settingsFolder()); !folder)
        return folder;
    changedMeanwhile = false;
    const auto stillAsRead = [&](const std::optional<QByteArray> &current) {
        changedMeanwhile = current != read.bytes;
        return !changedMeanwhile;
    };
    return AtomicFile::write(settingsPath(), numbers.restore(QJsonDocument(settings).toJson(QJsonDocument::Indented)),
                             {.mode = 0600, .keepExistingMode = true, .durable = true, .stillAsRead = stillAsRead});
}

// One write of a read-modify-write round: true when the file changed
// underneath it (nothing was written; read again).
Result<bool> writeAttempt(const QJsonObject &settings, const JsonNumberShield &numbers, const SettingsFile &read)
{
    bool changedMeanwhile = false;
    Result<void> written = writeSettings(settings, numbers, read, changedMeanwhile);
    if (changedMeanwhile)
        return true;
    if (!written)
        return written.error();
    return false;
}

// Runs one read-modify-write of the settings (`attempt` returns whether the
// file changed underneath it) until it goes through.
Result<void> untilUnchanged(const std::function<Result<bool>()> &attempt)
{
    for (int tries = 0; tries < kWriteAttempts; ++tries) {
        Result<bool> changed = attempt();
        if (!changed)
            return changed.error();
        if (!*changed)
            return {};
    }
    return Error::platform(
        QStringLiteral("~/.claude/settings.json kept changing while Limitra wrote it. Try again in a moment."));
}

QString statusLineCommand(const QJsonObject &settings)
{
    return settings.value(kStatusLine).toObject().value(QStringLiteral("command")).toString();
}

bool holdsBridge(const QJsonObject &settings)
{
    return statusLineCommand(settings).contains(kBridgeMark);
}

bool holdsBrokenBridge(const QJsonObject &settings)
{
    if (!holdsBridge(settings))
        return false;
    const std::optional<QString> executable = bridgeExecutable(statusLineCommand(settings));
    return executable && !QFileInfo::exists(*executable);
}

// What uninstall puts back: the saved status line, or none (remove the member).
std::optional<QJsonValue> savedStatusLine(JsonNumberShield &numbers)
{
    Result<QByteArray> bytes = FileSystem::readFile(backupPath());
    // A broken backup is as good as none: nothing of it is put back.
    if (!bytes || !requireJsonGrammar(*bytes, QStringLiteral("The status-line backup")))
        return std::nullopt;
    const QJsonObject backup = QJsonDocument::fromJson(numbers.shield(*bytes)).object();
    if (!backup.value(kHadStatusLine).toBool(false))
        return std::nullopt;
    const QJsonValue saved = backup.value(kStatusLine);
    if (saved.isUndefined() || saved.isNull())
        return std::nullopt;
    return saved;
}

} // namespace

QString settingsPath()
{
    return settingsFolder() + QStringLiteral("/settings.json");
}

QString backupPath()
{
    return AppPaths::applicationSupportDirectory() + QStringLiteral("/claude-statusline-backup.json");
}

QString bridgeCommand(const QString &executablePath)
{
    QString quoted = executablePath;
    quoted.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + quoted + QStringLiteral("' ") + kBridgeMark;
}

std::optional<QString> bridgeExecutable(const QString &command)
{
    const QString suffix = QLatin1Char(' ') + kBridgeMark;
    if (!command.startsWith(QLatin1Char('\'')) || !command.endsWith(suffix))
        return std::nullopt;
    const QString quoted = command.left(command.size() - suffix.size());
    QString path;
    bool inQuotes = false;
    for (qsizetype i = 0; i < quoted.size(); ++i) {
        const QChar c = quoted[i];
        if (c == QLatin1Char('\''))
            inQuotes = !inQuotes;
        else if (inQuotes)
            path += c;
        else if (c == QLatin1Char('\\') && i + 1 < quoted.size())
            path += quoted[++i];
        else
            return std::nullopt; // not the quoting that bridgeCommand writes
    }
    if (inQuotes)
        return std::nullopt;
    return path;
}

bool isBroken()
{
    JsonNumberShield numbers;
    Result<SettingsFile> file = loadSettings(numbers);
    return file && holdsBrokenBridge(file->settings);
}

bool isInstalled()
{
    JsonNumberShield numbers;
    Result<SettingsFile> file = loadSettings(numbers);
    return file && holdsBridge(file->settings);
}

Result<void> install(const std::optional<QString> &executablePath)
{
    if (!executablePath || executablePath->isEmpty())
        return LimitraError::processFailed(QStringLiteral("Could not determine the Limitra executable path."));
    return untilUnchanged([&]() -> Result<bool> {
        JsonNumberShield numbers;
        Result<SettingsFile> loaded = loadSettings(numbers);
        if (!loaded)
            return loaded.error();
        QJsonObject settings = loaded->settings;
        if (holdsBrokenBridge(settings)) {
            // The backup still holds the user's status line from the first
            // installation; only the command changes.
            QJsonObject statusLine = settings.value(kStatusLine).toObject();
            statusLine.insert(QStringLiteral("command"), bridgeCommand(*executablePath));
            settings.insert(kStatusLine, statusLine);
            return writeAttempt(settings, numbers, *loaded);
        }
        if (holdsBridge(settings))
            return false;

        // Check the settings can be replaced before the backup changes, so a
        // refusal leaves every file as it was.
        if (Result<void> folder = FileSystem::makeDirectories(settingsFolder()); !folder)
            return folder.error();
        if (Result<void> writable = AtomicFile::checkWritable(settingsPath()); !writable)
            return writable.error();
        if (Result<void> directory = AppPaths::ensureApplicationSupportDirectory(); !directory)
            return directory.error();

        const QJsonObject backup{
            {kHadStatusLine, settings.contains(kStatusLine)},
            {kStatusLine, settings.contains(kStatusLine) ? settings.value(kStatusLine) : QJsonValue(QJsonValue::Null)},
        };
        const Result<QByteArray> previousBackup = FileSystem::readFile(backupPath());
        if (Result<void> saved =
                AtomicFile::write(backupPath(), numbers.restore(QJsonDocument(backup).toJson(QJsonDocument::Indented)));
            !saved)
            return saved.error();

        settings.insert(kStatusLine, QJsonObject{
                                         {QStringLiteral("type"), QStringLiteral("command")},
                                         {QStringLiteral("command"), bridgeCommand(*executablePath)},
                                         {QStringLiteral("refreshInterval"), 60},
                                     });
        bool changedMeanwhile = false;
        Result<void> written = writeSettings(settings, numbers, *loaded, changedMeanwhile);
        if (!written) {
            // Put the backup back as it was, so that nothing changed at all.
            if (previousBackup)
                (void)AtomicFile::write(backupPath(), *previousBackup);
            else
                ::unlink(QFile::encodeName(backupPath()).constData());
        }
        if (changedMeanwhile)
            return true;
        if (!written)
            return written.error();
        return false;
    });
}

Result<void> uninstall()
{
    return untilUnchanged([]() -> Result<bool> {
        JsonNumberShield numbers;
        Result<SettingsFile> loaded = loadSettings(numbers);
        if (!loaded)
            return loaded.error();
        QJsonObject settings = loaded->settings;
        if (!holdsBridge(settings))
            return false;
        if (const std::optional<QJsonValue> saved = savedStatusLine(numbers))
            settings.insert(kStatusLine, *saved);
        else
            settings.remove(kStatusLine);
        return writeAttempt(settings, numbers, *loaded);
    });
}

} // namespace ClaudeIntegrationManager
