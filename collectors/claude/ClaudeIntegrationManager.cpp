#include "collectors/claude/ClaudeIntegrationManager.h"

#include "model/Json.h"
#include "model/JsonNumberShield.h"
#include "storage/AppPaths.h"
#include "system/AtomicFile.h"

#include <QFile>
#include <QJsonDocument>

#include <unistd.h>

namespace ClaudeIntegrationManager {

namespace {

const QString kBridgeMark = QStringLiteral("--claude-statusline");
const QString kStatusLine = QStringLiteral("statusLine");
const QString kHadStatusLine = QStringLiteral("hadStatusLine");

QString settingsFolder()
{
    return AppPaths::homeDirectory() + QStringLiteral("/.claude");
}

// The settings with the numbers that Qt would not keep exactly set aside in
// `numbers`, which then puts them back when the settings are written.
Result<QJsonObject> loadSettings(JsonNumberShield &numbers)
{
    const QString path = settingsPath();
    if (!FileSystem::exists(path))
        return QJsonObject();
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
    return document->object();
}

// Claude Code owns the file: its permissions stay as the user set them.
Result<void> writeSettings(const QJsonObject &settings, const JsonNumberShield &numbers)
{
    if (Result<void> folder = FileSystem::makeDirectories(settingsFolder()); !folder)
        return folder;
    return AtomicFile::write(settingsPath(), numbers.restore(QJsonDocument(settings).toJson(QJsonDocument::Indented)),
                             {.mode = 0600, .keepExistingMode = true, .durable = true});
}

bool holdsBridge(const QJsonObject &settings)
{
    const QJsonValue command = settings.value(kStatusLine).toObject().value(QStringLiteral("command"));
    return command.isString() && command.toString().contains(kBridgeMark);
}

// What uninstall puts back: the saved status line, or none (remove the member).
std::optional<QJsonValue> savedStatusLine(JsonNumberShield &numbers)
{
    Result<QByteArray> bytes = FileSystem::readFile(backupPath());
    if (!bytes)
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

bool isInstalled()
{
    JsonNumberShield numbers;
    Result<QJsonObject> settings = loadSettings(numbers);
    return settings && holdsBridge(*settings);
}

Result<void> install(const std::optional<QString> &executablePath)
{
    if (!executablePath || executablePath->isEmpty())
        return LimitraError::processFailed(QStringLiteral("Could not determine the Limitra executable path."));
    JsonNumberShield numbers;
    Result<QJsonObject> loaded = loadSettings(numbers);
    if (!loaded)
        return loaded.error();
    QJsonObject settings = *loaded;
    if (holdsBridge(settings))
        return {};

    // Check the settings can be replaced before the backup changes, so a
    // refusal leaves every file as it was.
    if (Result<void> folder = FileSystem::makeDirectories(settingsFolder()); !folder)
        return folder;
    if (Result<void> writable = AtomicFile::checkWritable(settingsPath()); !writable)
        return writable;
    if (Result<void> directory = AppPaths::ensureApplicationSupportDirectory(); !directory)
        return directory;

    const QJsonObject backup{
        {kHadStatusLine, settings.contains(kStatusLine)},
        {kStatusLine, settings.contains(kStatusLine) ? settings.value(kStatusLine) : QJsonValue(QJsonValue::Null)},
    };
    const Result<QByteArray> previousBackup = FileSystem::readFile(backupPath());
    if (Result<void> saved =
            AtomicFile::write(backupPath(), numbers.restore(QJsonDocument(backup).toJson(QJsonDocument::Indented)));
        !saved)
        return saved;

    settings.insert(kStatusLine, QJsonObject{
                                     {QStringLiteral("type"), QStringLiteral("command")},
                                     {QStringLiteral("command"), bridgeCommand(*executablePath)},
                                     {QStringLiteral("refreshInterval"), 60},
                                 });
    Result<void> written = writeSettings(settings, numbers);
    if (!written) {
        // Put the backup back as it was, so that nothing changed at all.
        if (previousBackup)
            (void)AtomicFile::write(backupPath(), *previousBackup);
        else
            ::unlink(QFile::encodeName(backupPath()).constData());
    }
    return written;
}

Result<void> uninstall()
{
    JsonNumberShield numbers;
    Result<QJsonObject> loaded = loadSettings(numbers);
    if (!loaded)
        return loaded.error();
    QJsonObject settings = *loaded;
    if (!holdsBridge(settings))
        return {};
    if (const std::optional<QJsonValue> saved = savedStatusLine(numbers))
        settings.insert(kStatusLine, *saved);
    else
        settings.remove(kStatusLine);
    return writeSettings(settings, numbers);
}

} // namespace ClaudeIntegrationManager
