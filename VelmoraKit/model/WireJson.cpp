#include "WireJson.h"

#include "JsonDetail_p.h"
#include "Proposal.h"

#include <type_traits>

using JsonDetail::RValue;
using JsonDetail::RWriter;

namespace {

// Where a value sits in the document; turned into text only when something fails.
struct Path {
    const Path* parent = nullptr;
    const char* key = nullptr; // null for an array element
    int index = -1;

    QString text() const {
        QString out = parent ? parent->text() : QString();
        if (key) {
            if (!out.isEmpty())
                out += QLatin1Char('.');
            out += QLatin1String(key);
        } else if (index >= 0) {
            out += QStringLiteral("[%1]").arg(index);
        }
        return out;
    }
};

[[noreturn]] void fail(const Path& path, const QString& what) {
    const QString where = path.text();
    throw DecodingError(where.isEmpty() ? what : where + QStringLiteral(": ") + what);
}

template <typename E>
concept WireEnum = requires {
    EnumWire<E>::names;
};

// --- readers -------------------------------------------------------------------------

void read(const RValue& v, const Path& p, QString& out) {
    if (!v.IsString())
        fail(p, QStringLiteral("expected a string"));
    out = JsonDetail::string(v);
}

void read(const RValue& v, const Path& p, bool& out) {
    if (!v.IsBool())
        fail(p, QStringLiteral("expected a boolean"));
    out = v.GetBool();
}

// Only a whole number written as one: 3.0 and 3e0 are refused, so that what one side
// accepts the other side reads the same way.
void read(const RValue& v, const Path& p, qint64& out) {
    if (!v.IsInt64())
        fail(p, QStringLiteral("expected an integer"));
    out = v.GetInt64();
}

template <WireEnum E>
void read(const RValue& v, const Path& p, E& out) {
    if (!v.IsString())
        fail(p, QStringLiteral("expected a string"));
    const auto parsed = Wire::parse<E>(std::string_view(v.GetString(), v.GetStringLength()));
    if (!parsed)
        fail(p, QStringLiteral("unknown value \"%1\"").arg(JsonDetail::string(v)));
    out = *parsed;
}

void read(const RValue& v, const Path&, JsonValue& out) {
    out = JsonDetail::toValue(v); // the parse bounded its depth
}

template <typename T>
void read(const RValue& v, const Path& p, QList<T>& out);
void read(const RValue& v, const Path& p, QStringList& out);
void read(const RValue& v, const Path& p, WireLink& out);
void read(const RValue& v, const Path& p, WireSharedMark& out);
void read(const RValue& v, const Path& p, WireItem& out);
void read(const RValue& v, const Path& p, WireSettings& out);
void read(const RValue& v, const Path& p, WireRejection& out);
void read(const RValue& v, const Path& p, WireSuppression& out);
void read(const RValue& v, const Path& p, WireRuleCondition& out);
void read(const RValue& v, const Path& p, WireRuleMatch& out);
void read(const RValue& v, const Path& p, WireRuleParams& out);
void read(const RValue& v, const Path& p, WireRuleOrigin& out);
void read(const RValue& v, const Path& p, WireRule& out);
void read(const RValue& v, const Path& p, WireDocument& out);
void read(const RValue& v, const Path& p, VersionReply& out);
void read(const RValue& v, const Path& p, WireNewItem& out);
void read(const RValue& v, const Path& p, WireItemPatch& out);
void read(const RValue& v, const Path& p, WireNewRule& out);
void read(const RValue& v, const Path& p, WireRulePatch& out);
void read(const RValue& v, const Path& p, WireDelta& out);
void read(const RValue& v, const Path& p, WireProposal& out);

template <typename List>
void readArray(const RValue& v, const Path& p, List& out) {
    if (!v.IsArray())
        fail(p, QStringLiteral("expected an array"));
    out.clear();
    out.reserve(static_cast<qsizetype>(v.Size()));
    int i = 0;
    for (const auto& element : v.GetArray()) {
        const Path child{&p, nullptr, i++};
        typename List::value_type value{};
        read(element, child, value);
        out.push_back(std::move(value));
    }
}

template <typename T>
void read(const RValue& v, const Path& p, QList<T>& out) {
    readArray(v, p, out);
}

void read(const RValue& v, const Path& p, QStringList& out) {
    readArray(v, p, out);
}

// An object being read: required keys must be there and not null; nullable ones may be
// absent or null; anything else in the object is ignored.
class Obj {
public:
    Obj(const RValue& v, const Path& p)
        : m_v(v)
        , m_p(p) {
        if (!v.IsObject())
            fail(p, QStringLiteral("expected an object"));
    }

    template <typename T>
    void required(const char* key, T& out) const {
        const Path child{&m_p, key};
        const auto it = m_v.FindMember(key);
        if (it == m_v.MemberEnd())
            fail(child, QStringLiteral("required key is missing"));
        if (it->value.IsNull())
            fail(child, QStringLiteral("required key is null"));
        read(it->value, child, out);
    }

    template <typename T>
    void nullable(const char* key, std::optional<T>& out) const {
        const auto it = m_v.FindMember(key);
        if (it == m_v.MemberEnd() || it->value.IsNull()) {
            out.reset();
            return;
        }
        const Path child{&m_p, key};
        T value{};
        read(it->value, child, value);
        out = std::move(value);
    }

private:
    const RValue& m_v;
    const Path& m_p;
};

void read(const RValue& v, const Path& p, WireLink& out) {
    const Obj o(v, p);
    o.required("label", out.label);
    o.required("url", out.url);
}

void read(const RValue& v, const Path& p, WireSharedMark& out) {
    const Obj o(v, p);
    o.required("with", out.with);
    o.required("state", out.state);
}

void read(const RValue& v, const Path& p, WireItem& out) {
    const Obj o(v, p);
    o.required("id", out.id);
    o.required("title", out.title);
    o.nullable("note", out.note);
    o.required("section", out.section);
    o.required("channel", out.channel);
    o.nullable("source", out.source);
    o.nullable("source_id", out.sourceId);
    o.nullable("due", out.due);
    o.required("priority", out.priority);
    o.nullable("flagged", out.flagged);
    o.required("links", out.links);
    o.required("status", out.status);
    o.required("origin", out.origin);
    o.nullable("initiated", out.initiated);
    o.nullable("shared", out.shared);
    o.required("created_at", out.createdAt);
    o.nullable("completed_at", out.completedAt);
    o.nullable("deleted_at", out.deletedAt);
}

void read(const RValue& v, const Path& p, WireSettings& out) {
    const Obj o(v, p);
    o.required("hide_done", out.hideDone);
}

void read(const RValue& v, const Path& p, WireRejection& out) {
    const Obj o(v, p);
    o.nullable("id", out.id);
    o.required("at", out.at);
    o.required("kind", out.kind);
    o.nullable("title", out.title);
    o.nullable("item_id", out.itemId);
    o.nullable("source", out.source);
    o.nullable("source_id", out.sourceId);
    o.nullable("section", out.section);
    o.nullable("channel", out.channel);
    o.nullable("priority", out.priority);
    o.nullable("rule_id", out.ruleId);
}

void read(const RValue& v, const Path& p, WireSuppression& out) {
    const Obj o(v, p);
    o.required("fp", out.fp);
    o.required("reason", out.reason);
    o.nullable("title", out.title);
    o.required("created_at", out.createdAt);
}

void read(const RValue& v, const Path& p, WireRuleCondition& out) {
    const Obj o(v, p);
    o.required("field", out.field);
    o.required("op", out.op);
    o.required("value", out.value);
}

void read(const RValue& v, const Path& p, WireRuleMatch& out) {
    const Obj o(v, p);
    o.required("op", out.op);
    o.required("conditions", out.conditions);
}

void read(const RValue& v, const Path& p, WireRuleParams& out) {
    const Obj o(v, p);
    o.nullable("section", out.section);
    o.nullable("channel", out.channel);
    o.nullable("priority", out.priority);
}

void read(const RValue& v, const Path& p, WireRuleOrigin& out) {
    const Obj o(v, p);
    o.required("from", out.from);
    o.required("rejection_ids", out.rejectionIds);
    o.required("count", out.count);
}

void read(const RValue& v, const Path& p, WireRule& out) {
    const Obj o(v, p);
    o.required("id", out.id);
    o.required("status", out.status);
    o.required("action", out.action);
    o.required("match", out.match);
    o.required("params", out.params);
    o.required("reason", out.reason);
    o.required("origin", out.origin);
    o.required("created_by", out.createdBy);
    o.required("created_at", out.createdAt);
    o.required("updated_at", out.updatedAt);
    o.nullable("last_applied_at", out.lastAppliedAt);
    o.required("apply_count", out.applyCount);
}

void read(const RValue& v, const Path& p, WireDocument& out) {
    const Obj o(v, p);
    o.required("schema_version", out.schemaVersion);
    o.required("items", out.items);
    o.required("rejections", out.rejections);
    o.required("rules", out.rules);
    o.required("suppressions", out.suppressions);
    o.required("focus", out.focus);
    o.required("settings", out.settings);
}

void read(const RValue& v, const Path& p, VersionReply& out) {
    const Obj o(v, p);
    o.required("version", out.version);
}

void read(const RValue& v, const Path& p, WireNewItem& out) {
    const Obj o(v, p);
    o.required("title", out.title);
    o.nullable("note", out.note);
    o.required("section", out.section);
    o.required("channel", out.channel);
    o.nullable("source", out.source);
    o.nullable("source_id", out.sourceId);
    o.nullable("due", out.due);
    o.required("priority", out.priority);
    o.nullable("flagged", out.flagged);
    o.required("links", out.links);
    o.nullable("initiated", out.initiated);
    o.nullable("status", out.status);
}

void read(const RValue& v, const Path& p, WireItemPatch& out) {
    const Obj o(v, p);
    o.nullable("title", out.title);
    o.nullable("section", out.section);
    o.nullable("channel", out.channel);
    o.nullable("priority", out.priority);
    o.nullable("flagged", out.flagged);
    o.nullable("links", out.links);
    o.nullable("note", out.note);
    o.nullable("source", out.source);
    o.nullable("due", out.due);
}

void read(const RValue& v, const Path& p, WireNewRule& out) {
    const Obj o(v, p);
    o.required("action", out.action);
    o.required("match", out.match);
    o.required("params", out.params);
    o.required("reason", out.reason);
    o.required("origin", out.origin);
    o.nullable("status", out.status);
}

void read(const RValue& v, const Path& p, WireRulePatch& out) {
    const Obj o(v, p);
    o.nullable("reason", out.reason);
    o.nullable("status", out.status);
    o.nullable("action", out.action);
    o.nullable("match", out.match);
    o.nullable("params", out.params);
}

// The kind is read first; a kind from a newer server ends the read there, as `unknown`.
void read(const RValue& v, const Path& p, WireDelta& out) {
    const Obj o(v, p);
    QString kind;
    o.required("kind", kind);
    const auto named = Wire::parse<DeltaKind>(kind);
    if (!named) {
        out.kind = DeltaKind::unknown;
        out.unknownKind = kind;
        return;
    }
    out.kind = *named;
    switch (out.kind) {
    case DeltaKind::add:
        o.required("item", out.item.emplace());
        break;
    case DeltaKind::complete:
    case DeltaKind::remove:
        o.required("item_id", out.itemId);
        break;
    case DeltaKind::update:
        o.required("item_id", out.itemId);
        o.required("patch", out.patch.emplace());
        break;
    case DeltaKind::addRule:
        o.required("rule", out.rule.emplace());
        break;
    case DeltaKind::updateRule:
        o.required("rule_id", out.ruleId);
        o.required("patch", out.rulePatch.emplace());
        break;
    case DeltaKind::removeRule:
    case DeltaKind::pauseRule:
        o.required("rule_id", out.ruleId);
        break;
    case DeltaKind::unknown:
        break;
    }
    o.nullable("reason", out.reason);
}

void read(const RValue& v, const Path& p, WireProposal& out) {
    const Obj o(v, p);
    o.required("schema_version", out.schemaVersion);
    o.required("created_at", out.createdAt);
    o.nullable("agent", out.agent);
    o.nullable("summary", out.summary);
    o.required("deltas", out.deltas);
}

void parseOrFail(rapidjson::Document& document, QByteArrayView json) {
    QString error;
    if (!JsonDetail::parse(document, json, &error))
        throw DecodingError(error);
}

// --- writers -------------------------------------------------------------------------

void write(RWriter& w, const QString& value) {
    JsonDetail::writeString(w, value);
}
void write(RWriter& w, bool value) {
    w.Bool(value);
}
void write(RWriter& w, qint64 value) {
    w.Int64(value);
}
template <WireEnum E>
void write(RWriter& w, E value) {
    const auto text = Wire::text(value);
    w.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}
void write(RWriter& w, const WireLink& value);
void write(RWriter& w, const WireSharedMark& value);
void write(RWriter& w, const WireItem& value);
void write(RWriter& w, const WireSettings& value);
void write(RWriter& w, const WireRejection& value);
void write(RWriter& w, const WireSuppression& value);
void write(RWriter& w, const WireRuleCondition& value);
void write(RWriter& w, const WireRuleMatch& value);
void write(RWriter& w, const WireRuleParams& value);
void write(RWriter& w, const WireRuleOrigin& value);
void write(RWriter& w, const WireRule& value);
void write(RWriter& w, const WireNewItem& value);
void write(RWriter& w, const WireItemPatch& value);
void write(RWriter& w, const WireNewRule& value);
void write(RWriter& w, const WireRulePatch& value);

template <typename List>
void writeArray(RWriter& w, const List& list) {
    w.StartArray();
    for (const auto& element : list)
        write(w, element);
    w.EndArray();
}
template <typename T>
void write(RWriter& w, const QList<T>& list) {
    writeArray(w, list);
}
void write(RWriter& w, const QStringList& list) {
    writeArray(w, list);
}

template <typename T>
void field(RWriter& w, const char* key, const T& value) {
    w.Key(key);
    write(w, value);
}
template <typename T>
void field(RWriter& w, const char* key, const std::optional<T>& value) {
    if (!value)
        return;
    w.Key(key);
    write(w, *value);
}

void write(RWriter& w, const WireLink& value) {
    w.StartObject();
    field(w, "label", value.label);
    field(w, "url", value.url);
    w.EndObject();
}

void write(RWriter& w, const WireSharedMark& value) {
    w.StartObject();
    field(w, "with", value.with);
    field(w, "state", value.state);
    w.EndObject();
}

void write(RWriter& w, const WireItem& value) {
    w.StartObject();
    field(w, "id", value.id);
    field(w, "title", value.title);
    field(w, "note", value.note);
    field(w, "section", value.section);
    field(w, "channel", value.channel);
    field(w, "source", value.source);
    field(w, "source_id", value.sourceId);
    field(w, "due", value.due);
    field(w, "priority", value.priority);
    field(w, "flagged", value.flagged);
    field(w, "links", value.links);
    field(w, "status", value.status);
    field(w, "origin", value.origin);
    field(w, "initiated", value.initiated);
    field(w, "shared", value.shared);
    field(w, "created_at", value.createdAt);
    field(w, "completed_at", value.completedAt);
    field(w, "deleted_at", value.deletedAt);
    w.EndObject();
}

void write(RWriter& w, const WireSettings& value) {
    w.StartObject();
    field(w, "hide_done", value.hideDone);
    w.EndObject();
}

void write(RWriter& w, const WireRejection& value) {
    w.StartObject();
    field(w, "id", value.id);
    field(w, "at", value.at);
    field(w, "kind", value.kind);
    field(w, "title", value.title);
    field(w, "item_id", value.itemId);
    field(w, "source", value.source);
    field(w, "source_id", value.sourceId);
    field(w, "section", value.section);
    field(w, "channel", value.channel);
    field(w, "priority", value.priority);
    field(w, "rule_id", value.ruleId);
    w.EndObject();
}

void write(RWriter& w, const WireSuppression& value) {
    w.StartObject();
    field(w, "fp", value.fp);
    field(w, "reason", value.reason);
    field(w, "title", value.title);
    field(w, "created_at", value.createdAt);
    w.EndObject();
}

void write(RWriter& w, const WireRuleCondition& value) {
    w.StartObject();
    field(w, "field", value.field);
    field(w, "op", value.op);
    field(w, "value", value.value);
    w.EndObject();
}

void write(RWriter& w, const WireRuleMatch& value) {
    w.StartObject();
    field(w, "op", value.op);
    field(w, "conditions", value.conditions);
    w.EndObject();
}

void write(RWriter& w, const WireRuleParams& value) {
    w.StartObject();
    field(w, "section", value.section);
    field(w, "channel", value.channel);
    field(w, "priority", value.priority);
    w.EndObject();
}

void write(RWriter& w, const WireRuleOrigin& value) {
    w.StartObject();
    field(w, "from", value.from);
    field(w, "rejection_ids", value.rejectionIds);
    field(w, "count", value.count);
    w.EndObject();
}

void write(RWriter& w, const WireRule& value) {
    w.StartObject();
    field(w, "id", value.id);
    field(w, "status", value.status);
    field(w, "action", value.action);
    field(w, "match", value.match);
    field(w, "params", value.params);
    field(w, "reason", value.reason);
    field(w, "origin", value.origin);
    field(w, "created_by", value.createdBy);
    field(w, "created_at", value.createdAt);
    field(w, "updated_at", value.updatedAt);
    field(w, "last_applied_at", value.lastAppliedAt);
    field(w, "apply_count", value.applyCount);
    w.EndObject();
}

void write(RWriter& w, const WireDocument& value) {
    w.StartObject();
    field(w, "schema_version", value.schemaVersion);
    field(w, "items", value.items);
    field(w, "rejections", value.rejections);
    field(w, "rules", value.rules);
    field(w, "suppressions", value.suppressions);
    field(w, "focus", value.focus);
    field(w, "settings", value.settings);
    w.EndObject();
}

void write(RWriter& w, const VersionReply& value) {
    w.StartObject();
    field(w, "version", value.version);
    w.EndObject();
}

void write(RWriter& w, const WireNewItem& value) {
    w.StartObject();
    field(w, "title", value.title);
    field(w, "note", value.note);
    field(w, "section", value.section);
    field(w, "channel", value.channel);
    field(w, "source", value.source);
    field(w, "source_id", value.sourceId);
    field(w, "due", value.due);
    field(w, "priority", value.priority);
    field(w, "flagged", value.flagged);
    field(w, "links", value.links);
    field(w, "initiated", value.initiated);
    field(w, "status", value.status);
    w.EndObject();
}

void write(RWriter& w, const WireItemPatch& value) {
    w.StartObject();
    field(w, "title", value.title);
    field(w, "section", value.section);
    field(w, "channel", value.channel);
    field(w, "priority", value.priority);
    field(w, "flagged", value.flagged);
    field(w, "links", value.links);
    field(w, "note", value.note);
    field(w, "source", value.source);
    field(w, "due", value.due);
    w.EndObject();
}

void write(RWriter& w, const WireNewRule& value) {
    w.StartObject();
    field(w, "action", value.action);
    field(w, "match", value.match);
    field(w, "params", value.params);
    field(w, "reason", value.reason);
    field(w, "origin", value.origin);
    field(w, "status", value.status);
    w.EndObject();
}

void write(RWriter& w, const WireRulePatch& value) {
    w.StartObject();
    field(w, "reason", value.reason);
    field(w, "status", value.status);
    field(w, "action", value.action);
    field(w, "match", value.match);
    field(w, "params", value.params);
    w.EndObject();
}

void write(RWriter& w, const WireDelta& value) {
    w.StartObject();
    field(w, "kind", value.kindName());
    switch (value.kind) {
    case DeltaKind::add:
        field(w, "item", value.item.value_or(WireNewItem{}));
        break;
    case DeltaKind::complete:
    case DeltaKind::remove:
        field(w, "item_id", value.itemId);
        break;
    case DeltaKind::update:
        field(w, "item_id", value.itemId);
        field(w, "patch", value.patch.value_or(WireItemPatch{}));
        break;
    case DeltaKind::addRule:
        field(w, "rule", value.rule.value_or(WireNewRule{}));
        break;
    case DeltaKind::updateRule:
        field(w, "rule_id", value.ruleId);
        field(w, "patch", value.rulePatch.value_or(WireRulePatch{}));
        break;
    case DeltaKind::removeRule:
    case DeltaKind::pauseRule:
        field(w, "rule_id", value.ruleId);
        break;
    case DeltaKind::unknown:
        break;
    }
    if (value.kind != DeltaKind::unknown) // nothing of an unknown kind but its name is known
        field(w, "reason", value.reason);
    w.EndObject();
}

template <typename T>
QByteArray encodeAny(const T& value) {
    rapidjson::StringBuffer buffer;
    RWriter writer(buffer);
    write(writer, value);
    return JsonDetail::bytes(buffer);
}

} // namespace

namespace WireJson {

template <typename T>
T decode(QByteArrayView json) {
    rapidjson::Document document;
    parseOrFail(document, json);
    T out{};
    read(document, Path{}, out);
    return out;
}

template <typename T>
T decodeEnvelope(QByteArrayView json, std::optional<qint64>* version) {
    rapidjson::Document document;
    parseOrFail(document, json);
    const Path root{};
    const Obj envelope(document, root);
    // The result's own keys are named from the result down, as the user reads them.
    const auto it = document.FindMember("result");
    if (it == document.MemberEnd())
        fail(Path{nullptr, "result"}, QStringLiteral("required key is missing"));
    if (it->value.IsNull() && !std::is_same_v<T, JsonValue>)
        fail(Path{nullptr, "result"}, QStringLiteral("required key is null"));
    T out{};
    read(it->value, root, out);
    std::optional<qint64> v;
    envelope.nullable("version", v);
    if (version)
        *version = v;
    return out;
}

template <typename T>
T fromJson(const JsonValue& value) {
    return decode<T>(value.toJson());
}

#define VELMORA_WIRE_TYPE(T)                                                                       \
    template T decode<T>(QByteArrayView);                                                          \
    template T decodeEnvelope<T>(QByteArrayView, std::optional<qint64>*);                          \
    template T fromJson<T>(const JsonValue&);

VELMORA_WIRE_TYPE(WireDocument)
VELMORA_WIRE_TYPE(WireItem)
VELMORA_WIRE_TYPE(WireLink)
VELMORA_WIRE_TYPE(WireRule)
VELMORA_WIRE_TYPE(WireRuleMatch)
VELMORA_WIRE_TYPE(WireRuleParams)
VELMORA_WIRE_TYPE(WireSettings)
VELMORA_WIRE_TYPE(WireRejection)
VELMORA_WIRE_TYPE(WireSuppression)
VELMORA_WIRE_TYPE(VersionReply)
VELMORA_WIRE_TYPE(QStringList)
VELMORA_WIRE_TYPE(JsonValue)
VELMORA_WIRE_TYPE(WireDelta)
VELMORA_WIRE_TYPE(WireProposal)
VELMORA_WIRE_TYPE(WireNewItem)
#undef VELMORA_WIRE_TYPE

QByteArray encode(const WireDocument& document) {
    return encodeAny(document);
}
QByteArray encode(const WireItem& item) {
    return encodeAny(item);
}
QByteArray encode(const WireRule& rule) {
    return encodeAny(rule);
}
QByteArray encode(const WireSettings& settings) {
    return encodeAny(settings);
}
QByteArray encode(const WireRejection& rejection) {
    return encodeAny(rejection);
}
QByteArray encode(const WireSuppression& suppression) {
    return encodeAny(suppression);
}
QByteArray encode(const VersionReply& reply) {
    return encodeAny(reply);
}
QByteArray encode(const WireDelta& delta) {
    return encodeAny(delta);
}

JsonValue toJson(const WireItem& item) {
    return *JsonValue::parse(encode(item));
}
JsonValue toJson(const WireRule& rule) {
    return *JsonValue::parse(encode(rule));
}
JsonValue toJson(const WireSettings& settings) {
    return *JsonValue::parse(encode(settings));
}

} // namespace WireJson

namespace WireCompat {

std::optional<WireDocument> decodeDocument(QByteArrayView bytes) {
    rapidjson::Document document;
    if (!JsonDetail::parse(document, bytes, nullptr) || !document.IsObject())
        return std::nullopt;
    // Stored documents may predate these two keys; a present null is not healed.
    auto& alloc = document.GetAllocator();
    if (!document.HasMember("settings")) {
        RValue settings(rapidjson::kObjectType);
        settings.AddMember("hide_done", false, alloc);
        document.AddMember("settings", settings, alloc);
    }
    if (!document.HasMember("focus"))
        document.AddMember("focus", RValue(rapidjson::kArrayType), alloc);
    try {
        WireDocument out;
        read(document, Path{}, out);
        return out;
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

} // namespace WireCompat
