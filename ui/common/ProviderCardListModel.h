#pragma once

#include "model/ProviderSnapshot.h"

#include <QAbstractListModel>
#include <QDateTime>
#include <QPointer>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>
#include <vector>

class AppModel;
class UsageWindowListModel;

// A card's health, as its badge shows it.
namespace CardState {
Q_NAMESPACE
QML_ELEMENT

enum Value { Connected, Fallback, Stale, Unavailable, Error };
Q_ENUM_NS(Value)

} // namespace CardState

// One row per visible provider, codex first: its latest snapshot as a card
// shows it, or a placeholder while it has none. Follows the model as it
// changes; texts that depend on the time ("Updated 3 min. ago") follow the clock.
class ProviderCardListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The card list belongs to the application.")

public:
    enum Role {
        ProviderRole = Qt::UserRole + 1, // "codex", "claude"
        TitleRole,                       // "OpenAI Codex"
        IconRole,                        // an icon URL
        HasSnapshotRole,                 // false: a placeholder
        StateRole,                       // CardState::Value
        BadgeTextRole,                   // "LIVE"
        EmptyTextRole,                   // shown instead of rows when there are no windows
        WindowsRole,                     // UsageWindowListModel
        PlanNameRole,
        ModelNameRole,
        CreditTextRole, // "Credits: $5.00", empty when absent
        SourceTextRole, // "OpenAI account limits · Updated 3 min. ago"
        FableNoteRole,  // whether the full card shows the note on Fable usage
    };
    Q_ENUM(Role)

    explicit ProviderCardListModel(AppModel &model, QObject *parent = nullptr);
    ~ProviderCardListModel() override;

    // Where "now" comes from (tests fix it); re-reads the model.
    void setClock(std::function<QDateTime()> now);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    struct Card {
        UsageProvider provider;
        std::optional<ProviderSnapshot> snapshot;
        std::unique_ptr<UsageWindowListModel> windows;
    };

    void reload();
    void tick();

    AppModel &m_model;
    std::function<QDateTime()> m_now;
    std::vector<Card> m_cards;
    QTimer m_clock;
};
