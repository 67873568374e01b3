#include "ui/history/HistoryPlot.h"

#include "app/AppModel.h"
#include "ui/history/ColumnMerge.h"

#include <QLocale>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

constexpr qint64 dayMsecs = 24LL * 60 * 60 * 1000;
constexpr double leftMargin = 52;
constexpr double rightMargin = 12;
constexpr double topMargin = 8;
constexpr double bottomMargin = 40;
// Marks closer together than this would only thicken the line.
constexpr double markSpacing = 6;
constexpr double markRadius = 2.5;
constexpr double hoverReach = 24;

} // namespace

HistoryPlot::HistoryPlot(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    setAcceptHoverEvents(true);
    setAntialiasing(true);
    m_endMsecs = QDateTime::currentMSecsSinceEpoch();
    connect(this, &HistoryPlot::coloursChanged, this, [this] { update(); });
}

void HistoryPlot::setModel(AppModel *model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model) {
        connect(m_model, &AppModel::historyChanged, this, &HistoryPlot::rebuild);
        connect(m_model, &AppModel::enabledProvidersChanged, this, &HistoryPlot::rebuild);
    }
    Q_EMIT modelChanged();
    rebuild();
}

void HistoryPlot::setRangeDays(int days)
{
    days = std::clamp(days, 1, 90);
    if (m_rangeDays == days)
        return;
    m_rangeDays = days;
    m_endMsecs = QDateTime::currentMSecsSinceEpoch();
    Q_EMIT rangeChanged();
    pointAt({-1, -1});
    update();
}

QDateTime HistoryPlot::rangeStart() const
{
    return QDateTime::fromMSecsSinceEpoch(m_endMsecs - m_rangeDays * dayMsecs, Qt::UTC);
}

QDateTime HistoryPlot::rangeEnd() const
{
    return QDateTime::fromMSecsSinceEpoch(m_endMsecs, Qt::UTC);
}

QStringList HistoryPlot::seriesNames() const
{
    QStringList names;
    for (const HistorySeries &series : m_series)
        names.append(series.name);
    return names;
}

QVariantList HistoryPlot::legend() const
{
    QVariantList entries;
    for (qsizetype i = 0; i < m_series.size(); ++i)
        entries.append(
            QVariantMap{{QStringLiteral("name"), m_series[i].name}, {QStringLiteral("colour"), seriesColour(i)}});
    return entries;
}

QColor HistoryPlot::seriesColour(qsizetype index)
{
    // Apart from each other and readable on light and dark backgrounds.
    static const QColor colours[] = {QColor(0x2b, 0x6c, 0xd8), QColor(0xe0, 0x7b, 0x00), QColor(0x2e, 0x9b, 0x4f),
                                     QColor(0xa3, 0x4d, 0xd1), QColor(0xd7, 0x2d, 0x24), QColor(0x12, 0x9c, 0xa8)};
    return colours[index % std::ssize(colours)];
}

QPen HistoryPlot::linePen(const QColor &colour)
{
    return {colour, 2, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin};
}

void HistoryPlot::drawLine(QPainter &painter, const QList<QPoint> &points)
{
    if (points.size() == 1) {
        painter.drawPoint(points.constFirst());
        return;
    }
    QList<QLine> segments;
    segments.reserve(points.size());
    for (qsizetype i = 1; i < points.size(); ++i)
        segments.append(QLine(points[i - 1], points[i]));
    painter.drawLines(segments);
}

void HistoryPlot::rebuild()
{
    m_endMsecs = QDateTime::currentMSecsSinceEpoch();
    if (m_model)
        setSeries(buildHistorySeries(m_model->history(), m_model->enabledProviders()));
    else
        setSeries({});
    Q_EMIT rangeChanged();
}

void HistoryPlot::setSeries(QList<HistorySeries> series)
{
    m_series = std::move(series);
    m_hoverSeries = -1;
    if (!m_readout.isEmpty()) {
        m_readout.clear();
        Q_EMIT readoutChanged();
    }
    Q_EMIT seriesChanged();
    update();
}

QRectF HistoryPlot::plotArea() const
{
    return {leftMargin, topMargin, std::max(1.0, width() - leftMargin - rightMargin),
            std::max(1.0, height() - topMargin - bottomMargin)};
}

HistoryPlot::Frame HistoryPlot::frame() const
{
    Frame frame;
    frame.area = plotArea();
    frame.start = m_endMsecs - m_rangeDays * dayMsecs;
    frame.msecsPerPixel = static_cast<double>(m_endMsecs - frame.start) / frame.area.width();
    return frame;
}

void HistoryPlot::paint(QPainter *painter)
{
    const Frame frame = this->frame();
    paintAxes(*painter, frame);
    const QRectF &area = frame.area;
    painter->setClipRect(area.adjusted(-markRadius - 1, -markRadius - 1, markRadius + 1, markRadius + 1));
    painter->setRenderHint(QPainter::Antialiasing, true);
    for (qsizetype s = 0; s < m_series.size(); ++s)
        paintSeries(*painter, frame, s);
    paintHover(*painter, frame);
}

// The y axis is fixed to 0..100 whatever the data.
void HistoryPlot::paintAxes(QPainter &painter, const Frame &frame) const
{
    const QRectF &area = frame.area;
    QFont small = painter.font();
    small.setPixelSize(11);
    painter.setFont(small);
    for (int percent = 0; percent <= 100; percent += 25) {
        const double y = std::round(frame.y(percent)) + 0.5;
        painter.setPen(QPen(m_gridColor, 1));
        painter.drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
        painter.setPen(m_textColor);
        painter.drawText(QRectF(0, y - 8, leftMargin - 6, 16), Qt::AlignRight | Qt::AlignVCenter,
                         QString::number(percent));
    }
    const QLocale locale;
    const int ticks = std::clamp(static_cast<int>(area.width() / 140), 2, 8);
    for (int i = 0; i <= ticks; ++i) {
        const qint64 msecs = frame.start + (m_endMsecs - frame.start) * i / ticks;
        const double x = std::round(frame.x(msecs)) + 0.5;
        painter.setPen(QPen(m_gridColor, 1));
        painter.drawLine(QPointF(x, area.bottom()), QPointF(x, area.bottom() + 4));
        const QDateTime when = QDateTime::fromMSecsSinceEpoch(msecs).toLocalTime();
        const QString label = m_rangeDays <= 1 ? locale.toString(when.time(), QLocale::ShortFormat)
                                               : locale.toString(when.date(), QLocale::ShortFormat);
        painter.setPen(m_textColor);
        const Qt::Alignment align = i == 0 ? Qt::AlignLeft : i == ticks ? Qt::AlignRight : Qt::AlignHCenter;
        const double left = i == 0 ? x : i == ticks ? x - 120 : x - 60;
        painter.drawText(QRectF(left, area.bottom() + 5, 120, 14), align | Qt::AlignTop, label);
    }
    painter.drawText(QRectF(area.left(), area.bottom() + 22, area.width(), 16), Qt::AlignHCenter,
                     QStringLiteral("Time"));
    painter.save();
    painter.translate(12, area.center().y());
    painter.rotate(-90);
    painter.drawText(QRectF(-area.height() / 2, -8, area.height(), 16), Qt::AlignCenter, QStringLiteral("Used %"));
    painter.restore();
}

void HistoryPlot::paintSeries(QPainter &painter, const Frame &frame, qsizetype index) const
{
    const QList<HistoryPoint> &points = m_series[index].points;
    // The visible stretch, with one point either side so lines enter and leave.
    auto first = std::lower_bound(points.begin(), points.end(), frame.start,
                                  [](const HistoryPoint &p, qint64 t) { return p.msecs < t; });
    auto last = std::upper_bound(points.begin(), points.end(), m_endMsecs,
                                 [](qint64 t, const HistoryPoint &p) { return t < p.msecs; });
    if (first != points.begin())
        --first;
    if (last != points.end())
        ++last;
    const QColor colour = seriesColour(index);
    painter.setPen(linePen(colour));
    painter.setBrush(Qt::NoBrush);
    QList<QPoint> run;
    double lastX = -1e9;
    QList<QPointF> marks;
    const bool sparse = static_cast<double>(last - first) * markSpacing <= frame.area.width();
    auto flush = [&] {
        if (!run.isEmpty())
            drawLine(painter, mergeColumns(run));
        run.clear();
    };
    for (auto it = first; it != last; ++it) {
        if (it != first && it->msecs - std::prev(it)->msecs > historyGapMsecs)
            flush();
        const QPointF at(frame.x(it->msecs), frame.y(it->percent));
        run.append(QPoint(static_cast<int>(std::lround(at.x())), static_cast<int>(std::lround(at.y()))));
        if (sparse && at.x() - lastX >= markSpacing) {
            marks.append(at);
            lastX = at.x();
        }
    }
    flush();
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    for (const QPointF &mark : marks)
        painter.drawEllipse(mark, markRadius, markRadius);
}

void HistoryPlot::paintHover(QPainter &painter, const Frame &frame) const
{
    if (m_hoverSeries < 0 || m_hoverSeries >= m_series.size())
        return;
    const QPointF at(frame.x(m_hoverPoint.msecs), frame.y(m_hoverPoint.percent));
    painter.setPen(QPen(m_gridColor, 1, Qt::DashLine));
    painter.drawLine(QPointF(at.x(), frame.area.top()), QPointF(at.x(), frame.area.bottom()));
    painter.setPen(QPen(m_textColor, 1.5));
    painter.setBrush(seriesColour(m_hoverSeries));
    painter.drawEllipse(at, 4.5, 4.5);
}

void HistoryPlot::hoverMoveEvent(QHoverEvent *event)
{
    pointAt(event->position());
}

void HistoryPlot::hoverLeaveEvent(QHoverEvent *)
{
    pointAt({-1, -1});
}

void HistoryPlot::pointAt(QPointF position)
{
    const Frame frame = this->frame();
    const QRectF &area = frame.area;
    const qint64 start = frame.start;
    const double msecsPerPixel = frame.msecsPerPixel;
    qsizetype bestSeries = -1;
    HistoryPoint bestPoint;
    double bestDistance = hoverReach;
    if (area.adjusted(-hoverReach, -hoverReach, hoverReach, hoverReach).contains(position)) {
        const auto reach = static_cast<qint64>(hoverReach * msecsPerPixel);
        const qint64 at = start + static_cast<qint64>((position.x() - area.left()) * msecsPerPixel);
        for (qsizetype s = 0; s < m_series.size(); ++s) {
            const QList<HistoryPoint> &points = m_series[s].points;
            auto it = std::lower_bound(points.begin(), points.end(), std::max(start, at - reach),
                                       [](const HistoryPoint &p, qint64 t) { return p.msecs < t; });
            for (; it != points.end() && it->msecs <= std::min(m_endMsecs, at + reach); ++it) {
                const double distance =
                    std::hypot(frame.x(it->msecs) - position.x(), frame.y(it->percent) - position.y());
                if (distance < bestDistance) {
                    bestDistance = distance;
                    bestSeries = s;
                    bestPoint = *it;
                }
            }
        }
    }
    QString readout;
    if (bestSeries >= 0) {
        const QDateTime when = QDateTime::fromMSecsSinceEpoch(bestPoint.msecs).toLocalTime();
        readout = QStringLiteral("%1 · %2 · %3%")
                      .arg(m_series[bestSeries].name, QLocale().toString(when, QLocale::ShortFormat),
                           QString::number(bestPoint.percent, 'f',
                                           bestPoint.percent == std::floor(bestPoint.percent) ? 0 : 1));
    }
    if (bestSeries != m_hoverSeries || !(bestPoint == m_hoverPoint)) {
        m_hoverSeries = bestSeries;
        m_hoverPoint = bestPoint;
        update();
    }
    if (readout != m_readout) {
        m_readout = readout;
        Q_EMIT readoutChanged();
    }
}
