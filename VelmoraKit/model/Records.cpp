#include "Records.h"

#include "WireFormats.h"

#include <QHash>

namespace {

QDate localDay(const QDateTime& instant) {
    return instant.toLocalTime().date();
}

} // namespace

bool Item::isOverdue(const QDateTime& today) const {
    if (isDone() || !due)
        return false;
    return localDay(*due) < localDay(today);
}

bool Item::isToday(const QDateTime& today) const {
    if (!due)
        return false;
    return localDay(*due) <= localDay(today);
}

QString Rule::describe(RuleAction action, const WireRuleMatch& match) {
    QString verb;
    switch (action) {
    case RuleAction::exclude:
        verb = QStringLiteral("Exclude");
        break;
    case RuleAction::recategorize:
        verb = QStringLiteral("Recategorise");
        break;
    case RuleAction::alwaysKeep:
        verb = QStringLiteral("Always keep");
        break;
    case RuleAction::boost:
        verb = QStringLiteral("Prioritise");
        break;
    }
    QStringList clauses;
    for (const auto& condition : match.conditions) {
        QString op;
        switch (condition.op) {
        case RuleOp::equals:
            op = condition.value.size() > 1 ? QStringLiteral("is one of") : QStringLiteral("is");
            break;
        case RuleOp::notEquals:
            op = QStringLiteral("is not");
            break;
        case RuleOp::contains:
            op = QStringLiteral("contains");
            break;
        }
        const QString field =
            Wire::string(condition.field).replace(QLatin1Char('_'), QLatin1Char(' '));
        clauses << field + QLatin1Char(' ') + op + QLatin1Char(' ') +
                       condition.value.join(QStringLiteral(", "));
    }
    const QString joiner =
        match.op == MatchOp::all ? QStringLiteral(" and ") : QStringLiteral(" or ");
    return verb + QStringLiteral(" items where ") + clauses.join(joiner);
}

namespace WireMapping {

namespace {

// Local midnights of the due days met in one document: a list shares a few hundred days, and
// each conversion to local time asks the C library for the zone again.
using DueDays = QHash<QString, std::optional<QDateTime>>;

std::optional<QDateTime> dueDay(const std::optional<QString>& text, DueDays* days) {
    if (!text || !days)
        return LocalDay::date(text);
    auto it = days->constFind(*text);
    if (it == days->constEnd())
        it = days->insert(*text, LocalDay::date(text));
    return *it;
}

std::optional<Item> mapItem(const WireItem& wire, DueDays* days) {
    if (wire.deletedAt)
        return std::nullopt;
    const auto created = WireDate::instant(wire.createdAt);
    if (!created)
        return std::nullopt;

    Item out;
    out.id = wire.id;
    out.title = wire.title;
    out.note = wire.note;
    out.section = wire.section;
    out.channel = wire.channel;
    out.source = wire.source;
    out.priority = wire.priority;
    out.status = wire.status;
    out.origin = wire.origin;
    out.shared = wire.shared;
    out.flagged = wire.flagged.value_or(false);
    out.createdAt = *created;
    out.links.reserve(wire.links.size());
    for (const auto& link : wire.links) {
        const QUrl url(link.url, QUrl::StrictMode);
        if (!url.isValid())
            continue;
        const QString scheme = url.scheme().toLower();
        if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
            continue;
        out.links.push_back({link.label, url});
    }
    out.due = dueDay(wire.due, days);
    if (wire.completedAt)
        out.completedAt = WireDate::instant(*wire.completedAt);
    return out;
}

} // namespace

std::optional<Item> item(const WireItem& wire) {
    return mapItem(wire, nullptr);
}

Rule rule(const WireRule& wire) {
    Rule out;
    out.id = wire.id;
    out.status = wire.status;
    out.action = wire.action;
    out.reason = wire.reason;
    out.createdBy = wire.createdBy;
    out.applyCount = wire.applyCount;
    out.learnedFrom = wire.origin.from == RuleOriginKind::rejections ? wire.origin.count : 0;
    if (wire.lastAppliedAt)
        out.lastAppliedAt = WireDate::instant(*wire.lastAppliedAt);
    out.sentence = Rule::describe(wire.action, wire.match);
    return out;
}

Document document(const WireDocument& wire) {
    Document out;
    out.items.reserve(wire.items.size());
    DueDays days;
    for (const auto& wireItem : wire.items)
        if (auto mapped = mapItem(wireItem, &days))
            out.items.push_back(std::move(*mapped));
    out.rules.reserve(wire.rules.size());
    for (const auto& wireRule : wire.rules)
        out.rules.push_back(rule(wireRule));
    out.focus = wire.focus;
    out.settings.hideDone = wire.settings.hideDone;
    return out;
}

} // namespace WireMapping
