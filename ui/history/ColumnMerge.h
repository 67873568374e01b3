#pragma once

#include <QList>
#include <QPoint>

// A polyline in whole pixels with the points that share a pixel column merged:
// per column the first point, the lowest and highest (in the order they came)
// and the last. Inside one column the full line only runs up and down between
// those extremes, and the segments between columns are kept as they were, so
// drawn as HistoryPlot::drawLine draws, both cover the same area: antialiased,
// they set the same pixels, and only the shading of an edge pixel may differ.
QList<QPoint> mergeColumns(const QList<QPoint> &polyline);
