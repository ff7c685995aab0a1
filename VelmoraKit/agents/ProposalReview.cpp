#include "ProposalReview.h"

#include <algorithm>

namespace {

bool hasItem(const Document& document, const QString& id, std::optional<Item>* target) {
    for (const Item& item : document.items)
        if (item.id == id) {
            *target = item;
            return true;
        }
    return false;
}

bool hasRule(const Document& document, const QString& id) {
    return std::any_of(document.rules.begin(), document.rules.end(),
                       [&](const Rule& rule) { return rule.id == id; });
}

const QString goneItem = QStringLiteral("This item is no longer here");
const QString goneRule = QStringLiteral("That rule is no longer here");

template <typename Keep>
QList<ResolvedDelta> filtered(const QList<ResolvedDelta>& resolved, Keep keep) {
    QList<ResolvedDelta> out;
    for (const ResolvedDelta& r : resolved)
        if (keep(r))
            out.append(r);
    return out;
}

bool isApplicable(const ResolvedDelta& r) {
    return !r.stale && r.delta.wire.kind != DeltaKind::unknown;
}

} // namespace

namespace ProposalReview {

QList<ResolvedDelta> resolve(const Proposal& proposal, const Document& document) {
    QList<ResolvedDelta> out;
    out.reserve(proposal.deltas.size());
    for (const ProposalDelta& delta : proposal.deltas) {
        ResolvedDelta r{delta, std::nullopt, false};
        if (delta.wire.isTaskDelta())
            r.stale = !hasItem(document, delta.wire.itemId, &r.target);
        else if (delta.wire.isRuleDelta())
            r.stale = !hasRule(document, delta.wire.ruleId);
        out.append(std::move(r));
    }
    return out;
}

QString summarise(const QList<ResolvedDelta>& resolved) {
    struct Group {
        const char* word;
        int count = 0;
    };
    Group groups[] = {{"addition"}, {"completion"}, {"change"}, {"removal"}, {"rule"}};
    for (const ResolvedDelta& r : resolved) {
        if (!isApplicable(r))
            continue;
        switch (r.delta.wire.kind) {
        case DeltaKind::add:
            ++groups[0].count;
            break;
        case DeltaKind::complete:
            ++groups[1].count;
            break;
        case DeltaKind::update:
            ++groups[2].count;
            break;
        case DeltaKind::remove:
            ++groups[3].count;
            break;
        case DeltaKind::addRule:
        case DeltaKind::updateRule:
        case DeltaKind::removeRule:
        case DeltaKind::pauseRule:
            ++groups[4].count;
            break;
        case DeltaKind::unknown:
            break;
        }
    }
    QStringList parts;
    for (const Group& g : groups)
        if (g.count >= 1)
            parts.append(QStringLiteral("%1 %2%3")
                             .arg(g.count)
                             .arg(QLatin1String(g.word))
                             .arg(g.count == 1 ? QString() : QStringLiteral("s")));
    if (parts.isEmpty())
        return QStringLiteral("Nothing left to apply");
    const QString last = parts.takeLast();
    return parts.isEmpty() ? last
                           : parts.join(QStringLiteral(", ")) + QStringLiteral(" and ") + last;
}

QString describe(const ResolvedDelta& resolved) {
    const WireDelta& wire = resolved.delta.wire;
    switch (wire.kind) {
    case DeltaKind::add:
        return wire.item ? wire.item->title : QString();
    case DeltaKind::complete:
    case DeltaKind::remove:
        return resolved.target ? resolved.target->title : goneItem;
    case DeltaKind::update:
        if (!resolved.target)
            return goneItem;
        return resolved.target->title + QStringLiteral(" — change ") +
               changedFields(resolved.delta).join(QStringLiteral(", "));
    case DeltaKind::addRule:
        return wire.rule ? Rule::describe(wire.rule->action, wire.rule->match) : QString();
    case DeltaKind::updateRule:
        return resolved.stale ? goneRule : QStringLiteral("Change a rule");
    case DeltaKind::removeRule:
        return resolved.stale ? goneRule : QStringLiteral("Delete a rule");
    case DeltaKind::pauseRule:
        return resolved.stale ? goneRule : QStringLiteral("Pause a rule");
    case DeltaKind::unknown:
        break;
    }
    return QStringLiteral("A newer kind of suggestion — review it on the website");
}

QStringList changedFields(const ProposalDelta& delta) {
    if (delta.wire.kind != DeltaKind::update)
        return {};
    // The raw JSON, not the parsed patch: only it tells a key sent as null from one not sent.
    const std::optional<JsonValue> raw = JsonValue::parse(delta.raw);
    const JsonValue* patch = raw && raw->isObject() ? raw->find("patch") : nullptr;
    if (!patch || !patch->isObject())
        return {};
    QStringList out;
    for (const QString& name : patchFieldOrder)
        if (patch->contains(name))
            out.append(name);
    QStringList others;
    for (const auto& member : patch->toObject())
        if (!patchFieldOrder.contains(member.key) && !others.contains(member.key))
            others.append(member.key);
    std::sort(others.begin(), others.end());
    return out + others;
}

ProposalDelta withEditedTitle(const ProposalDelta& delta, const QString& title) {
    if (delta.wire.kind != DeltaKind::add || !delta.wire.item)
        return delta;
    std::optional<JsonValue> raw = JsonValue::parse(delta.raw);
    if (!raw || !raw->isObject())
        return delta;
    const JsonValue* found = raw->find("item");
    if (!found || !found->isObject())
        return delta;
    JsonValue item = *found;
    item.set(QStringLiteral("title"), title);
    raw->set(QStringLiteral("item"), std::move(item));

    ProposalDelta out = delta;
    out.wire.item->title = title;
    out.raw = raw->toJson();
    return out;
}

QList<ResolvedDelta> applicable(const QList<ResolvedDelta>& resolved) {
    return filtered(resolved, isApplicable);
}

QList<ResolvedDelta> skipped(const QList<ResolvedDelta>& resolved) {
    return filtered(resolved, [](const ResolvedDelta& r) { return r.stale; });
}

QList<ResolvedDelta> unsupported(const QList<ResolvedDelta>& resolved) {
    return filtered(resolved,
                    [](const ResolvedDelta& r) { return r.delta.wire.kind == DeltaKind::unknown; });
}

QList<ResolvedDelta> keeping(const QList<ResolvedDelta>& resolved, const ReviewState& state) {
    return filtered(resolved, [&](const ResolvedDelta& r) {
        return isApplicable(r) && !state.rejected.contains(r.id());
    });
}

bool touched(const ReviewState& state) {
    return !state.rejected.isEmpty() || !state.edits.isEmpty();
}

QString primaryLabel(const QList<ResolvedDelta>& resolved, const ReviewState& state) {
    if (applicable(resolved).isEmpty())
        return QStringLiteral("Close");
    const qsizetype kept = keeping(resolved, state).size();
    if (kept == 0)
        return QStringLiteral("Reject all");
    return (touched(state) ? QStringLiteral("Accept (%1)") : QStringLiteral("Accept all (%1)"))
        .arg(kept);
}

SubmitPlan beginSubmit(const QList<ResolvedDelta>& resolved, ReviewState& state) {
    SubmitPlan plan;
    const QList<ResolvedDelta> open = applicable(resolved);
    // Only newer kinds: leave them pending for the website.
    if (open.isEmpty() && !unsupported(resolved).isEmpty())
        return plan;
    plan.resolve = true;
    state.busy = true;
    for (const ResolvedDelta& r : open) {
        if (state.rejected.contains(r.id())) {
            plan.rejected.append(r.delta);
            continue;
        }
        const auto edit = state.edits.constFind(r.id());
        if (r.delta.wire.kind == DeltaKind::add && edit != state.edits.constEnd() &&
            !edit->trimmed().isEmpty())
            plan.accepted.append(withEditedTitle(r.delta, *edit));
        else
            plan.accepted.append(r.delta);
    }
    return plan;
}

bool finishSubmit(ReviewState& state, bool resolved, bool proposalGone) {
    state.busy = false;
    return resolved || proposalGone;
}

ResolveArguments resolveArguments(const QList<ProposalDelta>& accepted,
                                  const QList<ProposalDelta>& rejected) {
    ResolveArguments out;
    for (const ProposalDelta& delta : accepted) {
        const auto index = delta.index();
        if (!index)
            continue;
        out.accepted.append(*index);
        if (delta.wire.kind == DeltaKind::add && delta.wire.item)
            out.titleEdits.insert(QString::number(*index), delta.wire.item->title);
    }
    for (const ProposalDelta& delta : rejected)
        if (const auto index = delta.index())
            out.rejected.append(*index);
    return out;
}

} // namespace ProposalReview
