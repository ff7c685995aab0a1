#pragma once

#include "Proposal.h"
#include "Records.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

// A delta read against the current document.
struct ResolvedDelta {
    ProposalDelta delta;
    std::optional<Item> target; // the task a task delta refers to, when it still exists
    bool stale = false;         // what the delta refers to is gone

    const QString& id() const { return delta.id; }
    bool operator==(const ResolvedDelta&) const = default;
};

// The marks of the proposal on show. Every delta starts accepted.
struct ReviewState {
    QSet<QString> rejected;        // delta ids turned down
    QHash<QString, QString> edits; // delta id -> title typed for an "add"
    bool busy = false;             // a submit is running
    bool operator==(const ReviewState&) const = default;
};

// What a press of the primary button leads to.
struct SubmitPlan {
    bool resolve = false; // false: only newer kinds are left, keep the proposal pending
    QList<ProposalDelta> accepted;
    QList<ProposalDelta> rejected;
    bool operator==(const SubmitPlan&) const = default;
};

// The arguments of the resolve call, drawn from the accepted and rejected deltas.
struct ResolveArguments {
    QList<int> accepted;
    QList<int> rejected;
    QMap<QString, QString> titleEdits; // index in decimal -> title, every accepted "add"
    bool operator==(const ResolveArguments&) const = default;
};

// Pure review logic: matching deltas against the list, the derived lists of the review
// screen, its primary label and the preparation of the one resolve call.
namespace ProposalReview {

// The patch keys named first in a change line, in this order; other keys follow sorted.
inline const QStringList patchFieldOrder{QStringLiteral("title"),   QStringLiteral("section"),
                                         QStringLiteral("channel"), QStringLiteral("priority"),
                                         QStringLiteral("links"),   QStringLiteral("note"),
                                         QStringLiteral("source"),  QStringLiteral("due")};

QList<ResolvedDelta> resolve(const Proposal& proposal, const Document& document);
QString summarise(const QList<ResolvedDelta>& resolved);
QString describe(const ResolvedDelta& resolved);
QStringList changedFields(const ProposalDelta& delta);
ProposalDelta withEditedTitle(const ProposalDelta& delta, const QString& title);

// The derived lists, in the proposal's order.
QList<ResolvedDelta> applicable(const QList<ResolvedDelta>& resolved);
QList<ResolvedDelta> skipped(const QList<ResolvedDelta>& resolved);
QList<ResolvedDelta> unsupported(const QList<ResolvedDelta>& resolved);
QList<ResolvedDelta> keeping(const QList<ResolvedDelta>& resolved, const ReviewState& state);
bool touched(const ReviewState& state);

QString primaryLabel(const QList<ResolvedDelta>& resolved, const ReviewState& state);

// The first half of a submit: sets `busy` when there is something to resolve.
SubmitPlan beginSubmit(const QList<ResolvedDelta>& resolved, ReviewState& state);
// The second half: clears `busy`; true when the review should close.
bool finishSubmit(ReviewState& state, bool resolved, bool proposalGone);

// Indices are read back from the ids; a delta whose id holds none is left out.
ResolveArguments resolveArguments(const QList<ProposalDelta>& accepted,
                                  const QList<ProposalDelta>& rejected);

} // namespace ProposalReview
