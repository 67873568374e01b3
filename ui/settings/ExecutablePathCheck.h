#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// What is wrong with an executable path typed into the settings, in the words
// the diagnostics use; the path is stored and used as typed either way.
class ExecutablePathCheck : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    explicit ExecutablePathCheck(QObject *parent = nullptr)
        : QObject(parent)
    {
    }

    // Empty when the path is blank (automatic discovery) or names an executable file.
    Q_INVOKABLE QString problem(const QString &toolName, const QString &path) const;
};
