#include "app/platform/LaunchAtLoginManager.h"

#include "LimitraIdentity.h"
#include "system/AppPaths.h"
#include "system/AtomicFile.h"
#include "system/FileSystem.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <unistd.h>

namespace {

// Quoting of an Exec argument, then the escaping of a desktop-entry string.
QString quoteExecArgument(const QString &argument)
{
    QString quoted;
    for (const QChar c : argument) {
        if (c == QLatin1Char('"') || c == QLatin1Char('`') || c == QLatin1Char('$') || c == QLatin1Char('\\'))
            quoted += QLatin1Char('\\');
        quoted += c;
    }
    quoted.replace(QLatin1Char('%'), QStringLiteral("%%"));
    quoted = QLatin1Char('"') + quoted + QLatin1Char('"');
    return quoted.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
}

QString unescapeString(const QString &value)
{
    QString result;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != QLatin1Char('\\') || i + 1 == value.size()) {
            result += value[i];
            continue;
        }
        const QChar next = value[++i];
        if (next == QLatin1Char('s'))
            result += QLatin1Char(' ');
        else if (next == QLatin1Char('n'))
            result += QLatin1Char('\n');
        else if (next == QLatin1Char('t'))
            result += QLatin1Char('\t');
        else if (next == QLatin1Char('r'))
            result += QLatin1Char('\r');
        else
            result += next;
    }
    return result;
}

// The entry's keys of its [Desktop Entry] group.
QString groupValue(const QByteArray &entry, const QString &key)
{
    bool inMainGroup = false;
    for (const QByteArray &rawLine : entry.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMainGroup || line.startsWith(QLatin1Char('#')))
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals > 0 && line.left(equals).trimmed() == key)
            return line.mid(equals + 1).trimmed();
    }
    return {};
}

} // namespace

LaunchAtLoginManager::LaunchAtLoginManager(QString executablePath, QString entryPath)
    : m_executablePath(std::move(executablePath))
    , m_entryPath(std::move(entryPath))
{
}

QString LaunchAtLoginManager::defaultEntryPath()
{
    return AppPaths::configHome() + QStringLiteral("/autostart/" LIMITRA_APP_ID ".desktop");
}

QByteArray LaunchAtLoginManager::entry(const QString &executablePath)
{
    return QStringLiteral("[Desktop Entry]\n"
                          "Type=Application\n"
                          "Name=Limitra\n"
                          "Comment=Usage limits of OpenAI Codex and Claude Code\n"
                          "Exec=%1\n"
                          "Icon=" LIMITRA_APP_ID "\n"
                          "Terminal=false\n"
                          "X-GNOME-Autostart-enabled=true\n")
        .arg(quoteExecArgument(executablePath))
        .toUtf8();
}

QString LaunchAtLoginManager::execProgram(const QByteArray &entry)
{
    const QString exec = unescapeString(groupValue(entry, QStringLiteral("Exec")));
    if (exec.startsWith(QLatin1Char('"'))) {
        QString program;
        for (qsizetype i = 1; i < exec.size(); ++i) {
            if (exec[i] == QLatin1Char('\\') && i + 1 < exec.size())
                program += exec[++i];
            else if (exec[i] == QLatin1Char('"'))
                return program.replace(QStringLiteral("%%"), QStringLiteral("%"));
            else
                program += exec[i];
        }
        return {}; // no closing quote
    }
    return exec.section(QLatin1Char(' '), 0, 0, QString::SectionSkipEmpty)
        .replace(QStringLiteral("%%"), QStringLiteral("%"));
}

bool LaunchAtLoginManager::isEnabled() const
{
    Result<QByteArray> content = FileSystem::readFile(m_entryPath, 1024 * 1024);
    if (!content)
        return false;
    if (groupValue(*content, QStringLiteral("Hidden")).compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return false;
    if (groupValue(*content, QStringLiteral("X-GNOME-Autostart-enabled"))
            .compare(QLatin1String("false"), Qt::CaseInsensitive)
        == 0)
        return false;
    const QString program = execProgram(*content);
    if (program.isEmpty())
        return false;
    if (program == m_executablePath)
        return true;
    // The same file through another path (a link, "..").
    const QString canonical = QFileInfo(program).canonicalFilePath();
    return !canonical.isEmpty() && canonical == QFileInfo(m_executablePath).canonicalFilePath();
}

Result<void> LaunchAtLoginManager::setEnabled(bool enabled)
{
    if (enabled == isEnabled())
        return {};
    if (!enabled) {
        if (::unlink(QFile::encodeName(m_entryPath).constData()) != 0 && errno != ENOENT)
            return Error::fromErrno(errno, QStringLiteral("Could not remove %1").arg(m_entryPath));
        return {};
    }
    if (m_executablePath.isEmpty())
        return LimitraError::processFailed(QStringLiteral("Could not determine the Limitra executable path."));
    if (Result<void> folder = FileSystem::makeDirectories(QFileInfo(m_entryPath).absolutePath()); !folder)
        return folder;
    return AtomicFile::write(m_entryPath, entry(m_executablePath), {.mode = 0644, .keepExistingMode = false});
}
