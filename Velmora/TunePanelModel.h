#pragma once

#include "Store.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <optional>

// The Tune tab: the focus list (changed through the Store) and the findings the briefing
// leaves alone, read and restored with the screen's own client. The findings are one
// account's: a change of token drops them and loads them afresh.
class TunePanelModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY stateChanged)
    Q_PROPERTY(bool saving READ saving NOTIFY stateChanged)
    Q_PROPERTY(QStringList focus READ focus NOTIFY stateChanged)
    Q_PROPERTY(QString countText READ countText NOTIFY stateChanged)
    Q_PROPERTY(bool full READ full NOTIFY stateChanged)
    Q_PROPERTY(bool duplicate READ duplicate NOTIFY stateChanged)
    Q_PROPERTY(bool addable READ addable NOTIFY stateChanged)
    // {id, label, subtitle} for each handled finding; empty until loaded.
    Q_PROPERTY(QVariantList handled READ handledRows NOTIFY handledChanged)
    Q_PROPERTY(bool handledLoaded READ handledLoaded NOTIFY handledChanged)
    Q_PROPERTY(bool handledFailed READ handledFailed NOTIFY handledChanged)
    Q_PROPERTY(QString removing READ removing NOTIFY handledChanged)

public:
    explicit TunePanelModel(QObject* parent = nullptr);
    // Makes TunePanelModel and CreditsPanelModel known to QML as Velmora.AI 1.0.
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    const QString& draft() const { return m_draft; }
    void setDraft(const QString& text);
    bool saving() const { return m_saving; }
    QStringList focus() const;
    QString countText() const;
    bool full() const;
    bool duplicate() const;
    bool addable() const;
    QVariantList handledRows() const;
    const std::optional<QList<HandledFinding>>& handled() const { return m_handled; }
    bool handledLoaded() const { return m_handled.has_value(); }
    bool handledFailed() const { return m_handledFailed; }
    const QString& removing() const { return m_removing; }

    // "Add" (and Return in the field); does nothing unless addable.
    Q_INVOKABLE void add();
    Q_INVOKABLE void remove(const QString& term);
    Q_INVOKABLE void loadHandled();
    // "Let it come back" for the finding of that id.
    Q_INVOKABLE void letComeBack(const QString& id);

    QCoro::Task<> runAdd();
    QCoro::Task<> runRemove(QString term);
    QCoro::Task<> runLoadHandled();
    QCoro::Task<> runLetComeBack(QString id);

Q_SIGNALS:
    void storeChanged();
    void stateChanged();
    void handledChanged();

private:
    QCoro::Task<> save(QStringList terms);
    void setSaving(bool saving);
    // Forgets the findings and every answer still on its way, then loads afresh.
    void restart();

    QPointer<Store> m_store;
    QList<QMetaObject::Connection> m_connections;
    QString m_draft;
    bool m_saving = false;
    std::optional<QList<HandledFinding>> m_handled;
    bool m_handledFailed = false;
    QString m_removing;
    // Counts restarts: an answer sent before the last one is dropped.
    quint64 m_generation = 0;
};
