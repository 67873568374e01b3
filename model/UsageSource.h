#pragma once

#include "model/RawValue.h"

// Where a snapshot's numbers came from.
namespace UsageSourceEnum {
Q_NAMESPACE
enum class UsageSource { codexAppServer, claudeStatusLine, claudeUsageCommand, sample };
Q_ENUM_NS(UsageSource)
} // namespace UsageSourceEnum
using UsageSourceEnum::UsageSource;
