#pragma once

#include "People.h"
#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <optional>

// The block of tasks from people at the top of the Updates tab: incoming tasks to accept or
// decline, and completions to agree with. Hidden while the inbox is unknown or empty.
class SharedInboxModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    Q_PROPERTY(QString refusal READ refusal NOTIFY changed)
    Q_PROPERTY(QString busyId READ busyId NOTIFY changed)
    // {id, title, line}, in the server's order.
    Q_PROPERTY(QVariantList incoming READ incoming NOTIFY changed)
    Q_PROPERTY(QVariantList returned READ returned NOTIFY changed)

public:
    explicit SharedInboxModel(QObject* parent = nullptr);

    Store* store() const { return m_store; }
    void setStore(Store* store);
    bool shown() const { return m_inbox && !m_inbox->isEmpty(); }
    QString refusal() const { return m_refusal.value_or(QString()); }
    const QString& busyId() const { return m_busy; }
    QVariantList incoming() const;
    QVariantList returned() const;

    Q_INVOKABLE void load();
    Q_INVOKABLE void accept(const QString& id);
    Q_INVOKABLE void decline(const QString& id);
    // "Mark it done" (true) or "Not yet" (false) on a returned task.
    Q_INVOKABLE void answer(const QString& id, bool agree);

    QCoro::Task<> runLoad();
    // Runs one answer: on success the inbox is read again and the list refreshed; on
    // failure the row stays and the sentence shows.
    QCoro::Task<> act(QString id, QCoro::Task<> op, std::unique_ptr<APIClient> client);

Q_SIGNALS:
    void storeChanged();
    void changed();

private:
    QPointer<Store> m_store;
    std::optional<ShareInbox> m_inbox;
    QString m_busy;
    std::optional<QString> m_refusal;
};
