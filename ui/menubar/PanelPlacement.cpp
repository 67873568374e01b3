#include "ui/menubar/PanelPlacement.h"

#include <algorithm>

namespace {

constexpr int kGap = 4;

int clampInto(int value, int low, int high)
{
    // A panel larger than the area starts at its top or left edge.
    return std::max(low, std::min(value, high));
}

} // namespace

QPoint panelPosition(const QSize &panel, const QRect &anchor, const QRect &available)
{
    const int x = anchor.center().x() - panel.width() / 2;
    const bool anchorInLowerHalf = anchor.center().y() > available.center().y();
    const int y = anchorInLowerHalf ? anchor.top() - kGap - panel.height() : anchor.bottom() + 1 + kGap;
    return {clampInto(x, available.left(), available.right() + 1 - panel.width()),
            clampInto(y, available.top(), available.bottom() + 1 - panel.height())};
}
