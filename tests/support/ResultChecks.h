#pragma once

#include "tests/support/ModelPrinting.h"

#include <QtTest>

// Fails the test with the error's own text when `result` holds an error.
// `result` is evaluated once: it may be a call that starts a process.
#define QVERIFY_OK(result)                                                                                             \
    do {                                                                                                               \
        const auto &checkedResult = (result);                                                                          \
        QVERIFY2(checkedResult.ok(), checkedResult.ok() ? "" : qPrintable(checkedResult.error().description()));       \
    } while (false)
