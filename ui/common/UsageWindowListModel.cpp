#include "ui/common/UsageWindowListModel.h"

#include "app/ForecastTexts.h"
#include "ui/common/UsageFormat.h"

void UsageWindowListModel::setWindows(const QList<UsageWindow> &windows, const QDateTime &now)
{
    beginResetModel();
    m_windows = windows;
    m_now = now;
    endResetModel();
}

void UsageWindowListModel::setNow(const QDateTime &now)
{
    m_now = now;
    if (!m_windows.isEmpty())
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {ResetTextRole});
}

void UsageWindowListModel::setForecasts(const std::vector<WindowForecast> &forecasts)
{
    QHash<QString, WindowForecast> byId;
    for (const WindowForecast &forecast : forecasts)
        byId.insert(forecast.windowId, forecast);
    if (byId == m_forecasts)
        return;
    m_forecasts = std::move(byId);
    if (!m_windows.isEmpty())
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {ForecastLineRole, RunOutTextRole, RunOutSoonRole});
}

int UsageWindowListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_windows.size());
}

QVariant UsageWindowListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const UsageWindow &window = m_windows.at(index.row());
    switch (role) {
    case WindowIdRole:
        return window.id;
    case LabelRole:
        return window.label;
    case ScopeRole:
        return window.scope.value_or(QString());
    case UsedTextRole:
        return UsageFormat::usedText(window.usedPercent);
    case RemainingTextRole:
        return UsageFormat::remainingText(window.usedPercent);
    case ResetTextRole:
        return window.resetDescription(m_now);
    case GaugeValueRole:
        return UsageFormat::gaugeValue(window.usedPercent);
    case LevelRole:
        return UsageFormat::level(window.usedPercent);
    case ForecastLineRole:
        return m_forecasts.contains(window.id) ? ForecastTexts::cardLine(m_forecasts.value(window.id), window)
                                               : QString();
    case RunOutTextRole:
        return m_forecasts.contains(window.id) ? ForecastTexts::footer(m_forecasts.value(window.id)) : QString();
    case RunOutSoonRole: {
        const std::optional<QDateTime> runsOutAt = m_forecasts.value(window.id).runsOutAt;
        return runsOutAt && m_now.secsTo(*runsOutAt) < 3600;
    }
    default:
        return {};
    }
}

QHash<int, QByteArray> UsageWindowListModel::roleNames() const
{
    return {
        {WindowIdRole, "windowId"},
        {LabelRole, "label"},
        {ScopeRole, "scope"},
        {UsedTextRole, "usedText"},
        {RemainingTextRole, "remainingText"},
        {ResetTextRole, "resetText"},
        {GaugeValueRole, "gaugeValue"},
        {LevelRole, "level"},
        {ForecastLineRole, "forecastLine"},
        {RunOutTextRole, "runOutText"},
        {RunOutSoonRole, "runOutSoon"},
    };
}
