#pragma once

#include "model/RawValue.h"

#include <array>

// When the dashboard window has a taskbar entry.
enum class DockIconVisibility { never, whileDashboardOpen, always };

template <>
inline constexpr std::array allCases<DockIconVisibility>{
    DockIconVisibility::never, DockIconVisibility::whileDashboardOpen, DockIconVisibility::always};

QString rawValue(DockIconVisibility visibility);
