#pragma once

#include "People.h"
#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <optional>

// The People pane: the name prompt, the invite card, the people and the invitations out.
// Each call has its own client; what the server said is held here, never in the Store.
class PeoplePaneModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    // "failed", "loading", "name" (the prompt alone) or "full".
    Q_PROPERTY(QString stage READ stage NOTIFY changed)
    Q_PROPERTY(QString nameField READ nameField WRITE setNameField NOTIFY changed)
    Q_PROPERTY(QString typedCode READ typedCode WRITE setTypedCode NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    Q_PROPERTY(QString refusal READ refusal NOTIFY changed)
    Q_PROPERTY(bool canSavePrompt READ canSavePrompt NOTIFY changed)
    Q_PROPERTY(bool canConnect READ canConnect NOTIFY changed)
    Q_PROPERTY(bool hasMinted READ hasMinted NOTIFY changed)
    Q_PROPERTY(QString inviteMessage READ inviteMessage NOTIFY changed)
    Q_PROPERTY(QString mintedCode READ mintedCode NOTIFY changed)
    Q_PROPERTY(QString worksOnce READ worksOnce NOTIFY changed)
    Q_PROPERTY(QString copyLabel READ copyLabel NOTIFY changed)
    // {id, name, line}, in the server's order.
    Q_PROPERTY(QVariantList people READ people NOTIFY changed)
    // {hash, line}, in the server's order.
    Q_PROPERTY(QVariantList invites READ invites NOTIFY changed)
    Q_PROPERTY(QString confirmRemoveTitle READ confirmRemoveTitle NOTIFY changed)

public:
    explicit PeoplePaneModel(QObject* parent = nullptr);
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    QString stage() const;
    const QString& nameField() const { return m_nameField; }
    void setNameField(const QString& text);
    const QString& typedCode() const { return m_typedCode; }
    void setTypedCode(const QString& text);
    bool busy() const { return m_busy; }
    QString refusal() const { return m_refusal.value_or(QString()); }
    bool canSavePrompt() const;
    bool canConnect() const;
    bool hasMinted() const { return m_minted.has_value(); }
    QString inviteMessage() const;
    QString mintedCode() const { return m_minted ? m_minted->code : QString(); }
    QString worksOnce() const;
    QString copyLabel() const;
    QVariantList people() const;
    QVariantList invites() const;
    QString confirmRemoveTitle() const;
    const std::optional<PeopleSnapshot>& snapshot() const { return m_snapshot; }

    Q_INVOKABLE void load();
    Q_INVOKABLE void saveName();
    Q_INVOKABLE void mint();
    Q_INVOKABLE void redeem();
    Q_INVOKABLE void copyInvitation();
    // Asks before removing the person of that id; keep() forgets the question.
    Q_INVOKABLE void askRemove(const QString& id);
    Q_INVOKABLE void keep();
    Q_INVOKABLE void remove();
    Q_INVOKABLE void cancel(const QString& hash);

    QCoro::Task<> runLoad();
    QCoro::Task<> runSaveName();
    QCoro::Task<> runMint();
    QCoro::Task<> runRedeem();
    QCoro::Task<> runRemove();
    QCoro::Task<> runCancel(QString hash);

Q_SIGNALS:
    void storeChanged();
    void changed();

private:
    std::unique_ptr<APIClient> client() const;
    void setBusy(bool busy);

    QPointer<Store> m_store;
    std::optional<PeopleSnapshot> m_snapshot;
    std::optional<MintedInvite> m_minted;
    QString m_typedCode;
    QString m_nameField;
    bool m_busy = false;
    std::optional<QString> m_refusal;
    bool m_loadFailed = false;
    std::optional<Person> m_confirmRemove;
    bool m_copied = false;
};
