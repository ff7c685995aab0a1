#pragma once

#include "ItemListModel.h"

#include <QObject>

class Store;

// The main window's list: the visible items for the current search, filters and sort,
// kept in step with the document and the view settings.
class MainList : public QObject {
    Q_OBJECT
    Q_PROPERTY(ItemListModel* rows READ rows CONSTANT)

public:
    explicit MainList(Store& store, QObject* parent = nullptr);
    ItemListModel* rows() const { return &m_rows; }
    void recompute();

private:
    Store& m_store;
    mutable ItemListModel m_rows;
};
