#pragma once

#include <QRect>
#include <QSize>

// The dashboard's frame on a screen whose free area is `available`: the frame
// saved at its last closing while it still touches that area, otherwise
// `preferred` centred; either one shrunk to the area (never below `minimum`)
// and moved wholly into it. A 768-pixel laptop screen has less room than the
// preferred height, and a frame saved on a larger monitor may not fit either.
// With no screen known (`available` empty) a saved frame is kept as it was.
QRect dashboardFrame(const QRect &saved, const QSize &preferred, const QSize &minimum, const QRect &available);
