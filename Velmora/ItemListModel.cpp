#include "ItemListModel.h"

#include <algorithm>

ItemListModel::ItemListModel(QObject* parent)
    : QAbstractListModel(parent) {}

int ItemListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant ItemListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Item& item = m_items.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case TitleRole:
        return item.title;
    case IdRole:
        return item.id;
    case SourceRole:
        return item.source.value_or(QString());
    case DoneRole:
        return item.isDone();
    case SectionRole:
        return Wire::string(item.section);
    case PriorityRole:
        return Wire::string(item.priority);
    case FlaggedRole:
        return item.flagged;
    default:
        return {};
    }
}

QHash<int, QByteArray> ItemListModel::roleNames() const {
    return {{IdRole, "itemId"},       {TitleRole, "title"},        {SourceRole, "source"},
            {DoneRole, "done"},       {SectionRole, "section"},    {PriorityRole, "priority"},
            {FlaggedRole, "flagged"}, {Qt::DisplayRole, "display"}};
}

void ItemListModel::setItems(QList<Item> items) {
    const bool sameRows = items.size() == m_items.size() &&
                          std::equal(items.cbegin(), items.cend(), m_items.cbegin(),
                                     [](const Item& a, const Item& b) { return a.id == b.id; });
    if (sameRows) {
        for (qsizetype row = 0; row < items.size(); ++row) {
            if (items[row] == m_items[row])
                continue;
            m_items[row] = std::move(items[row]);
            const QModelIndex at = index(int(row));
            Q_EMIT dataChanged(at, at);
        }
        return;
    }
    const qsizetype before = m_items.size();
    beginResetModel();
    m_items = std::move(items);
    endResetModel();
    if (m_items.size() != before)
        Q_EMIT countChanged();
}
