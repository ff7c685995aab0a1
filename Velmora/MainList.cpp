#include "MainList.h"

#include "Store.h"

MainList::MainList(Store& store, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_rows(this) {
    connect(&m_store, &Store::documentChanged, this, &MainList::recompute);
    connect(m_store.view(), &ViewState::changed, this, &MainList::recompute);
    recompute();
}

void MainList::recompute() {
    m_rows.setItems(m_store.visibleItems(QDateTime::currentDateTime()));
}
