#include "tests/support/TestHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

TestHome::TestHome()
{
    m_dir.setAutoRemove(true);
}

TestHome::~TestHome()
{
    if (m_active) {
        qputenv("HOME", m_previousHome);
        qputenv("XDG_DATA_HOME", m_previousDataHome);
        qputenv("XDG_CONFIG_HOME", m_previousConfigHome);
    }
}

void TestHome::activate()
{
    if (!m_active) {
        m_previousHome = qgetenv("HOME");
        m_previousDataHome = qgetenv("XDG_DATA_HOME");
        m_previousConfigHome = qgetenv("XDG_CONFIG_HOME");
        m_active = true;
    }
    qputenv("HOME", QFile::encodeName(path()));
    qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome()));
}

QProcessEnvironment TestHome::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", path());
    environment.insert("XDG_DATA_HOME", dataHome());
    environment.insert("XDG_CONFIG_HOME", configHome());
    return environment;
}

QString TestHome::writeFile(const QString &relative, const QByteArray &content) const
{
    const QString full = path() + QLatin1Char('/') + relative;
    QDir().mkpath(QFileInfo(full).absolutePath());
    QFile file(full);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size())
        qFatal("could not write the test file %s", qPrintable(full));
    return full;
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}
