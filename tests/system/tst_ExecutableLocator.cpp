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

    void find_data();
    void find();
    void searchOrderFromLastToFirst();
    void nodeVersions();
    void codexCandidates();
};

void ExecutableLocatorTest::find_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("made"); // "-" before: not executable; "/" after: a folder
    QTest::addColumn<QStringList>("path");
    QTest::addColumn<std::optional<QString>>("override");
    QTest::addColumn<QString>("found"); // empty: nothing
    const std::optional<QString> none;
    const QString local = QStringLiteral(".local/bin/codex");
    QTest::newRow("last PATH entry wins")
        << "codex" << QStringList{"a/codex", "b/codex"} << QStringList{"a", "", "b"} << none << "b/codex";
    QTest::newRow("override from home, with a space")
        << "codex" << QStringList{"bin with space/codex", local} << QStringList()
        << std::optional<QString>("~/bin with space/codex") << "bin with space/codex";
    QTest::newRow("white space only is no override")
        << "codex" << QStringList{local} << QStringList() << std::optional<QString>(" \t\n") << local;
    QTest::newRow("unusable override: the search goes on")
        << "codex" << QStringList{local} << QStringList() << std::optional<QString>("~/missing/codex") << local;
    QTest::newRow("the untrimmed text counts")
        << "codex" << QStringList{local} << QStringList() << std::optional<QString>("~/.local/bin/codex ") << local;
    QTest::newRow("plain files and folders are skipped")
        << "codex" << QStringList{"-.local/bin/codex", ".bun/bin/codex/", "path/codex"} << QStringList{"path"} << none
        << "path/codex";
    QTest::newRow("nothing anywhere") << "codex" << QStringList() << QStringList() << none << "";
    QTest::newRow("claude's local install")
        << "claude" << QStringList{".claude/local/claude"} << QStringList() << none << ".claude/local/claude";
    QTest::newRow("claude in PATH first") << "claude" << QStringList{".claude/local/claude", "path/claude"}
                                          << QStringList{"path"} << none << "path/claude";
}

void ExecutableLocatorTest::find()
{
    QFETCH(QString, name);
    QFETCH(QStringList, made);
    QFETCH(QStringList, path);
    QFETCH(std::optional<QString>, override);
    QFETCH(QString, found);
    for (const QString &entry : made) {
        if (entry.endsWith(QLatin1Char('/')))
            QVERIFY(QDir().mkpath(at(entry)));
        else
            makeFile(at(entry.startsWith(QLatin1Char('-')) ? entry.mid(1) : entry),
                     !entry.startsWith(QLatin1Char('-')));
    }
    for (QString &entry : path)
        entry = entry.isEmpty() ? entry : at(entry);
    const std::optional<QString> result = name == QLatin1String("claude")
                                              ? ExecutableLocator::findClaude(override, places(path))
                                              : ExecutableLocator::find(name, override, places(path));
    QCOMPARE(result, found.isEmpty() ? std::nullopt : std::optional<QString>(at(found)));
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

void ExecutableLocatorTest::codexCandidates()
{
    // The override, then what the search finds; the same binary through a
    // symbolic link and directly is listed once, at the override's place, as
    // it was written.
    const QString real = makeFile(at(QStringLiteral("opt/codex/bin/codex")));
    QDir().mkpath(at(QStringLiteral(".local/bin")));
    QVERIFY(QFile::link(real, at(QStringLiteral(".local/bin/codex"))));
    makeFile(at(QStringLiteral("plain/codex")), false);
    const auto search = places();
    QCOMPARE(ExecutableLocator::codexCandidates(real, search), QStringList{real});
    QCOMPARE(ExecutableLocator::codexCandidates(at(QStringLiteral("plain/codex")), search),
             QStringList{at(QStringLiteral(".local/bin/codex"))});
    QVERIFY(!ExecutableLocator::isUsable(at(QStringLiteral("plain/codex"))));
    const QString other = makeFile(at(QStringLiteral("bin with space/codex")));
    QCOMPARE(ExecutableLocator::codexCandidates(QStringLiteral("~/bin with space/codex"), search),
             (QStringList{other, at(QStringLiteral(".local/bin/codex"))}));
}

QTEST_GUILESS_MAIN(ExecutableLocatorTest)
#include "tst_ExecutableLocator.moc"
