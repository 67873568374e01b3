#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

// A throw-away home folder with its own XDG folders, so that nothing a test
// does reaches the real user's files. `activate` points this process's HOME
// and XDG variables at it (for code under test that runs in-process);
// `environment` gives the same for child processes.
class TestHome
{
public:
    TestHome();
    ~TestHome();

    QString path() const { return m_dir.path(); }
    QString dataHome() const { return path() + QStringLiteral("/.local/share"); }
    QString configHome() const { return path() + QStringLiteral("/.config"); }
    QString appDirectory() const { return dataHome() + QStringLiteral("/Limitra"); }
    QString claudeSettings() const { return path() + QStringLiteral("/.claude/settings.json"); }

    void activate();
    QProcessEnvironment environment() const;

    // Writes a file (creating folders) inside the home; `relative` is from the home.
    QString writeFile(const QString &relative, const QByteArray &content) const;

private:
    QTemporaryDir m_dir;
    QByteArray m_previousHome;
    QByteArray m_previousDataHome;
    QByteArray m_previousConfigHome;
    bool m_active = false;
};

// The whole content of a file, or an empty array when it cannot be read.
QByteArray readAll(const QString &path);
