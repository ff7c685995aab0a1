#include "RuleEngine.h"

#include "WireJson.h"

#include <algorithm>

namespace {

QString folded(const QString& text) {
    return text.trimmed().toCaseFolded();
}

QString subject(RuleField field, const WireItem& item, QDate today) {
    switch (field) {
    case RuleField::section:
        return Wire::string(item.section);
    case RuleField::channel:
        return Wire::string(item.channel);
    case RuleField::source:
        return item.source.value_or(QString());
    case RuleField::title:
        return item.title;
    case RuleField::priority:
        return Wire::string(item.priority);
    case RuleField::dueRelative:
        return RuleEngine::dueRelative(item.due, today);
    }
    return {};
}

bool holds(const WireRuleCondition& condition, const WireItem& item, QDate today) {
    const QString text = folded(subject(condition.field, item, today));
    QStringList values;
    for (const QString& value : condition.value)
        if (const QString v = folded(value); !v.isEmpty())
            values.append(v);
    switch (condition.op) {
    case RuleOp::equals:
        return values.contains(text);
    case RuleOp::notEquals:
        return !values.contains(text);
    case RuleOp::contains:
        return std::any_of(values.cbegin(), values.cend(),
                           [&](const QString& v) { return text.contains(v); });
    }
    return false;
}

} // namespace

namespace RuleEngine {

QString dueRelative(const std::optional<QString>& due, QDate today) {
    const QDate day =
        due && due->size() == 10 ? QDate::fromString(*due, QStringLiteral("yyyy-MM-dd")) : QDate();
    if (!day.isValid())
        return QStringLiteral("none");
    const qint64 days = today.daysTo(day);
    if (days < 0)
        return QStringLiteral("overdue");
    if (days == 0)
        return QStringLiteral("today");
    if (days <= 6)
        return QStringLiteral("this_week");
    return QStringLiteral("later");
}

bool matches(const WireRuleMatch& match, const WireItem& item, QDate today) {
    const auto& conditions = match.conditions;
    if (conditions.isEmpty())
        return false;
    const auto test = [&](const WireRuleCondition& c) { return holds(c, item, today); };
    return match.op == MatchOp::all ? std::all_of(conditions.cbegin(), conditions.cend(), test)
                                    : std::any_of(conditions.cbegin(), conditions.cend(), test);
}

Verdict evaluate(const QList<WireRule>& rules, const WireItem& item, QDate today) {
    Verdict verdict{false, item.section, item.priority, {}};
    QList<qsizetype> excluding, keeping, moving, boosting;
    for (qsizetype i = 0; i < rules.size(); ++i) {
        const WireRule& rule = rules[i];
        if (rule.status != RuleStatus::active || !matches(rule.match, item, today))
            continue;
        switch (rule.action) {
        case RuleAction::exclude:
            excluding.append(i);
            break;
        case RuleAction::alwaysKeep:
            keeping.append(i);
            break;
        case RuleAction::recategorize:
            moving.append(i);
            break;
        case RuleAction::boost:
            boosting.append(i);
            break;
        }
    }
    if (!excluding.isEmpty()) {
        if (keeping.isEmpty()) {
            verdict.dropped = true;
            verdict.fired = excluding;
            return verdict;
        }
        // A keep rule acts only by shielding; matching alone is not counted.
        verdict.fired += keeping;
    }
    // The first move that names a section decides, even when it changes nothing.
    for (const qsizetype i : moving) {
        if (const auto section = rules[i].params.section) {
            if (*section != item.section) {
                verdict.section = *section;
                verdict.fired.append(i);
            }
            break;
        }
    }
    // Boosts only raise; each one above the agent's own priority counts.
    for (const qsizetype i : boosting) {
        const Priority target = rules[i].params.priority.value_or(Priority::high);
        if (target > item.priority) {
            verdict.priority = std::max(verdict.priority, target);
            verdict.fired.append(i);
        }
    }
    std::sort(verdict.fired.begin(), verdict.fired.end());
    return verdict;
}

WireItem readNewItem(const JsonValue& item) {
    if (!item.isObject())
        throw DecodingError(QStringLiteral("expected an object"));
    JsonValue json = item;
    json.set(QStringLiteral("id"), QString());
    json.set(QStringLiteral("origin"), Wire::string(Origin::ai));
    json.set(QStringLiteral("created_at"), QString());
    if (const JsonValue* status = json.find(u"status"); !status || status->isNull())
        json.set(QStringLiteral("status"), Wire::string(ItemStatus::open));
    return WireJson::fromJson<WireItem>(json);
}

std::optional<WireItem> suggestedItem(const JsonValue& delta) {
    const JsonValue* kind = delta.find(u"kind");
    const JsonValue* item = delta.find(u"item");
    if (!kind || kind->toString() != u"add" || !item)
        return std::nullopt;
    try {
        return readNewItem(*item);
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

Outcome applyToProposal(JsonValue proposal, QList<WireRule> rules, QDate today,
                        const QString& now) {
    Outcome outcome;
    const JsonValue* deltas = proposal.find(u"deltas");
    if (!deltas || !deltas->isArray()) {
        outcome.proposal = std::move(proposal);
        outcome.rules = std::move(rules);
        return outcome;
    }
    JsonValue::Array kept;
    const JsonValue::Array& filed = deltas->toArray();
    for (std::size_t position = 0; position < filed.size(); ++position) {
        JsonValue delta = filed[position];
        const auto item = suggestedItem(delta);
        if (!item) {
            kept.push_back(std::move(delta));
            continue;
        }
        const Verdict verdict = evaluate(rules, *item, today);
        outcome.verdicts.append({qsizetype(position), verdict});
        for (const qsizetype i : verdict.fired) {
            rules[i].applyCount += 1;
            rules[i].lastAppliedAt = now;
        }
        if (verdict.dropped) {
            outcome.dropped.append(qsizetype(position));
            continue;
        }
        if (verdict.section != item->section || verdict.priority != item->priority) {
            JsonValue changed = *delta.find(u"item");
            changed.set(QStringLiteral("section"), Wire::string(verdict.section));
            changed.set(QStringLiteral("priority"), Wire::string(verdict.priority));
            delta.set(QStringLiteral("item"), std::move(changed));
        }
        kept.push_back(std::move(delta));
    }
    proposal.set(QStringLiteral("deltas"), std::move(kept));
    outcome.proposal = std::move(proposal);
    outcome.rules = std::move(rules);
    return outcome;
}

} // namespace RuleEngine
