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
    return QPen(colour, 2, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin);
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
    return QRectF(leftMargin, topMargin, std::max(1.0, width() - leftMargin - rightMargin),
                  std::max(1.0, height() - topMargin - bottomMargin));
}

void HistoryPlot::paint(QPainter *painter)
{
    const QRectF area = plotArea();
    const qint64 start = m_endMsecs - m_rangeDays * dayMsecs;
    const double msecsPerPixel = static_cast<double>(m_endMsecs - start) / area.width();
    auto xOf = [&](qint64 msecs) { return area.left() + static_cast<double>(msecs - start) / msecsPerPixel; };
    auto yOf = [&](double percent) { return area.bottom() - percent / 100.0 * area.height(); };

    // Axes and grid: y fixed to 0..100 whatever the data.
    QFont small = painter->font();
    small.setPixelSize(11);
    painter->setFont(small);
    painter->setPen(QPen(m_gridColor, 1));
    for (int percent = 0; percent <= 100; percent += 25) {
        const double y = std::round(yOf(percent)) + 0.5;
        painter->setPen(QPen(m_gridColor, 1));
        painter->drawLine(QPointF(area.left(), y), QPointF(area.right(), y));
        painter->setPen(m_textColor);
        painter->drawText(QRectF(0, y - 8, leftMargin - 6, 16), Qt::AlignRight | Qt::AlignVCenter,
                          QString::number(percent));
    }
    const QLocale locale;
    const int ticks = std::clamp(static_cast<int>(area.width() / 140), 2, 8);
    for (int i = 0; i <= ticks; ++i) {
        const qint64 msecs = start + (m_endMsecs - start) * i / ticks;
        const double x = std::round(xOf(msecs)) + 0.5;
        painter->setPen(QPen(m_gridColor, 1));
        painter->drawLine(QPointF(x, area.bottom()), QPointF(x, area.bottom() + 4));
        const QDateTime when = QDateTime::fromMSecsSinceEpoch(msecs).toLocalTime();
        const QString label = m_rangeDays <= 1 ? locale.toString(when.time(), QLocale::ShortFormat)
                                               : locale.toString(when.date(), QLocale::ShortFormat);
        painter->setPen(m_textColor);
        const Qt::Alignment align = i == 0 ? Qt::AlignLeft : i == ticks ? Qt::AlignRight : Qt::AlignHCenter;
        const double left = i == 0 ? x : i == ticks ? x - 120 : x - 60;
        painter->drawText(QRectF(left, area.bottom() + 5, 120, 14), align | Qt::AlignTop, label);
    }
    painter->drawText(QRectF(area.left(), area.bottom() + 22, area.width(), 16), Qt::AlignHCenter,
                      QStringLiteral("Time"));
    painter->save();
    painter->translate(12, area.center().y());
    painter->rotate(-90);
    painter->drawText(QRectF(-area.height() / 2, -8, area.height(), 16), Qt::AlignCenter, QStringLiteral("Used %"));
    painter->restore();

    painter->setClipRect(area.adjusted(-markRadius - 1, -markRadius - 1, markRadius + 1, markRadius + 1));
    painter->setRenderHint(QPainter::Antialiasing, true);
    for (qsizetype s = 0; s < m_series.size(); ++s) {
        const QList<HistoryPoint> &points = m_series[s].points;
        // The visible stretch, with one point either side so lines enter and leave.
        auto first = std::lower_bound(points.begin(), points.end(), start,
                                      [](const HistoryPoint &p, qint64 t) { return p.msecs < t; });
        auto last = std::upper_bound(points.begin(), points.end(), m_endMsecs,
                                     [](qint64 t, const HistoryPoint &p) { return t < p.msecs; });
        if (first != points.begin())
            --first;
        if (last != points.end())
            ++last;
        const QColor colour = seriesColour(s);
        painter->setPen(linePen(colour));
        painter->setBrush(Qt::NoBrush);
        QList<QPoint> run;
        qsizetype count = 0;
        double lastX = -1e9;
        QList<QPointF> marks;
        const bool sparse = static_cast<double>(last - first) * markSpacing <= area.width();
        auto flush = [&] {
            if (!run.isEmpty())
                drawLine(*painter, mergeColumns(run));
            run.clear();
        };
        qint64 previous = 0;
        for (auto it = first; it != last; ++it, ++count) {
            if (count > 0 && it->msecs - previous > historyGapMsecs)
                flush();
            previous = it->msecs;
            const QPointF at(xOf(it->msecs), yOf(it->percent));
            run.append(QPoint(static_cast<int>(std::lround(at.x())), static_cast<int>(std::lround(at.y()))));
            if (sparse && at.x() - lastX >= markSpacing) {
                marks.append(at);
                lastX = at.x();
            }
        }
        flush();
        painter->setPen(Qt::NoPen);
        painter->setBrush(colour);
        for (const QPointF &mark : marks)
            painter->drawEllipse(mark, markRadius, markRadius);
    }

    if (m_hoverSeries >= 0 && m_hoverSeries < m_series.size()) {
        const QPointF at(xOf(m_hoverPoint.msecs), yOf(m_hoverPoint.percent));
        painter->setPen(QPen(m_gridColor, 1, Qt::DashLine));
        painter->drawLine(QPointF(at.x(), area.top()), QPointF(at.x(), area.bottom()));
        painter->setPen(QPen(m_textColor, 1.5));
        painter->setBrush(seriesColour(m_hoverSeries));
        painter->drawEllipse(at, 4.5, 4.5);
    }
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
    const QRectF area = plotArea();
    const qint64 start = m_endMsecs - m_rangeDays * dayMsecs;
    const double msecsPerPixel = static_cast<double>(m_endMsecs - start) / area.width();
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
                const double dx = static_cast<double>(it->msecs - start) / msecsPerPixel + area.left() - position.x();
                const double dy = area.bottom() - it->percent / 100.0 * area.height() - position.y();
                const double distance = std::hypot(dx, dy);
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
