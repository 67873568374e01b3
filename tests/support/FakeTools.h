#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QTemporaryDir>

#include <sys/types.h>

#include <functional>

// Executables standing in for `codex` and `claude` in tests: small wrapper
// scripts in a folder of their own that run the fake programs of
// tests/fakes with a scenario. Every process such a fake starts records its
// pid, so a test can check that none is left running.
class FakeTools
{
public:
    FakeTools();

    QString folder() const { return m_dir.path(); }

    // A `codex` that plays `scenario` (see tests/fakes/fake_codex.py) and
    // answers the rate-limit request with `result` (the fake's default when
    // empty). `wrapped` keeps the wrapper shell running as the parent of the
    // server, the way the npm package's Node wrapper does.
    QString codex(const QString &scenario, const QByteArray &result = {}, const QString &name = QStringLiteral("codex"),
                  bool wrapped = false);

    // A `claude` that plays `scenario` (see tests/fakes/fake_claude.py) on
    // its terminal, after waiting `delay` seconds.
    QString claude(const QString &scenario, double delay = 0, const QString &name = QStringLiteral("claude"));

    // Everything the fake `codex` programs received on standard input, in order.
    QList<QByteArray> receivedLines() const;
    // What the fake `claude` programs reported: how they were started, then
    // each chunk of keys typed at them, one JSON object each.
    QList<QJsonObject> claudeLog() const;

    // Pids of fake processes (and of the processes they started) that still
    // run; zombies do not count.
    QList<pid_t> livingProcesses() const;

    // Environment entries that point the fakes at this folder's log files;
    // children inherit them from this process after `activate`.
    void activate() const;

private:
    QString writeScript(const QString &name, const QString &command);

    QTemporaryDir m_dir;
    int m_count = 0;
};

bool isRunning(pid_t pid);

// Running processes (zombies left out) whose pid and command line `matches`.
QList<pid_t> runningProcessesWhere(const std::function<bool(pid_t pid, const QByteArray &commandLine)> &matches);
