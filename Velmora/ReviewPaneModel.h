#pragma once

#include "ProposalReview.h"
#include "Store.h"

#include <QAbstractListModel>
#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QVariant>

#include <optional>

// One row of the review as the screen draws it.
struct ReviewRow {
    QString id;
    QString kind; // the delta's kind as it came
    QString verb; // the tag: "Add", "Done", "Change", "Remove", "Rule"
    QString text; // describe(); for an "add" the title on show
    QString reason;
    QString channel;      // an "add"'s channel, wire text
    QString channelLabel; // and its words
    QString source;       // an "add"'s source
    bool isAdd = false;
    bool high = false; // an "add" of high priority
    bool rejected = false;
    bool ruleHeading = false; // the first of a run of rule rows: the heading stands above it
    bool operator==(const ReviewRow&) const = default;
};

// The words of the review screen, drawn from the proposal and the marks.
namespace ReviewScreen {

QString title(const Proposal& proposal);
QString ruleHeading(const Proposal& proposal);
// "" when there is nothing to say.
QString skippedNote(qsizetype count);
QString unsupportedNote(qsizetype count);
// The applicable rows, in delta order.
QList<ReviewRow> rows(const QList<ResolvedDelta>& resolved, const ReviewState& state);

} // namespace ReviewScreen

// The rows of the review for a QML list. Marks and edits change rows in place, so a row being
// typed into keeps its focus; a different set of deltas resets.
class ReviewRowModel : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        IdRole = Qt::UserRole + 1,
        KindRole,
        VerbRole,
        TextRole,
        ReasonRole,
        ChannelRole,
        ChannelLabelRole,
        SourceRole,
        IsAddRole,
        HighRole,
        RejectedRole,
        RuleHeadingRole,
    };
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    int count() const { return int(m_rows.size()); }
    const QList<ReviewRow>& rows() const { return m_rows; }
    void setRows(QList<ReviewRow> rows);

Q_SIGNALS:
    void countChanged();

private:
    QList<ReviewRow> m_rows;
};

// The review of the pending proposal: the marks the user makes and the one submit. It shows
// the Store's proposal for as long as there is one, and keeps its marks when another comes
// in; the marks go with the screen.
class ReviewPaneModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(bool hasProposal READ hasProposal NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    // The agent's own line about this pass, "" when it left none.
    Q_PROPERTY(QString agentSummary READ agentSummary NOTIFY changed)
    Q_PROPERTY(QString summary READ summary NOTIFY changed)
    Q_PROPERTY(QString ruleHeading READ ruleHeading NOTIFY changed)
    Q_PROPERTY(QString skippedNote READ skippedNote NOTIFY changed)
    Q_PROPERTY(QString unsupportedNote READ unsupportedNote NOTIFY changed)
    Q_PROPERTY(QString primaryLabel READ primaryLabel NOTIFY changed)
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    Q_PROPERTY(bool helping READ helping WRITE setHelping NOTIFY helpingChanged)
    Q_PROPERTY(ReviewRowModel* rows READ rows CONSTANT)

public:
    explicit ReviewPaneModel(QObject* parent = nullptr);
    // Makes the type known to QML as Velmora.Forms 1.0 ReviewPaneModel; once is enough.
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    bool hasProposal() const { return m_proposal.has_value(); }
    const std::optional<Proposal>& proposal() const { return m_proposal; }
    const ReviewState& state() const { return m_state; }
    QString title() const;
    QString agentSummary() const;
    QString summary() const;
    QString ruleHeading() const;
    QString skippedNote() const;
    QString unsupportedNote() const;
    QString primaryLabel() const;
    bool busy() const { return m_state.busy; }
    bool helping() const { return m_helping; }
    void setHelping(bool helping);
    ReviewRowModel* rows() const { return &m_rows; }

    // "Reject" and "Undo" on a row; the keyboard's A and R take a side.
    Q_INVOKABLE void toggleRejected(const QString& id);
    Q_INVOKABLE void setRejected(const QString& id, bool rejected);
    // Typed into an "add" row's title.
    Q_INVOKABLE void setTitle(const QString& id, const QString& title);
    // The primary button.
    Q_INVOKABLE void submit();
    QCoro::Task<> runSubmit();
    // "Later": the proposal stays pending and the pane goes.
    Q_INVOKABLE void later();

Q_SIGNALS:
    void storeChanged();
    void changed();
    void helpingChanged();
    // The review is over for now: put off, answered, or gone. `createdAt` is the stamp of
    // the proposal that was on show (null when it had none).
    void closed(const QVariant& createdAt);

private:
    void follow();
    void update();

    QPointer<Store> m_store;
    QMetaObject::Connection m_proposalConnection;
    QMetaObject::Connection m_documentConnection;
    std::optional<Proposal> m_proposal;
    QList<ResolvedDelta> m_resolved;
    ReviewState m_state;
    bool m_helping = false;
    QStringList m_shownWords; // what `changed` last announced
    mutable ReviewRowModel m_rows;
};
