#pragma once

#include "model/UsageWindow.h"
#include "model/forecast/WindowForecast.h"

#include <QAbstractListModel>
#include <QDateTime>
#include <QtQml/qqmlregistration.h>

// The windows of one snapshot, as a card's rows show them.
class UsageWindowListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("A card's windows come from the card list.")

public:
    enum Role {
        WindowIdRole = Qt::UserRole + 1,
        LabelRole,
        ScopeRole,         // empty for the main limit
        UsedTextRole,      // "42%"
        RemainingTextRole, // "58% remaining"
        ResetTextRole,     // "Resets in 2 hr."
        GaugeValueRole,    // 0..100
        LevelRole,         // UsageLevel::Value
        ForecastLineRole,  // "At this pace: full at 15:40, 1 hr 10 min before reset", or empty
        RunOutTextRole,    // "Full at 15:40", or empty
        RunOutSoonRole,    // the run-out is less than an hour away
    };
    Q_ENUM(Role)

    using QAbstractListModel::QAbstractListModel;

    void setWindows(const QList<UsageWindow> &windows, const QDateTime &now);
    // The reset texts are relative to now: they change as time passes.
    void setNow(const QDateTime &now);
    void setForecasts(const std::vector<WindowForecast> &forecasts);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QList<UsageWindow> m_windows;
    QHash<QString, WindowForecast> m_forecasts; // by window id
    QDateTime m_now;
};
