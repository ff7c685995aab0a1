#pragma once

#include "Records.h"

#include <QAbstractListModel>
#include <QList>

// A list of items for QML views. Replacing the items keeps the rows when only their contents
// changed (a tick, a new title), so a view keeps its place and focus; otherwise it resets.
class ItemListModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        TitleRole,
        SourceRole,
        DoneRole,
        SectionRole,
        PriorityRole,
        FlaggedRole,
    };

    explicit ItemListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_items.size()); }
    const QList<Item>& items() const { return m_items; }
    void setItems(QList<Item> items);

Q_SIGNALS:
    void countChanged();

private:
    QList<Item> m_items;
};
