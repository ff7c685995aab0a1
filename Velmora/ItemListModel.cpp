#include "ItemListModel.h"

#include "DueLabel.h"

#include <algorithm>

namespace {

// Each row's heading: its group where the group starts, "" below that.
QList<QString> headings(const QList<RowPlacement>& placements) {
    QList<QString> out(placements.size());
    for (qsizetype row = 0; row < placements.size(); ++row)
        if (row == 0 || placements[row - 1].group != placements[row].group)
            out[row] = placements[row].group;
    return out;
}

} // namespace

ItemListModel::ItemListModel(QObject* parent)
    : QAbstractListModel(parent)
    , m_now(QDateTime::currentDateTime()) {}

int ItemListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_items.size());
}

QVariant ItemListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Item& item = m_items.at(index.row());
    const RowPlacement& placement = m_placements.at(index.row());
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
    case ChannelRole:
        return Wire::string(item.channel);
    case ChannelLabelRole:
        return label(item.channel);
    case DueLabelRole:
        return DueLabel::of(item, m_now).value_or(QString());
    case OverdueRole:
        return item.isOverdue(m_now);
    case AIRole:
        return item.origin == Origin::ai;
    case FirstLinkLabelRole:
        return item.links.isEmpty() ? QString() : item.links.first().label;
    case FirstLinkURLRole:
        return item.links.isEmpty() ? QString() : item.links.first().id();
    case MoreLinksRole:
        return int(std::max<qsizetype>(0, item.links.size() - 1));
    case SectionRedundantRole:
        return placement.sectionRedundant;
    case GroupRole:
        return placement.group;
    case HeadingRole:
        return heading(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> ItemListModel::roleNames() const {
    return {{IdRole, "itemId"},
            {TitleRole, "title"},
            {SourceRole, "source"},
            {DoneRole, "done"},
            {SectionRole, "section"},
            {PriorityRole, "priority"},
            {FlaggedRole, "flagged"},
            {ChannelRole, "channel"},
            {ChannelLabelRole, "channelLabel"},
            {DueLabelRole, "dueLabel"},
            {OverdueRole, "overdue"},
            {AIRole, "ai"},
            {FirstLinkLabelRole, "firstLinkLabel"},
            {FirstLinkURLRole, "firstLinkUrl"},
            {MoreLinksRole, "moreLinks"},
            {SectionRedundantRole, "sectionRedundant"},
            {GroupRole, "group"},
            {HeadingRole, "heading"},
            {Qt::DisplayRole, "display"}};
}

void ItemListModel::setItems(QList<Item> items) {
    QList<RowPlacement> placements(items.size());
    setRows(std::move(items), std::move(placements), QDateTime::currentDateTime());
}

void ItemListModel::setRows(QList<Item> items, QList<RowPlacement> placements,
                            const QDateTime& now) {
    Q_ASSERT(items.size() == placements.size());
    // Due labels are words relative to today, so a new day rewords every row.
    const bool newDay = now.date() != m_now.date();
    m_now = now;
    // The first fill takes the lists as they are: no copy, and no room to grow.
    if (m_items.isEmpty() && !items.isEmpty()) {
        beginInsertRows({}, 0, int(items.size() - 1));
        m_items = std::move(items);
        m_placements = std::move(placements);
        endInsertRows();
        Q_EMIT countChanged();
        return;
    }
    const auto sameId = [](const Item& a, const Item& b) { return a.id == b.id; };
    const qsizetype oldCount = m_items.size();
    const qsizetype newCount = items.size();

    // Only the run between the unchanged head and tail is removed and inserted, so an add or
    // a delete moves one row and the view keeps its place, selection and delegates.
    qsizetype head = 0;
    while (head < oldCount && head < newCount && sameId(m_items[head], items[head]))
        ++head;
    qsizetype tail = 0;
    while (tail < oldCount - head && tail < newCount - head &&
           sameId(m_items[oldCount - 1 - tail], items[newCount - 1 - tail]))
        ++tail;

    const qsizetype removed = oldCount - head - tail;
    const qsizetype inserted = newCount - head - tail;

    // A row's heading depends on the row above it, so an insert, a removal or a regrouping
    // can give a kept row a heading or take it away: those rows are announced as changed.
    const QList<QString> oldHeadings = headings(m_placements);
    const QList<QString> newHeadings = headings(placements);
    const auto isKept = [&](qsizetype row) { return row < head || row >= head + inserted; };
    QList<bool> changed(newCount, false);
    for (qsizetype row = 0; row < newCount; ++row) {
        if (!isKept(row))
            continue;
        const qsizetype old = row < head ? row : row - inserted + removed;
        changed[row] = newDay || items[row] != m_items[old] ||
                       placements[row] != m_placements[old] || newHeadings[row] != oldHeadings[old];
    }
    if (removed > 0) {
        beginRemoveRows({}, int(head), int(head + removed - 1));
        m_items.remove(head, removed);
        m_placements.remove(head, removed);
        endRemoveRows();
    }
    // Kept rows take their new values before anything is inserted, so the inserted rows'
    // headings read finished neighbours; the kept rows' change is announced below.
    for (qsizetype row = 0; row < newCount; ++row) {
        if (!isKept(row) || !changed[row])
            continue;
        const qsizetype at = row < head ? row : row - inserted;
        m_items[at] = std::move(items[row]);
        m_placements[at] = std::move(placements[row]);
    }
    if (inserted > 0) {
        beginInsertRows({}, int(head), int(head + inserted - 1));
        m_items.insert(head, inserted, Item{});
        m_placements.insert(head, inserted, RowPlacement{});
        for (qsizetype row = head; row < head + inserted; ++row) {
            m_items[row] = std::move(items[row]);
            m_placements[row] = std::move(placements[row]);
        }
        endInsertRows();
    }
    for (qsizetype row = 0; row < newCount; ++row) {
        if (changed[row]) {
            const QModelIndex at = index(int(row));
            Q_EMIT dataChanged(at, at);
        }
    }
    if (newCount != oldCount)
        Q_EMIT countChanged();
}

int ItemListModel::rowOf(const QString& id) const {
    if (id.isEmpty())
        return -1;
    for (qsizetype row = 0; row < m_items.size(); ++row)
        if (m_items[row].id == id)
            return int(row);
    return -1;
}

QString ItemListModel::heading(int row) const {
    if (row < 0 || row >= m_placements.size())
        return {};
    const QString& group = m_placements[row].group;
    return row > 0 && m_placements[row - 1].group == group ? QString() : group;
}
