#pragma once

#include "Records.h"

#include <QAbstractListModel>
#include <QDateTime>
#include <QList>

// How one row sits in the main list: the group heading it falls under ("" in a flat list)
// and whether its section goes without saying there.
struct RowPlacement {
    QString group;
    bool sectionRedundant = false;
    bool operator==(const RowPlacement&) const = default;
};

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
        ChannelRole,
        ChannelLabelRole,
        DueLabelRole,
        OverdueRole,
        AIRole,
        FirstLinkLabelRole,
        FirstLinkURLRole,
        MoreLinksRole,
        SectionRedundantRole,
        GroupRole,
        // The group's heading on the first row of its run, "" elsewhere: the rows draw their
        // own headings, so a reused delegate can't keep a stale one.
        HeadingRole,
    };

    explicit ItemListModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_items.size()); }
    const QList<Item>& items() const { return m_items; }
    const QList<RowPlacement>& placements() const { return m_placements; }
    // Every row ungrouped.
    void setItems(QList<Item> items);
    // `placements` runs parallel to `items`; `now` words the due labels.
    void setRows(QList<Item> items, QList<RowPlacement> placements, const QDateTime& now);
    // The row of that id, or -1.
    int rowOf(const QString& id) const;
    QString heading(int row) const;

Q_SIGNALS:
    void countChanged();

private:
    QList<Item> m_items;
    QList<RowPlacement> m_placements;
    QDateTime m_now;
};
