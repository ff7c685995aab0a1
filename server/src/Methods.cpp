#include "Methods.h"

#include "Characters.h"
#include "Proposals.h"
#include "WireJson.h"

#include <QDate>
#include <QSet>
#include <QUrl>

#include <array>

namespace {

using Args = JsonValue::Array;
using Methods::Context;

[[noreturn]] void bad(const QString& method, const QString& what) {
    throw RpcError(400, method + QStringLiteral(": ") + what);
}

const JsonValue& arg(const Args& args, std::size_t index, const QString& method) {
    if (args.size() <= index)
        bad(method, QStringLiteral("expects %1 argument(s)").arg(index + 1));
    return args[index];
}

QString stringArg(const Args& args, std::size_t index, const QString& method) {
    const JsonValue& value = arg(args, index, method);
    if (!value.isString())
        bad(method, QStringLiteral("argument %1 must be a string").arg(index + 1));
    return value.toString();
}

const JsonValue& objectArg(const Args& args, std::size_t index, const QString& method) {
    const JsonValue& value = arg(args, index, method);
    if (!value.isObject())
        bad(method, QStringLiteral("argument %1 must be an object").arg(index + 1));
    return value;
}

template <typename T>
T decodeOrBad(const JsonValue& value, const QString& method) {
    try {
        return WireJson::fromJson<T>(value);
    } catch (const DecodingError& error) {
        bad(method, error.message());
    }
}

// Copies the listed keys of `from` that are present (null included) onto `to`.
template <std::size_t N>
void overlay(JsonValue& to, const JsonValue& from, const std::array<const char*, N>& keys,
             bool skipNull = false) {
    for (const char* key : keys) {
        const JsonValue* value = from.find(QString::fromLatin1(key));
        if (value && !(skipNull && value->isNull()))
            to.set(QString::fromLatin1(key), *value);
    }
}

void setDefault(JsonValue& object, const QString& key, JsonValue value) {
    const JsonValue* present = object.find(key);
    if (!present || present->isNull())
        object.set(key, std::move(value));
}

// No more characters than code units, so most texts need no count.
bool isLonger(const QString& text, int cap) {
    return text.size() > cap && Characters::count(text) > cap;
}

void capText(const QString& text, int cap, const QString& method, const QString& what) {
    if (isLonger(text, cap))
        bad(method, QStringLiteral("%1 is over %2 characters").arg(what).arg(cap));
}

bool isDay(const QString& text) {
    return text.size() == 10 && QDate::fromString(text, QStringLiteral("yyyy-MM-dd")).isValid();
}

bool isWebURL(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == u"http" || scheme == u"https") && !url.host().isEmpty();
}

qsizetype indexOfItem(const WireDocument& document, const QString& id) {
    for (qsizetype i = 0; i < document.items.size(); ++i)
        if (document.items[i].id == id)
            return i;
    return -1;
}

qsizetype indexOfRule(const WireDocument& document, const QString& id) {
    for (qsizetype i = 0; i < document.rules.size(); ++i)
        if (document.rules[i].id == id)
            return i;
    return -1;
}

WireItem& itemOrNotFound(WireDocument& document, const QString& id, const Context& context) {
    const qsizetype index =
        context.changeItem ? context.changeItem(document, id) : indexOfItem(document, id);
    if (index < 0)
        throw RpcError(404, QStringLiteral("No item with id \"%1\".").arg(id));
    return document.items[index];
}

qsizetype ruleOrNotFound(const WireDocument& document, const QString& id) {
    const qsizetype index = indexOfRule(document, id);
    if (index < 0)
        throw RpcError(404, QStringLiteral("No rule with id \"%1\".").arg(id));
    return index;
}

QByteArray encodeStrings(const QStringList& list) {
    JsonValue::Array array;
    for (const auto& s : list)
        array.emplace_back(s);
    return JsonValue(std::move(array)).toJson();
}

// --- items ---------------------------------------------------------------------------

QByteArray addItem(UserState& state, const Args& args, const Context& context) {
    const QString method = QStringLiteral("addItem");
    const JsonValue& input = objectArg(args, 0, method);
    JsonValue json{JsonValue::Object{}};
    overlay(json, input,
            std::to_array({"title", "note", "section", "channel", "source", "source_id", "due",
                           "priority", "flagged", "links", "initiated"}));
    setDefault(json, QStringLiteral("channel"), Wire::string(Channel::self));
    setDefault(json, QStringLiteral("priority"), Wire::string(Priority::medium));
    setDefault(json, QStringLiteral("links"), JsonValue::Array{});
    json.set(QStringLiteral("id"), context.newId());
    json.set(QStringLiteral("status"), Wire::string(ItemStatus::open));
    json.set(QStringLiteral("origin"), Wire::string(Origin::user));
    json.set(QStringLiteral("created_at"), context.now);
    const WireItem item = decodeOrBad<WireItem>(json, method);
    Methods::validateItem(item, method);
    if (state.document.items.size() >= Caps::items)
        bad(method,
            QStringLiteral("the list holds %1 tasks, the most one account keeps").arg(Caps::items));
    if (state.openCap && Methods::openCount(state.document) >= *state.openCap)
        throw RpcError(
            402,
            QStringLiteral("You have reached %1 open tasks on your plan.").arg(*state.openCap));
    state.document.items.push_back(item);
    return WireJson::encode(item);
}

QByteArray updateItem(UserState& state, const Args& args, const Context& context) {
    const QString method = QStringLiteral("updateItem");
    const QString id = stringArg(args, 0, method);
    const JsonValue& patch = objectArg(args, 1, method);
    WireItem& item = itemOrNotFound(state.document, id, context);
    JsonValue json = WireJson::toJson(item);
    overlay(json, patch,
            std::to_array({"title", "note", "section", "channel", "source", "due", "priority",
                           "flagged", "links"}));
    // Clearing the links means none.
    if (const JsonValue* links = patch.find(u"links"); links && links->isNull())
        json.set(QStringLiteral("links"), JsonValue::Array{});
    const WireItem updated = decodeOrBad<WireItem>(json, method);
    Methods::validateItem(updated, method);
    item = updated;
    return WireJson::encode(item);
}

QByteArray setItemStatus(UserState& state, const Args& args, const Context& context) {
    const QString method = QStringLiteral("setItemStatus");
    const QString id = stringArg(args, 0, method);
    const JsonValue& done = arg(args, 1, method);
    if (!done.isBool())
        bad(method, QStringLiteral("argument 2 must be a boolean"));
    WireItem& item = itemOrNotFound(state.document, id, context);
    if (done.toBool()) {
        if (item.status != ItemStatus::done || !item.completedAt)
            item.completedAt = context.now;
        item.status = ItemStatus::done;
    } else {
        item.status = ItemStatus::open;
        item.completedAt.reset();
    }
    return WireJson::encode(item);
}

QByteArray setDeleted(UserState& state, const Args& args, const Context& context, bool deleted) {
    const QString method = deleted ? QStringLiteral("softDelete") : QStringLiteral("restore");
    const QString kind = stringArg(args, 0, method);
    const QString id = stringArg(args, 1, method);
    if (kind != u"item")
        bad(method, QStringLiteral("unknown record kind \"%1\"").arg(kind));
    WireItem& item = itemOrNotFound(state.document, id, context);
    if (!deleted)
        item.deletedAt.reset();
    else if (!item.deletedAt)
        item.deletedAt = context.now;
    return WireJson::encode(item);
}

// --- settings and focus --------------------------------------------------------------

QByteArray updateSettings(UserState& state, const Args& args, const Context&) {
    const QString method = QStringLiteral("updateSettings");
    const JsonValue& patch = objectArg(args, 0, method);
    JsonValue json = WireJson::toJson(state.document.settings);
    overlay(json, patch, std::to_array({"hide_done"}));
    state.document.settings = decodeOrBad<WireSettings>(json, method);
    return WireJson::encode(state.document.settings);
}

QByteArray setFocus(UserState& state, const Args& args, const Context&) {
    const QString method = QStringLiteral("setFocus");
    const JsonValue& list = arg(args, 0, method);
    if (!list.isArray())
        bad(method, QStringLiteral("argument 1 must be an array of strings"));
    QStringList terms;
    for (const JsonValue& term : list.toArray()) {
        if (!term.isString())
            bad(method, QStringLiteral("argument 1 must be an array of strings"));
        terms.push_back(term.toString());
    }
    state.document.focus = Methods::normaliseFocus(terms);
    return encodeStrings(state.document.focus);
}

// --- rules ---------------------------------------------------------------------------

QByteArray addRule(UserState& state, const Args& args, const Context& context) {
    const QString method = QStringLiteral("addRule");
    const JsonValue& input = objectArg(args, 0, method);
    JsonValue json{JsonValue::Object{}};
    overlay(json, input,
            std::to_array({"action", "match", "params", "reason", "origin", "status"}));
    setDefault(json, QStringLiteral("params"), JsonValue::Object{});
    setDefault(json, QStringLiteral("status"), Wire::string(RuleStatus::active));
    setDefault(json, QStringLiteral("origin"),
               JsonValue::object({{QStringLiteral("from"), Wire::string(RuleOriginKind::manual)},
                                  {QStringLiteral("rejection_ids"), JsonValue::Array{}},
                                  {QStringLiteral("count"), 0}}));
    json.set(QStringLiteral("id"), context.newId());
    json.set(QStringLiteral("created_by"), Wire::string(Origin::user));
    json.set(QStringLiteral("created_at"), context.now);
    json.set(QStringLiteral("updated_at"), context.now);
    json.set(QStringLiteral("apply_count"), 0);
    const WireRule rule = decodeOrBad<WireRule>(json, method);
    Methods::validateRule(rule, method);
    if (state.document.rules.size() >= Caps::rules)
        bad(method,
            QStringLiteral("the account holds %1 rules, the most it keeps").arg(Caps::rules));
    state.document.rules.push_back(rule);
    return WireJson::encode(rule);
}

QByteArray updateRule(UserState& state, const Args& args, const Context& context) {
    const QString method = QStringLiteral("updateRule");
    const QString id = stringArg(args, 0, method);
    const JsonValue& patch = objectArg(args, 1, method);
    const qsizetype index = ruleOrNotFound(state.document, id);
    JsonValue json = WireJson::toJson(state.document.rules[index]);
    // A null in a rule patch reads as an absent key.
    overlay(json, patch, std::to_array({"reason", "status", "action", "match", "params"}), true);
    json.set(QStringLiteral("updated_at"), context.now);
    const WireRule rule = decodeOrBad<WireRule>(json, method);
    Methods::validateRule(rule, method);
    state.document.rules[index] = rule;
    return WireJson::encode(rule);
}

QByteArray deleteRule(UserState& state, const Args& args, const Context&) {
    const QString id = stringArg(args, 0, QStringLiteral("deleteRule"));
    state.document.rules.removeAt(ruleOrNotFound(state.document, id));
    return QByteArrayLiteral("null");
}

} // namespace

namespace Methods {

std::optional<Kind> kind(const QString& method) {
    static const QSet<QString> reads{QStringLiteral("load"), QStringLiteral("loadProposal")};
    static const QSet<QString> writes{
        QStringLiteral("setItemStatus"),  QStringLiteral("updateItem"),
        QStringLiteral("addItem"),        QStringLiteral("softDelete"),
        QStringLiteral("restore"),        QStringLiteral("updateSettings"),
        QStringLiteral("setFocus"),       QStringLiteral("addRule"),
        QStringLiteral("updateRule"),     QStringLiteral("deleteRule"),
        QStringLiteral("resolveProposal")};
    if (reads.contains(method))
        return Kind::read;
    if (writes.contains(method))
        return Kind::write;
    return std::nullopt;
}

QByteArray apply(UserState& state, const QString& method, const JsonValue::Array& args,
                 const Context& context) {
    if (method == u"load")
        return WireJson::encode(state.document);
    if (method == u"loadProposal")
        return state.proposal ? state.proposal->toJson() : QByteArrayLiteral("null");
    if (method == u"addItem")
        return addItem(state, args, context);
    if (method == u"updateItem")
        return updateItem(state, args, context);
    if (method == u"setItemStatus")
        return setItemStatus(state, args, context);
    if (method == u"softDelete")
        return setDeleted(state, args, context, true);
    if (method == u"restore")
        return setDeleted(state, args, context, false);
    if (method == u"updateSettings")
        return updateSettings(state, args, context);
    if (method == u"setFocus")
        return setFocus(state, args, context);
    if (method == u"addRule")
        return addRule(state, args, context);
    if (method == u"updateRule")
        return updateRule(state, args, context);
    if (method == u"deleteRule")
        return deleteRule(state, args, context);
    if (method == u"resolveProposal")
        return Proposals::resolve(state, args, context);
    throw RpcError(400, QStringLiteral("Unknown method \"%1\".").arg(method));
}

QStringList normaliseFocus(const QStringList& terms) {
    constexpr int maxTerms = 10;
    constexpr int maxLength = 60;
    QStringList out;
    QSet<QString> seen;
    for (QString term : terms) {
        for (QChar& c : term)
            if (c.category() == QChar::Other_Control)
                c = QLatin1Char(' ');
        // Any run of blanks (a no-break space too) becomes one; the cut counts characters
        // as the reader sees them, so it never splits an emoji.
        term = Characters::left(term.simplified(), maxLength).trimmed();
        if (term.isEmpty() || seen.contains(term.toLower()))
            continue;
        seen.insert(term.toLower());
        out.push_back(term);
        if (out.size() == maxTerms)
            break;
    }
    return out;
}

void validateItem(const WireItem& item, const QString& method) {
    if (item.title.trimmed().isEmpty())
        bad(method, QStringLiteral("title must not be empty"));
    capText(item.title, Caps::text, method, QStringLiteral("title"));
    capText(item.note.value_or(QString()), Caps::text, method, QStringLiteral("note"));
    capText(item.source.value_or(QString()), Caps::text, method, QStringLiteral("source"));
    capText(item.sourceId.value_or(QString()), Caps::text, method, QStringLiteral("source_id"));
    if (item.due && !isDay(*item.due))
        bad(method, QStringLiteral("due must be a day written yyyy-MM-dd"));
    if (item.links.size() > Caps::links)
        bad(method, QStringLiteral("links holds more than %1 links").arg(Caps::links));
    for (qsizetype i = 0; i < item.links.size(); ++i) {
        const QString at = QStringLiteral("links[%1]").arg(i);
        capText(item.links[i].label, Caps::linkLabel, method, at + QStringLiteral(".label"));
        capText(item.links[i].url, Caps::url, method, at + QStringLiteral(".url"));
        if (!isWebURL(item.links[i].url))
            bad(method, at + QStringLiteral(".url must be an http or https URL"));
    }
}

void validateRule(const WireRule& rule, const QString& method) {
    if (rule.reason.trimmed().isEmpty())
        bad(method, QStringLiteral("reason must not be empty"));
    capText(rule.reason, Caps::text, method, QStringLiteral("reason"));
    const auto& conditions = rule.match.conditions;
    if (conditions.size() > Caps::conditions)
        bad(method, QStringLiteral("match holds more than %1 conditions").arg(Caps::conditions));
    for (qsizetype i = 0; i < conditions.size(); ++i) {
        const QString at = QStringLiteral("match.conditions[%1].value").arg(i);
        if (conditions[i].value.size() > Caps::values)
            bad(method, QStringLiteral("%1 holds more than %2 values").arg(at).arg(Caps::values));
        for (const QString& value : conditions[i].value)
            capText(value, Caps::text, method, at);
    }
}

qint64 openCount(const WireDocument& document) {
    qint64 count = 0;
    for (const WireItem& item : document.items)
        if (item.status == ItemStatus::open && !item.deletedAt)
            ++count;
    return count;
}

} // namespace Methods
