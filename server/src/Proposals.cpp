#include "Proposals.h"

#include "Records.h"
#include "RuleEngine.h"
#include "WireJson.h"

#include <QCryptographicHash>
#include <QMap>
#include <QSet>

#include <algorithm>

namespace {

using Args = JsonValue::Array;

[[noreturn]] void refuse(const QString& where, const QString& what) {
    throw RpcError(400, where + QStringLiteral(": ") + what);
}

QString stringOf(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1String(key));
    return value ? value->toString() : QString();
}

const JsonValue& memberOf(const JsonValue& object, const char* key) {
    static const JsonValue none;
    const JsonValue* value = object.find(QLatin1String(key));
    return value ? *value : none;
}

// Sorted keys all the way down: two spellings of one value give one text.
JsonValue canonical(const JsonValue& value) {
    if (value.isArray()) {
        JsonValue::Array out;
        for (const JsonValue& element : value.toArray())
            out.push_back(canonical(element));
        return out;
    }
    if (value.isObject()) {
        JsonValue::Object out;
        for (const auto& member : value.toObject())
            out.push_back({member.key, canonical(member.value)});
        std::sort(out.begin(), out.end(),
                  [](const auto& a, const auto& b) { return a.key < b.key; });
        return out;
    }
    return value;
}

QString folded(const QString& text) {
    return text.simplified().toCaseFolded();
}

// --- checking what is filed ----------------------------------------------------------

template <typename T>
T readOr400(const JsonValue& value, const QString& where) {
    try {
        return WireJson::fromJson<T>(value);
    } catch (const DecodingError& error) {
        refuse(where, error.message());
    }
}

void requireString(const JsonValue& delta, const char* key, const QString& where) {
    const JsonValue* value = delta.find(QLatin1String(key));
    if (!value || !value->isString())
        refuse(where, QStringLiteral("%1 must be a string").arg(QLatin1String(key)));
}

const JsonValue& requireObject(const JsonValue& delta, const char* key, const QString& where) {
    const JsonValue* value = delta.find(QLatin1String(key));
    if (!value || !value->isObject())
        refuse(where, QStringLiteral("%1 must be an object").arg(QLatin1String(key)));
    return *value;
}

// A patch laid over a valid stand-in must still make a valid record.
void checkItemPatch(const JsonValue& patch, const QString& where) {
    WireItem standIn;
    standIn.title = QStringLiteral("x");
    JsonValue json = WireJson::toJson(standIn);
    for (const char* key :
         {"title", "note", "section", "channel", "source", "due", "priority", "flagged", "links"})
        if (const JsonValue* value = patch.find(QLatin1String(key)))
            json.set(QLatin1String(key), value->isNull() && QByteArrayView(key) == "links"
                                             ? JsonValue(JsonValue::Array{})
                                             : *value);
    Methods::validateItem(readOr400<WireItem>(json, where + QStringLiteral(".patch")),
                          where + QStringLiteral(".patch"));
}

void checkRule(const JsonValue& rule, const QString& where) {
    for (const char* key : {"action", "match", "params", "reason", "origin"})
        if (const JsonValue* value = rule.find(QLatin1String(key)); !value || value->isNull())
            refuse(where, QStringLiteral("rule.%1 is required").arg(QLatin1String(key)));
    JsonValue json = rule;
    json.set(QStringLiteral("id"), QString());
    json.set(QStringLiteral("created_by"), Wire::string(Origin::ai));
    json.set(QStringLiteral("created_at"), QString());
    json.set(QStringLiteral("updated_at"), QString());
    json.set(QStringLiteral("apply_count"), 0);
    if (const JsonValue* status = rule.find(u"status"); !status || status->isNull())
        json.set(QStringLiteral("status"), Wire::string(RuleStatus::active));
    const WireRule read = readOr400<WireRule>(json, where + QStringLiteral(".rule"));
    if (read.reason.trimmed().isEmpty())
        refuse(where, QStringLiteral("rule.reason must not be empty"));
}

void checkRulePatch(const JsonValue& patch, const QString& where) {
    WireRule standIn;
    standIn.reason = QStringLiteral("x");
    JsonValue json = WireJson::toJson(standIn);
    for (const char* key : {"reason", "status", "action", "match", "params"})
        if (const JsonValue* value = patch.find(QLatin1String(key)); value && !value->isNull())
            json.set(QLatin1String(key), *value);
    if (readOr400<WireRule>(json, where + QStringLiteral(".patch")).reason.trimmed().isEmpty())
        refuse(where, QStringLiteral("patch.reason must not be empty"));
}

void checkDelta(const JsonValue& delta, const QString& where) {
    if (!delta.isObject())
        refuse(where, QStringLiteral("expected an object"));
    requireString(delta, "kind", where);
    if (const JsonValue* reason = delta.find(u"reason"); reason && !reason->isNull())
        requireString(delta, "reason", where);
    const QString kind = stringOf(delta, "kind");
    if (kind == u"add") {
        const JsonValue& item = requireObject(delta, "item", where);
        try {
            Methods::validateItem(RuleEngine::readNewItem(item), where + QStringLiteral(".item"));
        } catch (const DecodingError& error) {
            refuse(where + QStringLiteral(".item"), error.message());
        }
    } else if (kind == u"complete" || kind == u"remove") {
        requireString(delta, "item_id", where);
    } else if (kind == u"update") {
        requireString(delta, "item_id", where);
        checkItemPatch(requireObject(delta, "patch", where), where);
    } else if (kind == u"add_rule") {
        checkRule(requireObject(delta, "rule", where), where);
    } else if (kind == u"update_rule") {
        requireString(delta, "rule_id", where);
        checkRulePatch(requireObject(delta, "patch", where), where);
    } else if (kind == u"remove_rule" || kind == u"pause_rule") {
        requireString(delta, "rule_id", where);
    }
}

// --- answering -----------------------------------------------------------------------

const WireItem* liveItem(const WireDocument& document, const QString& id) {
    for (const WireItem& item : document.items)
        if (item.id == id)
            return item.deletedAt ? nullptr : &item;
    return nullptr;
}

const WireRule* findRule(const WireDocument& document, const QString& id) {
    for (const WireRule& rule : document.rules)
        if (rule.id == id)
            return &rule;
    return nullptr;
}

// Applies one accepted delta through the remote methods themselves, so an applied delta
// is held to the same checks as a user's own edit. On a copy: a delta that cannot apply
// leaves the state as it was.
bool applyDelta(UserState& state, const JsonValue& delta, const std::optional<QString>& titleEdit,
                const Methods::Context& context) {
    const QString kind = stringOf(delta, "kind");
    const QString itemId = stringOf(delta, "item_id");
    const QString ruleId = stringOf(delta, "rule_id");
    UserState trial = state;
    const auto call = [&](const char* method, Args args) {
        Methods::apply(trial, QString::fromLatin1(method), args, context);
    };
    try {
        if (kind == u"add") {
            JsonValue item = memberOf(delta, "item");
            if (titleEdit && !titleEdit->trimmed().isEmpty())
                item.set(QStringLiteral("title"), titleEdit->trimmed());
            // What the user accepted is not held to the cap of their own additions.
            trial.openCap.reset();
            call("addItem", {item});
            trial.document.items.last().origin = Origin::ai;
            trial.openCap = state.openCap;
        } else if (kind == u"complete" || kind == u"remove" || kind == u"update") {
            if (!liveItem(trial.document, itemId))
                return false;
            if (kind == u"complete")
                call("setItemStatus", {itemId, true});
            else if (kind == u"remove")
                call("softDelete", {QStringLiteral("item"), itemId});
            else
                call("updateItem", {itemId, memberOf(delta, "patch")});
        } else if (kind == u"add_rule") {
            call("addRule", {memberOf(delta, "rule")});
            trial.document.rules.last().createdBy = Origin::ai;
        } else if (kind == u"update_rule") {
            call("updateRule", {ruleId, memberOf(delta, "patch")});
        } else if (kind == u"remove_rule") {
            call("deleteRule", {ruleId});
        } else if (kind == u"pause_rule") {
            call("updateRule", {ruleId, JsonValue::object({{QStringLiteral("status"),
                                                            Wire::string(RuleStatus::paused)}})});
        } else {
            return false; // a kind this server cannot carry out
        }
    } catch (const RpcError&) {
        return false;
    }
    state = std::move(trial);
    return true;
}

std::optional<QString> ruleSentence(const QString& action, const JsonValue& match) {
    const auto parsed = Wire::parse<RuleAction>(action);
    if (!parsed)
        return std::nullopt;
    try {
        return Rule::describe(*parsed, WireJson::fromJson<WireRuleMatch>(match));
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

// What the user turned down, in the terms of the task or rule it was about.
std::optional<WireRejection> rejectionOf(const WireDocument& document, const JsonValue& delta,
                                         const Methods::Context& context) {
    const auto kind = Wire::parse<RejectionKind>(stringOf(delta, "kind"));
    if (!kind)
        return std::nullopt;
    WireRejection rejection;
    rejection.id = context.newId();
    rejection.at = context.now;
    rejection.kind = *kind;
    const auto describeItem = [&](const WireItem& item) {
        rejection.title = item.title;
        rejection.source = item.source;
        rejection.sourceId = item.sourceId;
        rejection.section = item.section;
        rejection.channel = item.channel;
        rejection.priority = item.priority;
    };
    switch (*kind) {
    case RejectionKind::add:
        if (const auto item = RuleEngine::suggestedItem(delta))
            describeItem(*item);
        break;
    case RejectionKind::complete:
    case RejectionKind::remove:
    case RejectionKind::update:
        rejection.itemId = stringOf(delta, "item_id");
        for (const WireItem& item : document.items)
            if (item.id == *rejection.itemId)
                describeItem(item);
        break;
    case RejectionKind::addRule: {
        const JsonValue& rule = memberOf(delta, "rule");
        rejection.title = ruleSentence(stringOf(rule, "action"), memberOf(rule, "match"));
        break;
    }
    case RejectionKind::updateRule:
    case RejectionKind::removeRule:
    case RejectionKind::pauseRule:
        rejection.ruleId = stringOf(delta, "rule_id");
        if (const WireRule* rule = findRule(document, *rejection.ruleId))
            rejection.title = Rule::describe(rule->action, rule->match);
        break;
    }
    return rejection;
}

void reject(WireDocument& document, const JsonValue& delta, const Methods::Context& context) {
    const auto rejection = rejectionOf(document, delta, context);
    if (rejection)
        document.rejections.push_back(*rejection);
    const QString fp = Proposals::fingerprint(delta);
    const bool known = std::any_of(document.suppressions.cbegin(), document.suppressions.cend(),
                                   [&](const WireSuppression& s) { return s.fp == fp; });
    if (fp.isEmpty() || known)
        return;
    WireSuppression suppression;
    suppression.fp = fp;
    suppression.reason = SuppressionReason::rejected;
    suppression.title = rejection ? rejection->title : std::nullopt;
    suppression.createdAt = context.now;
    document.suppressions.push_back(suppression);
}

} // namespace

namespace Proposals {

QString fingerprint(const JsonValue& delta) {
    const JsonValue* kindValue = delta.find(u"kind");
    if (!kindValue || !kindValue->isString())
        return {};
    const QString kind = kindValue->toString();
    QString key;
    if (kind == u"add") {
        const JsonValue& item = memberOf(delta, "item");
        const QString sourceId = stringOf(item, "source_id").trimmed();
        key = sourceId.isEmpty() ? QStringLiteral("title\n") + folded(stringOf(item, "title")) +
                                       u'\n' + folded(stringOf(item, "source"))
                                 : QStringLiteral("source_id\n") + sourceId;
    } else if (kind == u"complete" || kind == u"remove") {
        key = stringOf(delta, "item_id");
    } else if (kind == u"update") {
        key = stringOf(delta, "item_id") + u'\n' +
              QString::fromUtf8(canonical(memberOf(delta, "patch")).toJson());
    } else if (kind == u"add_rule") {
        const JsonValue& rule = memberOf(delta, "rule");
        key = QString::fromUtf8(
            canonical(JsonValue::object({{QStringLiteral("action"), memberOf(rule, "action")},
                                         {QStringLiteral("match"), memberOf(rule, "match")},
                                         {QStringLiteral("params"), memberOf(rule, "params")}}))
                .toJson());
    } else if (kind == u"update_rule") {
        key = stringOf(delta, "rule_id") + u'\n' +
              QString::fromUtf8(canonical(memberOf(delta, "patch")).toJson());
    } else if (kind == u"remove_rule" || kind == u"pause_rule") {
        key = stringOf(delta, "rule_id");
    } else {
        JsonValue rest = delta;
        rest.remove(u"reason");
        key = QString::fromUtf8(canonical(rest).toJson());
    }
    const QByteArray hash = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256);
    return kind + u':' + QString::fromLatin1(hash.toHex().left(32));
}

void validate(const JsonValue& proposal) {
    if (!proposal.isObject())
        throw RpcError(400, QStringLiteral("a proposal must be a JSON object"));
    const JsonValue* deltas = proposal.find(u"deltas");
    if (!deltas || !deltas->isArray())
        throw RpcError(400, QStringLiteral("a proposal needs a \"deltas\" array"));
    for (std::size_t i = 0; i < deltas->toArray().size(); ++i)
        checkDelta(deltas->toArray()[i], QStringLiteral("deltas[%1]").arg(i));
}

JsonValue file(UserState& state, JsonValue proposal, const QString& now, QDate today,
               Filing* filing) {
    validate(proposal);
    if (const JsonValue* createdAt = proposal.find(u"created_at");
        !createdAt || !createdAt->isString())
        proposal.set(QStringLiteral("created_at"), now);

    QSet<QString> suppressed;
    for (const WireSuppression& suppression : state.document.suppressions)
        suppressed.insert(suppression.fp);
    JsonValue::Array fresh;
    QList<qsizetype> filedAt; // where each fresh delta stood as filed
    const JsonValue::Array& deltas = proposal.find(u"deltas")->toArray();
    for (std::size_t i = 0; i < deltas.size(); ++i) {
        if (suppressed.contains(fingerprint(deltas[i]))) {
            if (filing)
                filing->suppressed.append(qsizetype(i));
            continue;
        }
        fresh.push_back(deltas[i]);
        filedAt.append(qsizetype(i));
    }
    proposal.set(QStringLiteral("deltas"), std::move(fresh));

    auto outcome =
        RuleEngine::applyToProposal(std::move(proposal), state.document.rules, today, now);
    if (filing)
        for (const auto& [position, verdict] : outcome.verdicts)
            filing->ruled.append({filedAt[position], verdict});
    state.document.rules = std::move(outcome.rules);
    if (outcome.proposal.find(u"deltas")->toArray().empty())
        state.proposal.reset();
    else
        state.proposal = std::move(outcome.proposal);
    return state.proposal ? *state.proposal : JsonValue();
}

QByteArray resolve(UserState& state, const Args& args, const Methods::Context& context) {
    const QString method = QStringLiteral("resolveProposal");
    if (args.empty() || !args[0].isObject())
        refuse(method, QStringLiteral("argument 1 must be an object"));
    const JsonValue& body = args[0];
    const JsonValue* createdAt = body.find(u"created_at");
    if (!createdAt || !createdAt->isString())
        refuse(method, QStringLiteral("created_at must be a string"));
    if (!state.proposal)
        throw RpcError(409, QStringLiteral("These suggestions are no longer pending."));
    const JsonValue* pendingAt = state.proposal->find(u"created_at");
    if (!pendingAt || pendingAt->toString() != createdAt->toString())
        throw RpcError(409, QStringLiteral("These suggestions were replaced by newer ones."));

    const JsonValue* deltasValue = state.proposal->find(u"deltas");
    const JsonValue::Array deltas =
        deltasValue && deltasValue->isArray() ? deltasValue->toArray() : JsonValue::Array{};
    const auto count = std::int64_t(deltas.size());
    QSet<std::int64_t> accepted, rejected;
    for (const char* key : {"accepted", "rejected"}) {
        const JsonValue* list = body.find(QLatin1String(key));
        if (!list || list->isNull())
            continue;
        if (!list->isArray())
            refuse(method,
                   QStringLiteral("%1 must be an array of indices").arg(QLatin1String(key)));
        for (const JsonValue& index : list->toArray()) {
            if (!index.isInteger() || index.toInteger() < 0 || index.toInteger() >= count)
                refuse(method, QStringLiteral("%1 holds an index that is not a delta")
                                   .arg(QLatin1String(key)));
            const std::int64_t i = index.toInteger();
            if (accepted.contains(i) || rejected.contains(i))
                refuse(method, QStringLiteral("delta %1 is answered twice").arg(i));
            (key[0] == 'a' ? accepted : rejected).insert(i);
        }
    }
    QMap<std::int64_t, QString> titleEdits;
    if (const JsonValue* edits = body.find(u"title_edits"); edits && !edits->isNull()) {
        if (!edits->isObject())
            refuse(method, QStringLiteral("title_edits must be an object"));
        for (const auto& member : edits->toObject()) {
            if (!member.value.isString())
                refuse(method, QStringLiteral("title_edits values must be strings"));
            bool number = false;
            const std::int64_t index = member.key.toLongLong(&number);
            if (number)
                titleEdits.insert(index, member.value.toString());
        }
    }

    // Index order, whatever order the lists came in; undecided deltas go with the proposal.
    JsonValue::Array applied, skipped;
    for (std::int64_t i = 0; i < count; ++i) {
        const JsonValue& delta = deltas[std::size_t(i)];
        if (accepted.contains(i)) {
            const auto edit =
                titleEdits.contains(i) ? std::optional(titleEdits.value(i)) : std::nullopt;
            (applyDelta(state, delta, edit, context) ? applied : skipped).push_back(i);
        } else if (rejected.contains(i)) {
            reject(state.document, delta, context);
        }
    }
    state.proposal.reset();
    return JsonValue::object({{QStringLiteral("applied"), std::move(applied)},
                              {QStringLiteral("skipped"), std::move(skipped)}})
        .toJson();
}

} // namespace Proposals
