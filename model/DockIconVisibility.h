#pragma once

#include "model/RawValue.h"

// When the dashboard window has a taskbar entry.
namespace DockIconVisibilityEnum {
Q_NAMESPACE
enum class DockIconVisibility { never, whileDashboardOpen, always };
Q_ENUM_NS(DockIconVisibility)
} // namespace DockIconVisibilityEnum
using DockIconVisibilityEnum::DockIconVisibility;
