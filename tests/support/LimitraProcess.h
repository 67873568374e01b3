#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

// How one run of the built `limitra` executable ended.
struct LimitraRun {
    bool finished = false; // false: still running when the test gave up (it was killed)
    bool crashed = false;
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

// Runs the built executable as a real child process with `input` on its
// standard input, closed afterwards.
LimitraRun runLimitra(const QStringList &arguments, const QByteArray &input, const QProcessEnvironment &environment,
                      int timeoutMs = 30000);

// Runs `/bin/sh -c command` the way Claude Code runs a status-line command.
LimitraRun runShell(const QString &command, const QByteArray &input, const QProcessEnvironment &environment,
                    int timeoutMs = 30000);
