#include "ui/history/ColumnMerge.h"

#include <algorithm>

namespace {

void appendDistinct(QList<QPoint> &out, QPoint point)
{
    if (out.isEmpty() || out.constLast() != point)
        out.append(point);
}

} // namespace

QList<QPoint> mergeColumns(const QList<QPoint> &polyline)
{
    QList<QPoint> out;
    out.reserve(polyline.size());
    qsizetype start = 0;
    while (start < polyline.size()) {
        const int column = polyline[start].x();
        qsizetype end = start;
        qsizetype low = start;
        qsizetype high = start;
        while (end < polyline.size() && polyline[end].x() == column) {
            if (polyline[end].y() < polyline[low].y())
                low = end;
            if (polyline[end].y() > polyline[high].y())
                high = end;
            ++end;
        }
        appendDistinct(out, polyline[start]);
        appendDistinct(out, polyline[std::min(low, high)]);
        appendDistinct(out, polyline[std::max(low, high)]);
        appendDistinct(out, polyline[end - 1]);
        start = end;
    }
    return out;
}
