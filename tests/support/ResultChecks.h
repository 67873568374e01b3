#pragma once

#include "tests/support/ModelPrinting.h"

#include <QtTest>

// Fails the test with the error's own text when `result` holds an error.
#define QVERIFY_OK(result) QVERIFY2((result).ok(), (result).ok() ? "" : qPrintable((result).error().description()))
