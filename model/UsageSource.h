#pragma once

#include "model/RawValue.h"

#include <array>

// Where a snapshot's numbers came from.
enum class UsageSource { codexAppServer, claudeStatusLine, claudeUsageCommand, sample };

template <>
inline constexpr std::array allCases<UsageSource>{UsageSource::codexAppServer, UsageSource::claudeStatusLine,
                                                  UsageSource::claudeUsageCommand, UsageSource::sample};

QString rawValue(UsageSource source);
