#pragma once

#include "model/RawValue.h"

// Providers are iterated in this order everywhere.
namespace UsageProviderEnum {
Q_NAMESPACE
enum class UsageProvider { codex, claude };
Q_ENUM_NS(UsageProvider)
} // namespace UsageProviderEnum
using UsageProviderEnum::UsageProvider;

QString displayName(UsageProvider provider);
// The short name shown by the desktop widget.
QString shortName(UsageProvider provider);
