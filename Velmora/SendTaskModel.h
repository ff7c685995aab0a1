#pragma once

#include "People.h"
#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

// The Send popover of an item: pick a person, add a line, send.
class SendTaskModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString itemId READ itemId WRITE setItemId NOTIFY changed)
    Q_PROPERTY(bool loaded READ loaded NOTIFY changed)
    // {id, name}, in the server's order.
    Q_PROPERTY(QVariantList people READ people NOTIFY changed)
    Q_PROPERTY(QString chosen READ chosen WRITE setChosen NOTIFY changed)
    Q_PROPERTY(int chosenIndex READ chosenIndex NOTIFY changed)
    Q_PROPERTY(QString message READ message WRITE setMessage NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    Q_PROPERTY(QString refusal READ refusal NOTIFY changed)
    Q_PROPERTY(bool canSend READ canSend NOTIFY changed)

public:
    explicit SendTaskModel(QObject* parent = nullptr);

    Store* store() const { return m_store; }
    void setStore(Store* store);
    const QString& itemId() const { return m_itemId; }
    void setItemId(const QString& id);
    bool loaded() const { return m_loaded; }
    QVariantList people() const;
    const QString& chosen() const { return m_chosen; }
    void setChosen(const QString& id);
    int chosenIndex() const;
    const QString& message() const { return m_message; }
    void setMessage(const QString& text);
    bool busy() const { return m_busy; }
    QString refusal() const { return m_refusal.value_or(QString()); }
    bool canSend() const { return !m_busy && !m_chosen.isEmpty(); }

    // When the popover opens: the people, and the first of them chosen.
    Q_INVOKABLE void load();
    Q_INVOKABLE void send();

    QCoro::Task<> runLoad();
    QCoro::Task<> runSend();

Q_SIGNALS:
    void storeChanged();
    void changed();
    // The task went out; the list is being refreshed.
    void sent();

private:
    QPointer<Store> m_store;
    QString m_itemId;
    QList<Person> m_people;
    QString m_chosen;
    QString m_message;
    bool m_busy = false;
    bool m_loaded = false;
    std::optional<QString> m_refusal;
};
