#include "ui/dashboard/DashboardPlacement.h"

#include <algorithm>

namespace {

// A frame larger than the area starts at its top or left edge.
int clampInto(int value, int low, int high)
{
    return std::max(low, std::min(value, high));
}

} // namespace

QRect dashboardFrame(const QRect &saved, const QSize &preferred, const QSize &minimum, const QRect &available)
{
    if (available.isEmpty())
        return saved.isValid() ? saved : QRect(QPoint(), preferred);
    const bool keepSaved = saved.isValid() && available.intersects(saved);
    const QSize size = (keepSaved ? saved.size() : preferred).boundedTo(available.size()).expandedTo(minimum);
    QRect frame(QPoint(), size);
    if (keepSaved)
        frame.moveTopLeft(saved.topLeft());
    else
        frame.moveCenter(available.center());
    frame.moveTopLeft({clampInto(frame.left(), available.left(), available.right() + 1 - size.width()),
                       clampInto(frame.top(), available.top(), available.bottom() + 1 - size.height())});
    return frame;
}
