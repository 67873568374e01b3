// Finding `codex` and `claude` on a file tree made for the test.
#include "system/ExecutableLocator.h"
#include "tests/support/TestHome.h"

#include <QtTest>

namespace {

// Makes an executable (or, with `executable` false, a plain file) at `path`.
QString makeFile(const QString &path, bool executable = true)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write("#!/bin/sh\n") < 0)
        qFatal("cannot write %s", qPrintable(path));
    file.close();
    QFile::setPermissions(path, executable ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                           : QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

} // namespace

class ExecutableLocatorTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHome> m_home;
    ExecutableLocator::SearchPlaces places(const QStringList &path = {}) const
    {
        return {.path = path.join(QLatin1Char(':')),
                .home = m_home->path(),
                .fixed = {m_home->path() + QStringLiteral("/system/brew"),
                          m_home->path() + QStringLiteral("/system/local")}};
    }
    QString at(const QString &relative) const { return m_home->path() + QLatin1Char('/') + relative; }

private Q_SLOTS:
    void init() { m_home = std::make_unique<TestHome>(); }
    void cleanup() { m_home.reset(); }

    void lastPathEntryWins();
    void searchOrderFromLastToFirst();
    void nodeVersions();
    void overrides();
    void nonExecutableFilesAndFolders();
    void claudeLocalInstall();
    void codexCandidatesListedOnce();
    void nothingAnywhere();
};

void ExecutableLocatorTest::lastPathEntryWins()
{
    makeFile(at(QStringLiteral("a/codex")));
    makeFile(at(QStringLiteral("b/codex")));
    const auto found = ExecutableLocator::find(QStringLiteral("codex"), std::nullopt,
                                               places({at(QStringLiteral("a")), QString(), at(QStringLiteral("b"))}));
    QCOMPARE(found, at(QStringLiteral("b/codex")));
}

void ExecutableLocatorTest::searchOrderFromLastToFirst()
{
    // Each level beats all the ones before it; remove the winner to see the next.
    const QStringList winners{QStringLiteral(".bun/bin/codex"),
                              QStringLiteral(".volta/bin/codex"),
                              QStringLiteral(".npm-global/bin/codex"),
                              QStringLiteral(".local/bin/codex"),
                              QStringLiteral("system/local/codex"),
                              QStringLiteral("system/brew/codex"),
                              QStringLiteral("path/codex")};
    for (const QString &file : winners)
        makeFile(at(file));
    for (const QString &expected : winners) {
        QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), std::nullopt, places({at(QStringLiteral("path"))})),
                 at(expected));
        QVERIFY(QFile::remove(at(expected)));
    }
}

void ExecutableLocatorTest::nodeVersions()
{
    makeFile(at(QStringLiteral(".bun/bin/codex")));
    makeFile(at(QStringLiteral(".nvm/versions/node/v18.20.0/bin/codex")));
    makeFile(at(QStringLiteral(".nvm/versions/node/v22.11.0/bin/codex")));
    QDir().mkpath(at(QStringLiteral(".nvm/versions/node/v20.0.0/bin"))); // no codex in this one
    const QStringList listed = QDir(at(QStringLiteral(".nvm/versions/node")))
                                   .entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Unsorted);
    // The version the folder lists last (among those with a codex) wins, over everything else.
    QString expected;
    for (const QString &version : listed) {
        const QString candidate = at(QStringLiteral(".nvm/versions/node/%1/bin/codex").arg(version));
        if (QFile::exists(candidate))
            expected = candidate;
    }
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), std::nullopt, places()), expected);
    const QStringList directories = ExecutableLocator::searchDirectories(places());
    QCOMPARE(directories.size(), 2 + 4 + 3);
}

void ExecutableLocatorTest::overrides()
{
    makeFile(at(QStringLiteral("bin with space/codex")));
    makeFile(at(QStringLiteral(".local/bin/codex")));
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), QStringLiteral("~/bin with space/codex"), places()),
             at(QStringLiteral("bin with space/codex")));
    // Only white space: no override.
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), QStringLiteral(" \t\n"), places()),
             at(QStringLiteral(".local/bin/codex")));
    // An override that is not usable: the search goes on.
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), QStringLiteral("~/missing/codex"), places()),
             at(QStringLiteral(".local/bin/codex")));
    // The untrimmed text is what counts.
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), at(QStringLiteral(".local/bin/codex ")), places()),
             at(QStringLiteral(".local/bin/codex")));
    QCOMPARE(ExecutableLocator::codexCandidates(QStringLiteral("~/bin with space/codex"), places()),
             (QStringList{at(QStringLiteral("bin with space/codex")), at(QStringLiteral(".local/bin/codex"))}));
}

void ExecutableLocatorTest::nonExecutableFilesAndFolders()
{
    makeFile(at(QStringLiteral(".local/bin/codex")), false);
    QDir().mkpath(at(QStringLiteral(".bun/bin/codex"))); // a folder named codex
    makeFile(at(QStringLiteral("path/codex")));
    const auto search = places({at(QStringLiteral("path"))});
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), std::nullopt, search), at(QStringLiteral("path/codex")));
    QVERIFY(!ExecutableLocator::isUsable(at(QStringLiteral(".local/bin/codex"))));
    QVERIFY(!ExecutableLocator::isUsable(at(QStringLiteral(".bun/bin/codex"))));
    QCOMPARE(ExecutableLocator::codexCandidates(at(QStringLiteral(".local/bin/codex")), search),
             QStringList{at(QStringLiteral("path/codex"))});
}

void ExecutableLocatorTest::claudeLocalInstall()
{
    makeFile(at(QStringLiteral(".claude/local/claude")));
    QCOMPARE(ExecutableLocator::findClaude(std::nullopt, places()), at(QStringLiteral(".claude/local/claude")));
    makeFile(at(QStringLiteral("path/claude")));
    QCOMPARE(ExecutableLocator::findClaude(std::nullopt, places({at(QStringLiteral("path"))})),
             at(QStringLiteral("path/claude")));
    makeFile(at(QStringLiteral("custom/claude")));
    QCOMPARE(ExecutableLocator::findClaude(at(QStringLiteral("custom/claude")), places({at(QStringLiteral("path"))})),
             at(QStringLiteral("custom/claude")));
}

void ExecutableLocatorTest::codexCandidatesListedOnce()
{
    // The same binary through a symbolic link and directly: listed once, at the
    // override's place, as it was written.
    const QString real = makeFile(at(QStringLiteral("opt/codex/bin/codex")));
    QDir().mkpath(at(QStringLiteral(".local/bin")));
    QVERIFY(QFile::link(real, at(QStringLiteral(".local/bin/codex"))));
    QCOMPARE(ExecutableLocator::codexCandidates(real, places()), QStringList{real});
    QCOMPARE(ExecutableLocator::codexCandidates(std::nullopt, places()),
             QStringList{at(QStringLiteral(".local/bin/codex"))});
}

void ExecutableLocatorTest::nothingAnywhere()
{
    QCOMPARE(ExecutableLocator::find(QStringLiteral("codex"), std::nullopt, places()), std::nullopt);
    QCOMPARE(ExecutableLocator::findClaude(QString(), places()), std::nullopt);
    QVERIFY(ExecutableLocator::codexCandidates(QStringLiteral("~/nothing"), places()).isEmpty());
}

QTEST_GUILESS_MAIN(ExecutableLocatorTest)
#include "tst_ExecutableLocator.moc"
