#pragma once

#include "ui/common/UsageFormat.h"

#include <QIcon>
#include <QImage>
#include <QString>

#include <array>

// The tray icon's image: tray hosts show no text, so the icon itself carries
// the title ("87%" or "--") in white on a badge coloured like the gauges, which
// reads on light and dark panels alike.
namespace TrayIconImage {

// Qt exports exactly the pixmaps an icon holds and scales none up, so every
// size a panel may ask for is drawn.
inline constexpr std::array sizes{16, 22, 24, 32, 48, 64};

QImage render(const QString &title, UsageLevel::Value level, int size);
QIcon icon(const QString &title, UsageLevel::Value level);
// The badge's colour for a level; grey when nothing is known.
QColor badgeColor(UsageLevel::Value level, bool known);

} // namespace TrayIconImage
