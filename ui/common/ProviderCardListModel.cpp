#include "ui/common/ProviderCardListModel.h"

#include "app/AppModel.h"
#include "ui/common/UsageFormat.h"
#include "ui/common/UsageWindowListModel.h"

#include <QQmlEngine>

#include <algorithm>
#include <chrono>

namespace {

CardState::Value cardState(CollectorState state)
{
    switch (state) {
    case CollectorState::connected:
        return CardState::Connected;
    case CollectorState::fallback:
        return CardState::Fallback;
    case CollectorState::stale:
        return CardState::Stale;
    case CollectorState::unavailable:
        return CardState::Unavailable;
    case CollectorState::error:
        break;
    }
    return CardState::Error;
}

QString iconUrl(UsageProvider provider)
{
    return provider == UsageProvider::codex ? QStringLiteral("qrc:/qt/qml/Limitra/icons/sparkles.svg")
                                            : QStringLiteral("qrc:/qt/qml/Limitra/icons/brain.svg");
}

QString emptyText(const ProviderSnapshot &snapshot)
{
    if (!snapshot.windows.isEmpty())
        return {};
    return snapshot.message.value_or(QStringLiteral("No usage data available."));
}

} // namespace

ProviderCardListModel::ProviderCardListModel(AppModel &model, QObject *parent)
    : QAbstractListModel(parent)
    , m_model(model)
    , m_now([] { return QDateTime::currentDateTimeUtc(); })
{
    connect(&m_model, &AppModel::latestChanged, this, &ProviderCardListModel::reload);
    connect(&m_model, &AppModel::enabledProvidersChanged, this, &ProviderCardListModel::reload);
    connect(&m_model, &AppModel::forecastsChanged, this, [this] {
        for (Card &card : m_cards)
            card.windows->setForecasts(m_model.forecasts().forProvider(card.provider));
    });
    // Relative times are shown in minutes at their finest.
    m_clock.setInterval(std::chrono::seconds(30));
    connect(&m_clock, &QTimer::timeout, this, &ProviderCardListModel::tick);
    m_clock.start();
    reload();
}

ProviderCardListModel::~ProviderCardListModel() = default;

void ProviderCardListModel::setClock(std::function<QDateTime()> now)
{
    m_now = std::move(now);
    tick();
}

void ProviderCardListModel::reload()
{
    const QList<UsageProvider> visible = m_model.visibleProviders();
    const bool sameProviders =
        std::equal(m_cards.begin(), m_cards.end(), visible.begin(), visible.end(),
                   [](const Card &card, UsageProvider provider) { return card.provider == provider; });
    if (!sameProviders) {
        beginResetModel();
        m_cards.clear();
        for (UsageProvider provider : visible) {
            auto windows = std::make_unique<UsageWindowListModel>();
            QQmlEngine::setObjectOwnership(windows.get(), QQmlEngine::CppOwnership);
            m_cards.push_back({provider, std::nullopt, std::move(windows)});
        }
    }
    const QDateTime now = m_now();
    for (Card &card : m_cards) {
        const auto found = m_model.latest().constFind(card.provider);
        std::optional<ProviderSnapshot> snapshot;
        if (found != m_model.latest().cend())
            snapshot = *found;
        if (snapshot == card.snapshot && sameProviders)
            continue;
        card.snapshot = snapshot;
        card.windows->setWindows(snapshot ? snapshot->windows : QList<UsageWindow>(), now);
        card.windows->setForecasts(m_model.forecasts().forProvider(card.provider));
        if (sameProviders) {
            const QModelIndex row = index(static_cast<int>(&card - m_cards.data()));
            Q_EMIT dataChanged(row, row);
        }
    }
    if (!sameProviders)
        endResetModel();
}

void ProviderCardListModel::tick()
{
    const QDateTime now = m_now();
    for (Card &card : m_cards)
        card.windows->setNow(now);
    if (!m_cards.empty())
        Q_EMIT dataChanged(index(0), index(rowCount() - 1), {SourceTextRole});
}

int ProviderCardListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_cards.size());
}

QVariant ProviderCardListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Card &card = m_cards.at(static_cast<size_t>(index.row()));
    switch (role) {
    case ProviderRole:
        return rawValue(card.provider);
    case TitleRole:
        return displayName(card.provider);
    case IconRole:
        return iconUrl(card.provider);
    case HasSnapshotRole:
        return card.snapshot.has_value();
    case WindowsRole:
        return QVariant::fromValue<QObject *>(card.windows.get());
    default:
        break;
    }
    if (!card.snapshot)
        return {};
    const ProviderSnapshot &snapshot = *card.snapshot;
    switch (role) {
    case StateRole:
        return cardState(snapshot.state);
    case BadgeTextRole:
        return UsageFormat::badgeText(snapshot.state);
    case EmptyTextRole:
        return emptyText(snapshot);
    case PlanNameRole:
        return snapshot.planName.value_or(QString());
    case ModelNameRole:
        return snapshot.modelName.value_or(QString());
    case CreditTextRole:
        return snapshot.creditBalance ? QStringLiteral("Credits: ") + *snapshot.creditBalance : QString();
    case SourceTextRole:
        return UsageFormat::sourceLabel(snapshot.source) + QStringLiteral(" · ")
               + snapshot.freshnessDescription(m_now());
    case FableNoteRole:
        return snapshot.provider == UsageProvider::claude
               && std::none_of(snapshot.windows.cbegin(), snapshot.windows.cend(),
                               [](const UsageWindow &window) { return window.label == QStringLiteral("Fable"); });
    default:
        return {};
    }
}

QHash<int, QByteArray> ProviderCardListModel::roleNames() const
{
    return {
        {ProviderRole, "provider"},        {TitleRole, "title"},           {IconRole, "iconSource"},
        {HasSnapshotRole, "hasSnapshot"},  {StateRole, "cardState"},       {BadgeTextRole, "badgeText"},
        {EmptyTextRole, "emptyText"},      {WindowsRole, "windows"},       {PlanNameRole, "planName"},
        {ModelNameRole, "modelName"},      {CreditTextRole, "creditText"}, {SourceTextRole, "sourceText"},
        {FableNoteRole, "showsFableNote"},
    };
}
