#pragma once

#include "app/AppModel.h"
#include "ui/history/HistorySeries.h"

#include <QColor>
#include <QDateTime>
#include <QPen>
#include <QQuickPaintedItem>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

// The history chart's drawing: axes, one line per series with point marks where
// they can be told apart, gaps left open, and the point nearest the pointer.
// Series are rebuilt when the history or the visible providers change, never
// per frame; each frame merges the points that share a pixel column.
class HistoryPlot : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(AppModel *model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(int rangeDays READ rangeDays WRITE setRangeDays NOTIFY rangeChanged)
    Q_PROPERTY(QDateTime rangeStart READ rangeStart NOTIFY rangeChanged)
    Q_PROPERTY(QDateTime rangeEnd READ rangeEnd NOTIFY rangeChanged)
    Q_PROPERTY(bool isEmpty READ isEmpty NOTIFY seriesChanged)
    Q_PROPERTY(QStringList seriesNames READ seriesNames NOTIFY seriesChanged)
    Q_PROPERTY(QVariantList legend READ legend NOTIFY seriesChanged)
    Q_PROPERTY(QString readout READ readout NOTIFY readoutChanged)
    Q_PROPERTY(QColor textColor MEMBER m_textColor NOTIFY coloursChanged)
    Q_PROPERTY(QColor gridColor MEMBER m_gridColor NOTIFY coloursChanged)

public:
    explicit HistoryPlot(QQuickItem *parent = nullptr);

    AppModel *model() const { return m_model; }
    void setModel(AppModel *model);
    int rangeDays() const { return m_rangeDays; }
    void setRangeDays(int days);
    QDateTime rangeStart() const;
    QDateTime rangeEnd() const;
    bool isEmpty() const { return m_series.isEmpty(); }
    QStringList seriesNames() const;
    QVariantList legend() const;
    QString readout() const { return m_readout; }

    void setSeries(QList<HistorySeries> series);
    static QColor seriesColour(qsizetype index);
    // A series' line: a pen with square caps, and the line drawn as separate
    // segments. Then there are no joins to compute (round joins and caps cost
    // most of a frame at 90 days), and the area covered is the union of the
    // segments', whatever their order: merging the points of a pixel column
    // (mergeColumns) leaves it as it was.
    static QPen linePen(const QColor &colour);
    static void drawLine(QPainter &painter, const QList<QPoint> &points);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void modelChanged();
    void rangeChanged();
    void seriesChanged();
    void readoutChanged();
    void coloursChanged();

protected:
    void hoverMoveEvent(QHoverEvent *event) override;
    void hoverLeaveEvent(QHoverEvent *event) override;

private:
    // Where the visible stretch of time and 0..100 % fall on the item.
    struct Frame {
        QRectF area;
        qint64 start = 0; // the left edge, in msecs since the epoch
        double msecsPerPixel = 1;
        double x(qint64 msecs) const { return area.left() + static_cast<double>(msecs - start) / msecsPerPixel; }
        double y(double percent) const { return area.bottom() - percent / 100.0 * area.height(); }
    };

    void rebuild();
    QRectF plotArea() const;
    Frame frame() const;
    void paintAxes(QPainter &painter, const Frame &frame) const;
    void paintSeries(QPainter &painter, const Frame &frame, qsizetype index) const;
    void paintHover(QPainter &painter, const Frame &frame) const;
    void pointAt(QPointF position);

    AppModel *m_model = nullptr;
    int m_rangeDays = 7;
    // The end of the x range: the newest point, or now when there is none.
    qint64 m_endMsecs = 0;
    QList<HistorySeries> m_series;
    QString m_readout;
    qsizetype m_hoverSeries = -1;
    HistoryPoint m_hoverPoint;
    QColor m_textColor = Qt::black;
    QColor m_gridColor = Qt::lightGray;
};
