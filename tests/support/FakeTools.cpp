#include "tests/support/FakeTools.h"

#include "tests/support/TestHome.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>

#include <unistd.h>

FakeTools::FakeTools() = default;

QString FakeTools::codex(const QString &scenario, const QByteArray &result, const QString &name, bool wrapped)
{
    const QString subfolder = m_dir.path() + QStringLiteral("/%1").arg(++m_count);
    QDir().mkpath(subfolder);
    const QString resultFile = subfolder + "/result.json";
    QFile resultOut(resultFile);
    if (!resultOut.open(QIODevice::WriteOnly) || resultOut.write(result.isEmpty() ? "null" : result) < 0)
        qFatal("cannot write %s", qPrintable(resultFile));
    resultOut.close();

    const QString fake = QStringLiteral(LIMITRA_FAKES_DIR "/fake_codex.py");
    const QString launch = QStringLiteral("python3 '%1' '%2' '%3' \"$@\"").arg(fake, scenario, resultFile);
    return writeScript(subfolder + QLatin1Char('/') + name, wrapped ? launch : "exec " + launch);
}

QString FakeTools::claude(const QString &scenario, double delay, const QString &name)
{
    const QString subfolder = m_dir.path() + QStringLiteral("/%1").arg(++m_count);
    QDir().mkpath(subfolder);
    const QString fake = QStringLiteral(LIMITRA_FAKES_DIR "/fake_claude.py");
    return writeScript(subfolder + QLatin1Char('/') + name,
                       QStringLiteral("exec python3 '%1' '%2' '%3' -- \"$@\"").arg(fake, scenario).arg(delay));
}

QString FakeTools::writeScript(const QString &path, const QString &command)
{
    const QString script = QStringLiteral("#!/bin/sh\n%1\n").arg(command);
    QFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(script.toUtf8()) < 0)
        qFatal("cannot write %s", qPrintable(path));
    out.close();
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
                                    | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther);
    return path;
}

void FakeTools::activate() const
{
    const auto set = [this](const char *name, const char *file) {
        qputenv(name, QFile::encodeName(m_dir.path() + QLatin1Char('/') + QLatin1String(file)));
    };
    set("FAKE_CODEX_LOG", "received.log");
    set("FAKE_CODEX_PIDS", "pids.log");
    set("FAKE_CLAUDE_LOG", "claude.log");
    set("FAKE_CLAUDE_PIDS", "pids.log");
}

QList<QByteArray> FakeTools::receivedLines() const
{
    QList<QByteArray> lines = readAll(m_dir.path() + "/received.log").split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QList<QJsonObject> FakeTools::claudeLog() const
{
    QList<QJsonObject> entries;
    for (const QByteArray &line : readAll(m_dir.path() + "/claude.log").split('\n')) {
        if (!line.trimmed().isEmpty())
            entries.append(QJsonDocument::fromJson(line).object());
    }
    return entries;
}

QList<pid_t> FakeTools::livingProcesses() const
{
    QList<pid_t> living;
    for (const QByteArray &line : readAll(m_dir.path() + "/pids.log").split('\n')) {
        const pid_t pid = line.trimmed().toInt();
        if (pid > 0 && isRunning(pid))
            living.append(pid);
    }
    // Wrapper shells record nothing themselves; find them by their script path.
    const QByteArray marker = QFile::encodeName(m_dir.path());
    living += runningProcessesWhere([&living, &marker](pid_t pid, const QByteArray &commandLine) {
        return pid != ::getpid() && !living.contains(pid) && commandLine.contains(marker);
    });
    return living;
}

QList<pid_t> runningProcessesWhere(const std::function<bool(pid_t pid, const QByteArray &commandLine)> &matches)
{
    QList<pid_t> found;
    for (const QString &entry : QDir("/proc").entryList(QDir::Dirs)) {
        bool numeric = false;
        const pid_t pid = entry.toInt(&numeric);
        if (numeric && matches(pid, readAll(QStringLiteral("/proc/%1/cmdline").arg(pid))) && isRunning(pid))
            found.append(pid);
    }
    return found;
}

bool isRunning(pid_t pid)
{
    const QByteArray stat = readAll(QStringLiteral("/proc/%1/stat").arg(pid));
    if (stat.isEmpty())
        return false;
    // The state follows the command name, which is in parentheses.
    const qsizetype close = stat.lastIndexOf(')');
    return close >= 0 && close + 2 < stat.size() && stat[close + 2] != 'Z';
}
