#pragma once

#include <QList>
#include <QPoint>

// A polyline in whole pixels with the points that share a pixel column merged:
// per column the first point, the lowest and highest (in the order they came)
// and the last. Drawn with the same pen, it sets exactly the pixels the full
// polyline sets, since inside one column the full line only runs up and down
// between those extremes, and the segments between columns are kept as they were.
QList<QPoint> mergeColumns(const QList<QPoint> &polyline);
