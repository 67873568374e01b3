#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

// Where the panel's top-left corner goes: centred under the anchor (the tray
// icon, or the click), above it when the anchor is in the lower half of the
// screen (a bottom panel), and always inside the screen's available area.
QPoint panelPosition(const QSize &panel, const QRect &anchor, const QRect &available);
