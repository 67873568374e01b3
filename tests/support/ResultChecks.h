#pragma once

#include "model/UsageWindow.h"

#include <QtTest>

// Fails the test with the error's own text when `result` holds an error.
// `result` is evaluated once: it may be a call that starts a process.
#define QVERIFY_OK(result)                                                                                             \
    do {                                                                                                               \
        const auto &checkedResult = (result);                                                                          \
        QVERIFY2(checkedResult.ok(), checkedResult.ok() ? "" : qPrintable(checkedResult.error().description()));       \
    } while (false)

// Lets QCOMPARE show usage windows when they differ.
inline char *toString(const UsageWindow &window)
{
    const QString text =
        QStringLiteral("UsageWindow(%1, %2, %3, resets %4, %5 min, scope %6)")
            .arg(window.id, window.label)
            .arg(window.usedPercent)
            .arg(window.resetsAt ? window.resetsAt->toUTC().toString(Qt::ISODateWithMs) : QStringLiteral("none"))
            .arg(window.windowMinutes ? QString::number(*window.windowMinutes) : QStringLiteral("none"))
            .arg(window.scope.value_or(QStringLiteral("none")));
    return qstrdup(text.toUtf8().constData());
}
