#pragma once

#include "Rules.h"
#include "Store.h"

#include <QAbstractListModel>
#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QVariantList>

// One standing rule as its row shows it.
struct RuleLine {
    QString id;
    QString sentence;
    QString author; // "You" or "Your AI"
    QString reason;
    QString history; // where it came from and how often it acted
    bool paused = false;
    bool operator==(const RuleLine&) const = default;
};

// The words of the rules screen.
namespace RulesScreen {

RuleLine line(const Rule& rule);
QString pauseLabel(bool paused);
QString pauseToolTip(bool paused);

} // namespace RulesScreen

// The Store's rules for a QML list; a change of one rule changes its row in place.
class RuleRowModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        SentenceRole,
        AuthorRole,
        ReasonRole,
        HistoryRole,
        PausedRole,
        PauseLabelRole,
        PauseToolTipRole,
    };
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_lines.size()); }
    const QList<RuleLine>& lines() const { return m_lines; }
    void setLines(QList<RuleLine> lines);

Q_SIGNALS:
    void countChanged();

private:
    QList<RuleLine> m_lines;
};

// The rules screen: the list, pausing, and deleting after a confirmation. Every change goes
// through the Store, which puts a rule back when the server refuses.
class RulesViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(RuleRowModel* rules READ rules CONSTANT)
    Q_PROPERTY(bool adding READ adding WRITE setAdding NOTIFY addingChanged)
    // The id of the rule waiting on "Delete this rule?", "" when none.
    Q_PROPERTY(QString confirmingDelete READ confirmingDelete NOTIFY confirmingDeleteChanged)

public:
    explicit RulesViewModel(QObject* parent = nullptr);
    // Makes RulesViewModel and RuleComposerModel known to QML as Velmora.Forms 1.0.
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    RuleRowModel* rules() const { return &m_rules; }
    bool adding() const { return m_adding; }
    void setAdding(bool adding);
    const QString& confirmingDelete() const { return m_confirmingDelete; }

    Q_INVOKABLE void togglePause(const QString& id);
    Q_INVOKABLE void requestDelete(const QString& id);
    // "Delete" in the confirmation; any other way out of it keeps the rule.
    Q_INVOKABLE void confirmDelete();
    Q_INVOKABLE void cancelDelete();

Q_SIGNALS:
    void storeChanged();
    void addingChanged();
    void confirmingDeleteChanged();

private:
    void update();
    std::optional<Rule> rule(const QString& id) const;
    void setConfirmingDelete(const QString& id);

    QPointer<Store> m_store;
    QMetaObject::Connection m_documentConnection;
    mutable RuleRowModel m_rules;
    bool m_adding = false;
    QString m_confirmingDelete;
};

// The form that makes one rule. Its pickers take wire text; a failed create keeps what was
// typed and shows the Store's words.
class RuleComposerModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString action READ action WRITE setAction NOTIFY formChanged)
    Q_PROPERTY(QString target READ target WRITE setTarget NOTIFY formChanged)
    Q_PROPERTY(QString field READ field WRITE setField NOTIFY formChanged)
    Q_PROPERTY(QString op READ op WRITE setOp NOTIFY formChanged)
    Q_PROPERTY(QString value READ value WRITE setValue NOTIFY formChanged)
    Q_PROPERTY(QString reason READ reason WRITE setReason NOTIFY formChanged)
    Q_PROPERTY(bool showsTarget READ showsTarget NOTIFY formChanged)
    Q_PROPERTY(bool canCreate READ canCreate NOTIFY formChanged)
    Q_PROPERTY(bool busy READ busy NOTIFY formChanged)
    Q_PROPERTY(QString error READ error NOTIFY formChanged)
    // {value, label} in the pickers' order.
    Q_PROPERTY(QVariantList actionChoices READ actionChoices CONSTANT)
    Q_PROPERTY(QVariantList targetChoices READ targetChoices CONSTANT)
    Q_PROPERTY(QVariantList fieldChoices READ fieldChoices CONSTANT)
    Q_PROPERTY(QVariantList opChoices READ opChoices CONSTANT)

public:
    explicit RuleComposerModel(QObject* parent = nullptr);

    Store* store() const { return m_store; }
    void setStore(Store* store);
    const RuleComposer& form() const { return m_form; }
    QString action() const { return Wire::string(m_form.action); }
    QString target() const { return Wire::string(m_form.target); }
    QString field() const { return Wire::string(m_form.field); }
    QString op() const { return Wire::string(m_form.op); }
    const QString& value() const { return m_form.value; }
    const QString& reason() const { return m_form.reason; }
    bool showsTarget() const { return m_form.showsTarget(); }
    bool canCreate() const { return m_form.canCreate(); }
    bool busy() const { return m_form.busy; }
    QString error() const { return m_form.error.value_or(QString()); }
    // Unknown wire text is ignored.
    void setAction(const QString& text);
    void setTarget(const QString& text);
    void setField(const QString& text);
    void setOp(const QString& text);
    void setValue(const QString& text);
    void setReason(const QString& text);
    QVariantList actionChoices() const;
    QVariantList targetChoices() const;
    QVariantList fieldChoices() const;
    QVariantList opChoices() const;

    // "Create rule"; does nothing while it can't.
    Q_INVOKABLE void create();
    QCoro::Task<> runCreate();

Q_SIGNALS:
    void storeChanged();
    void formChanged();
    void created();

private:
    void change(const std::function<void(RuleComposer&)>& edit);

    QPointer<Store> m_store;
    RuleComposer m_form;
};
