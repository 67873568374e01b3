#pragma once

#include <QString>

// Compares version texts the way update feeds mean them: numbers numerically
// ("1.10" is newer than "1.9"), words as text, and a word after an equal start
// marks a pre-release ("1.3b1" is older than "1.3", while "1.3.1" is newer).
// Returns < 0 when `a` is older than `b`, 0 when equal, > 0 when newer.
int compareVersions(const QString &a, const QString &b);
