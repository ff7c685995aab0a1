#include "ReviewPaneModel.h"

#include "UpdatesHelp.h"

#include <QtQml>

namespace ReviewScreen {

QString title(const Proposal& proposal) {
    return proposal.agentName() + QStringLiteral(" suggests some changes");
}

QString ruleHeading(const Proposal& proposal) {
    return QStringLiteral("Suggested rules — these change what ") + proposal.agentNameLowercased() +
           QStringLiteral(" may suggest in future");
}

namespace {
QString suggestions(qsizetype count) {
    return QString::number(count) +
           (count == 1 ? QStringLiteral(" suggestion") : QStringLiteral(" suggestions"));
}
} // namespace

QString skippedNote(qsizetype count) {
    if (count < 1)
        return {};
    return suggestions(count) + QStringLiteral(" skipped — those items are no longer here.");
}

QString unsupportedNote(qsizetype count) {
    if (count < 1)
        return {};
    return suggestions(count) +
           QStringLiteral(" in a newer format — review on the website; deciding here will skip ") +
           (count == 1 ? QStringLiteral("it") : QStringLiteral("them")) + u'.';
}

QList<ReviewRow> rows(const QList<ResolvedDelta>& resolved, const ReviewState& state) {
    QList<ReviewRow> out;
    bool previousWasRule = false;
    for (const ResolvedDelta& r : ProposalReview::applicable(resolved)) {
        const WireDelta& wire = r.delta.wire;
        ReviewRow row;
        row.id = r.id();
        row.kind = wire.kindName();
        row.verb = UpdatesHelp::verb(row.kind);
        row.text = ProposalReview::describe(r);
        row.reason = wire.reason.value_or(QString());
        row.rejected = state.rejected.contains(row.id);
        const bool isRule = row.kind.endsWith(u"_rule");
        row.ruleHeading = isRule && !previousWasRule;
        previousWasRule = isRule;
        if (wire.kind == DeltaKind::add && wire.item) {
            row.isAdd = true;
            const auto edit = state.edits.constFind(row.id);
            if (edit != state.edits.constEnd())
                row.text = *edit;
            row.channel = Wire::string(wire.item->channel);
            row.channelLabel = label(wire.item->channel);
            row.source = wire.item->source.value_or(QString());
            row.high = wire.item->priority == Priority::high;
        }
        out.append(row);
    }
    return out;
}

} // namespace ReviewScreen

int ReviewRowModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant ReviewRowModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const ReviewRow& row = m_rows.at(index.row());
    switch (role) {
    case IdRole:
        return row.id;
    case KindRole:
        return row.kind;
    case VerbRole:
        return row.verb;
    case Qt::DisplayRole:
    case TextRole:
        return row.text;
    case ReasonRole:
        return row.reason;
    case ChannelRole:
        return row.channel;
    case ChannelLabelRole:
        return row.channelLabel;
    case SourceRole:
        return row.source;
    case IsAddRole:
        return row.isAdd;
    case HighRole:
        return row.high;
    case RejectedRole:
        return row.rejected;
    case RuleHeadingRole:
        return row.ruleHeading;
    default:
        return {};
    }
}

QHash<int, QByteArray> ReviewRowModel::roleNames() const {
    return {{IdRole, "deltaId"},
            {KindRole, "kind"},
            {VerbRole, "verb"},
            {TextRole, "text"},
            {ReasonRole, "reason"},
            {ChannelRole, "channel"},
            {ChannelLabelRole, "channelLabel"},
            {SourceRole, "source"},
            {IsAddRole, "isAdd"},
            {HighRole, "high"},
            {RejectedRole, "rejected"},
            {RuleHeadingRole, "ruleHeading"}};
}

void ReviewRowModel::setRows(QList<ReviewRow> rows) {
    bool sameIds = rows.size() == m_rows.size();
    for (qsizetype i = 0; sameIds && i < rows.size(); ++i)
        sameIds = rows[i].id == m_rows[i].id;
    if (!sameIds) {
        const bool countChanges = rows.size() != m_rows.size();
        beginResetModel();
        m_rows = std::move(rows);
        endResetModel();
        if (countChanges)
            Q_EMIT countChanged();
        return;
    }
    for (qsizetype i = 0; i < rows.size(); ++i) {
        if (rows[i] == m_rows[i])
            continue;
        m_rows[i] = std::move(rows[i]);
        Q_EMIT dataChanged(index(int(i)), index(int(i)));
    }
}

ReviewPaneModel::ReviewPaneModel(QObject* parent)
    : QObject(parent) {}

void ReviewPaneModel::registerType() {
    static const int id =
        qmlRegisterType<ReviewPaneModel>("Velmora.Forms", 1, 0, "ReviewPaneModel");
    Q_UNUSED(id)
}

void ReviewPaneModel::setStore(Store* store) {
    if (m_store == store)
        return;
    QObject::disconnect(m_proposalConnection);
    QObject::disconnect(m_documentConnection);
    m_store = store;
    if (store) {
        m_proposalConnection =
            connect(store, &Store::proposalChanged, this, &ReviewPaneModel::follow);
        m_documentConnection =
            connect(store, &Store::documentChanged, this, &ReviewPaneModel::update);
    }
    Q_EMIT storeChanged();
    follow();
}

// The screen keeps the last proposal it showed when the Store's goes away: the pane's owner
// takes the screen down then, and a submit in flight still needs its stamp.
void ReviewPaneModel::follow() {
    if (m_store && m_store->proposal())
        m_proposal = m_store->proposal();
    update();
}

void ReviewPaneModel::update() {
    m_resolved = m_proposal && m_store ? ProposalReview::resolve(*m_proposal, m_store->document())
                                       : QList<ResolvedDelta>{};
    m_rows.setRows(ReviewScreen::rows(m_resolved, m_state));
    const QStringList words{title(),
                            agentSummary(),
                            summary(),
                            ruleHeading(),
                            skippedNote(),
                            unsupportedNote(),
                            primaryLabel(),
                            busy() ? QStringLiteral("busy") : QString(),
                            hasProposal() ? QStringLiteral("proposal") : QString()};
    if (words == m_shownWords)
        return;
    m_shownWords = words;
    Q_EMIT changed();
}

QString ReviewPaneModel::title() const {
    return m_proposal ? ReviewScreen::title(*m_proposal) : QString();
}

QString ReviewPaneModel::agentSummary() const {
    return m_proposal ? m_proposal->summary.value_or(QString()) : QString();
}

QString ReviewPaneModel::summary() const {
    return m_proposal ? ProposalReview::summarise(m_resolved) : QString();
}

QString ReviewPaneModel::ruleHeading() const {
    return m_proposal ? ReviewScreen::ruleHeading(*m_proposal) : QString();
}

QString ReviewPaneModel::skippedNote() const {
    return ReviewScreen::skippedNote(ProposalReview::skipped(m_resolved).size());
}

QString ReviewPaneModel::unsupportedNote() const {
    return ReviewScreen::unsupportedNote(ProposalReview::unsupported(m_resolved).size());
}

QString ReviewPaneModel::primaryLabel() const {
    return ProposalReview::primaryLabel(m_resolved, m_state);
}

void ReviewPaneModel::setHelping(bool helping) {
    if (m_helping == helping)
        return;
    m_helping = helping;
    Q_EMIT helpingChanged();
}

void ReviewPaneModel::toggleRejected(const QString& id) {
    setRejected(id, !m_state.rejected.contains(id));
}

void ReviewPaneModel::setRejected(const QString& id, bool rejected) {
    if (m_state.rejected.contains(id) == rejected)
        return;
    if (rejected)
        m_state.rejected.insert(id);
    else
        m_state.rejected.remove(id);
    update();
}

void ReviewPaneModel::setTitle(const QString& id, const QString& title) {
    const auto edit = m_state.edits.constFind(id);
    if (edit != m_state.edits.constEnd() && *edit == title)
        return;
    m_state.edits.insert(id, title);
    update();
}

void ReviewPaneModel::submit() {
    if (!m_state.busy)
        runSubmit();
}

QCoro::Task<> ReviewPaneModel::runSubmit() {
    if (!m_store || !m_proposal)
        co_return;
    const QVariant stamp = m_proposal->createdAt ? QVariant(*m_proposal->createdAt) : QVariant();
    const SubmitPlan plan = ProposalReview::beginSubmit(m_resolved, m_state);
    if (!plan.resolve) {
        Q_EMIT closed(stamp);
        co_return;
    }
    update();
    QPointer<ReviewPaneModel> self(this);
    QPointer<Store> store = m_store;
    auto call = store->resolveProposal(plan.accepted, plan.rejected);
    const bool resolved = co_await std::move(call);
    if (!self)
        co_return;
    const bool close =
        ProposalReview::finishSubmit(m_state, resolved, !store || !store->proposal());
    // Closing first: the owner may take this screen down at once.
    if (close)
        Q_EMIT closed(stamp);
    if (self)
        update();
}

void ReviewPaneModel::later() {
    if (m_proposal)
        Q_EMIT closed(m_proposal->createdAt ? QVariant(*m_proposal->createdAt) : QVariant());
}
