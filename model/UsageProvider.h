#pragma once

#include "model/RawValue.h"

#include <array>

enum class UsageProvider { codex, claude };

// Providers are iterated in this order everywhere.
template <>
inline constexpr std::array allCases<UsageProvider>{UsageProvider::codex, UsageProvider::claude};

QString rawValue(UsageProvider provider);
QString displayName(UsageProvider provider);
// The short name shown by the desktop widget.
QString shortName(UsageProvider provider);
