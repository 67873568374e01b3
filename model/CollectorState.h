#pragma once

#include "model/RawValue.h"

#include <array>

// How healthy a collection was; shown as a badge.
enum class CollectorState { connected, fallback, stale, unavailable, error };

template <>
inline constexpr std::array allCases<CollectorState>{CollectorState::connected, CollectorState::fallback,
                                                     CollectorState::stale, CollectorState::unavailable,
                                                     CollectorState::error};

QString rawValue(CollectorState state);
