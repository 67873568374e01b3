#include "tests/support/FakeTools.h"

#include "tests/support/TestHome.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

FakeTools::FakeTools() = default;

QString FakeTools::codex(const QString &scenario, const QByteArray &result, const QString &name, bool wrapped)
{
    const QString subfolder = m_dir.path() + QStringLiteral("/%1").arg(++m_count);
    QDir().mkpath(subfolder);
    const QString resultFile = subfolder + QStringLiteral("/result.json");
    QFile resultOut(resultFile);
    if (!resultOut.open(QIODevice::WriteOnly) || resultOut.write(result.isEmpty() ? "null" : result) < 0)
        qFatal("cannot write %s", qPrintable(resultFile));
    resultOut.close();

    const QString fake = QStringLiteral(LIMITRA_FAKES_DIR "/fake_codex.py");
    const QString launch = QStringLiteral("python3 '%1' '%2' '%3' \"$@\"").arg(fake, scenario, resultFile);
    const QString script =
        QStringLiteral("#!/bin/sh\n")
        + (wrapped ? launch + QStringLiteral("\n") : QStringLiteral("exec ") + launch + QStringLiteral("\n"));
    const QString path = subfolder + QLatin1Char('/') + name;
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
    qputenv("FAKE_CODEX_LOG", QFile::encodeName(m_dir.path() + QStringLiteral("/received.log")));
    qputenv("FAKE_CODEX_PIDS", QFile::encodeName(m_dir.path() + QStringLiteral("/pids.log")));
}

QList<QByteArray> FakeTools::receivedLines() const
{
    QList<QByteArray> lines = readAll(m_dir.path() + QStringLiteral("/received.log")).split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

QList<pid_t> FakeTools::livingProcesses() const
{
    QList<pid_t> living;
    for (const QByteArray &line : readAll(m_dir.path() + QStringLiteral("/pids.log")).split('\n')) {
        const pid_t pid = line.trimmed().toInt();
        if (pid > 0 && isRunning(pid))
            living.append(pid);
    }
    // Wrapper shells record nothing themselves; find them by their script path.
    const QString marker = m_dir.path();
    for (const QString &entry : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        bool numeric = false;
        const pid_t pid = entry.toInt(&numeric);
        if (!numeric || pid == ::getpid() || living.contains(pid))
            continue;
        const QByteArray commandLine = readAll(QStringLiteral("/proc/%1/cmdline").arg(pid));
        if (commandLine.contains(QFile::encodeName(marker)) && isRunning(pid))
            living.append(pid);
    }
    return living;
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
