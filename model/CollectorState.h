#pragma once

#include "model/RawValue.h"

// How healthy a collection was; shown as a badge.
namespace CollectorStateEnum {
Q_NAMESPACE
enum class CollectorState { connected, fallback, stale, unavailable, error };
Q_ENUM_NS(CollectorState)
} // namespace CollectorStateEnum
using CollectorStateEnum::CollectorState;
