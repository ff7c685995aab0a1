#include "Proposal.h"

#include "APIError.h"
#include "WireFormats.h"
#include "WireJson.h"

namespace {

// A strict reader of one object, named by its path for the error text. Required keys
// must be present and not null; nullable ones may be either; other keys are ignored.
class Reader {
public:
    Reader(const JsonValue& value, QString path)
        : m_value(value)
        , m_path(std::move(path)) {
        if (!value.isObject())
            fail(m_path, QStringLiteral("expected an object"));
    }

    template <typename T>
    void required(const char* key, T& out) const {
        const QString path = child(key);
        const JsonValue* v = m_value.find(key);
        if (!v)
            fail(path, QStringLiteral("required key is missing"));
        if (v->isNull())
            fail(path, QStringLiteral("required key is null"));
        read(*v, path, out);
    }

    template <typename T>
    void nullable(const char* key, std::optional<T>& out) const {
        const JsonValue* v = m_value.find(key);
        if (!v || v->isNull()) {
            out.reset();
            return;
        }
        T value{};
        read(*v, child(key), value);
        out = std::move(value);
    }

    [[noreturn]] static void fail(const QString& path, const QString& what) {
        throw DecodingError(path.isEmpty() ? what : path + QStringLiteral(": ") + what);
    }

private:
    QString child(const char* key) const {
        const QString name = QString::fromLatin1(key);
        return m_path.isEmpty() ? name : m_path + QLatin1Char('.') + name;
    }

    static void read(const JsonValue& v, const QString& path, QString& out) {
        if (!v.isString())
            fail(path, QStringLiteral("expected a string"));
        out = v.toString();
    }
    static void read(const JsonValue& v, const QString& path, bool& out) {
        if (!v.isBool())
            fail(path, QStringLiteral("expected a boolean"));
        out = v.toBool();
    }
    static void read(const JsonValue& v, const QString& path, qint64& out) {
        if (!v.isInteger())
            fail(path, QStringLiteral("expected an integer"));
        out = v.toInteger();
    }
    template <typename E>
    requires requires { EnumWire<E>::names; }
    static void read(const JsonValue& v, const QString& path, E& out) {
        if (!v.isString())
            fail(path, QStringLiteral("expected a string"));
        const auto parsed = Wire::parse<E>(v.toString());
        if (!parsed)
            fail(path, QStringLiteral("unknown value \"%1\"").arg(v.toString()));
        out = *parsed;
    }
    static void read(const JsonValue& v, const QString& path, QStringList& out) {
        if (!v.isArray())
            fail(path, QStringLiteral("expected an array"));
        out.clear();
        int i = 0;
        for (const auto& element : v.toArray()) {
            QString text;
            read(element, path + QStringLiteral("[%1]").arg(i++), text);
            out.append(text);
        }
    }
    static void read(const JsonValue& v, const QString& path, QList<WireLink>& out) {
        if (!v.isArray())
            fail(path, QStringLiteral("expected an array"));
        out.clear();
        int i = 0;
        for (const auto& element : v.toArray()) {
            const Reader r(element, path + QStringLiteral("[%1]").arg(i++));
            WireLink link;
            r.required("label", link.label);
            r.required("url", link.url);
            out.append(link);
        }
    }
    // The model's own readers, with the path put in front of their message.
    template <typename T>
    static T nested(const JsonValue& v, const QString& path) {
        try {
            return WireJson::fromJson<T>(v);
        } catch (const DecodingError& error) {
            const QString& m = error.message();
            const bool inner = !m.startsWith(QLatin1String("expected"));
            throw DecodingError(path + (inner ? QStringLiteral(".") : QStringLiteral(": ")) + m);
        }
    }
    static void read(const JsonValue& v, const QString& path, WireRuleMatch& out) {
        out = nested<WireRuleMatch>(v, path);
    }
    static void read(const JsonValue& v, const QString& path, WireRuleParams& out) {
        out = nested<WireRuleParams>(v, path);
    }
    static void read(const JsonValue& v, const QString& path, WireRuleOrigin& out) {
        const Reader r(v, path);
        r.required("from", out.from);
        r.required("rejection_ids", out.rejectionIds);
        r.required("count", out.count);
    }
    static void read(const JsonValue& v, const QString& path, WireNewItem& out) {
        const Reader r(v, path);
        r.required("title", out.title);
        r.nullable("note", out.note);
        r.required("section", out.section);
        r.required("channel", out.channel);
        r.nullable("source", out.source);
        r.nullable("source_id", out.sourceId);
        r.nullable("due", out.due);
        r.required("priority", out.priority);
        r.nullable("flagged", out.flagged);
        r.required("links", out.links);
        r.nullable("initiated", out.initiated);
        r.nullable("status", out.status);
    }
    static void read(const JsonValue& v, const QString& path, WireItemPatch& out) {
        const Reader r(v, path);
        r.nullable("title", out.title);
        r.nullable("section", out.section);
        r.nullable("channel", out.channel);
        r.nullable("priority", out.priority);
        r.nullable("flagged", out.flagged);
        r.nullable("links", out.links);
        r.nullable("note", out.note);
        r.nullable("source", out.source);
        r.nullable("due", out.due);
    }
    static void read(const JsonValue& v, const QString& path, WireNewRule& out) {
        const Reader r(v, path);
        r.required("action", out.action);
        r.required("match", out.match);
        r.required("params", out.params);
        r.required("reason", out.reason);
        r.required("origin", out.origin);
        r.nullable("status", out.status);
    }
    static void read(const JsonValue& v, const QString& path, WireRulePatch& out) {
        const Reader r(v, path);
        r.nullable("reason", out.reason);
        r.nullable("status", out.status);
        r.nullable("action", out.action);
        r.nullable("match", out.match);
        r.nullable("params", out.params);
    }
    static void read(const JsonValue& v, const QString& path, QList<WireDelta>& out) {
        if (!v.isArray())
            fail(path, QStringLiteral("expected an array"));
        out.clear();
        int i = 0;
        for (const auto& element : v.toArray()) {
            const QString where = path + QStringLiteral("[%1]").arg(i++);
            try {
                out.append(ProposalFormat::decodeDelta(element));
            } catch (const DecodingError& error) {
                throw DecodingError(where + QStringLiteral(": ") + error.message());
            }
        }
    }

    const JsonValue& m_value;
    QString m_path;
};

// The wire form of the model's sub-records, borrowed from its writer of whole records.
JsonValue member(const JsonValue& record, const char* key) {
    const JsonValue* v = record.find(key);
    return v ? *v : JsonValue();
}

JsonValue linksJson(const QList<WireLink>& links) {
    WireItem carrier;
    carrier.links = links;
    return member(WireJson::toJson(carrier), "links");
}

JsonValue matchJson(const WireRuleMatch& match) {
    WireRule carrier;
    carrier.match = match;
    return member(WireJson::toJson(carrier), "match");
}

JsonValue paramsJson(const WireRuleParams& params) {
    WireRule carrier;
    carrier.params = params;
    return member(WireJson::toJson(carrier), "params");
}

JsonValue originJson(const WireRuleOrigin& origin) {
    WireRule carrier;
    carrier.origin = origin;
    return member(WireJson::toJson(carrier), "origin");
}

template <typename T>
void put(JsonValue& object, const char* key, const std::optional<T>& value) {
    if (value)
        object.set(QString::fromLatin1(key), JsonValue(*value));
}

template <typename E>
void putEnum(JsonValue& object, const char* key, const std::optional<E>& value) {
    if (value)
        object.set(QString::fromLatin1(key), Wire::string(*value));
}

JsonValue toJson(const WireNewItem& item) {
    JsonValue o;
    o.set(QStringLiteral("title"), item.title);
    put(o, "note", item.note);
    o.set(QStringLiteral("section"), Wire::string(item.section));
    o.set(QStringLiteral("channel"), Wire::string(item.channel));
    put(o, "source", item.source);
    put(o, "source_id", item.sourceId);
    put(o, "due", item.due);
    o.set(QStringLiteral("priority"), Wire::string(item.priority));
    put(o, "flagged", item.flagged);
    o.set(QStringLiteral("links"), linksJson(item.links));
    putEnum(o, "initiated", item.initiated);
    putEnum(o, "status", item.status);
    return o;
}

JsonValue toJson(const WireItemPatch& patch) {
    JsonValue o = JsonValue::Object{};
    put(o, "title", patch.title);
    putEnum(o, "section", patch.section);
    putEnum(o, "channel", patch.channel);
    putEnum(o, "priority", patch.priority);
    put(o, "flagged", patch.flagged);
    if (patch.links)
        o.set(QStringLiteral("links"), linksJson(*patch.links));
    put(o, "note", patch.note);
    put(o, "source", patch.source);
    put(o, "due", patch.due);
    return o;
}

JsonValue toJson(const WireNewRule& rule) {
    JsonValue o;
    o.set(QStringLiteral("action"), Wire::string(rule.action));
    o.set(QStringLiteral("match"), matchJson(rule.match));
    o.set(QStringLiteral("params"), paramsJson(rule.params));
    o.set(QStringLiteral("reason"), rule.reason);
    o.set(QStringLiteral("origin"), originJson(rule.origin));
    putEnum(o, "status", rule.status);
    return o;
}

JsonValue toJson(const WireRulePatch& patch) {
    JsonValue o = JsonValue::Object{};
    put(o, "reason", patch.reason);
    putEnum(o, "status", patch.status);
    putEnum(o, "action", patch.action);
    if (patch.match)
        o.set(QStringLiteral("match"), matchJson(*patch.match));
    if (patch.params)
        o.set(QStringLiteral("params"), paramsJson(*patch.params));
    return o;
}

const QString yourAgent = QStringLiteral("Your AI agent");
const QString yourAgentLower = QStringLiteral("your AI agent");

} // namespace

QString WireDelta::kindName() const {
    return kind == DeltaKind::unknown ? unknownKind : Wire::string(kind);
}

bool WireDelta::isTaskDelta() const {
    return kind == DeltaKind::complete || kind == DeltaKind::remove || kind == DeltaKind::update;
}

bool WireDelta::isRuleDelta() const {
    return kind == DeltaKind::updateRule || kind == DeltaKind::removeRule ||
           kind == DeltaKind::pauseRule;
}

QString ProposalDelta::makeId(const WireDelta& wire, int position) {
    return wire.kindName() + QLatin1Char(':') + QString::number(position);
}

std::optional<int> ProposalDelta::index() const {
    const QStringList pieces = id.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    if (pieces.isEmpty())
        return std::nullopt;
    bool ok = false;
    const int value = pieces.last().toInt(&ok, 10);
    return ok ? std::optional<int>(value) : std::nullopt;
}

QString Proposal::agentName() const {
    return agent.value_or(yourAgent);
}

QString Proposal::agentNameLowercased() const {
    return agent.value_or(yourAgentLower);
}

namespace ProposalFormat {

WireDelta decodeDelta(const JsonValue& value) {
    const Reader r(value, QString());
    WireDelta out;
    QString kind;
    r.required("kind", kind);
    const auto named = Wire::parse<DeltaKind>(kind);
    if (!named) {
        // A kind from a newer server: nothing else of it is read.
        out.kind = DeltaKind::unknown;
        out.unknownKind = kind;
        return out;
    }
    out.kind = *named;
    switch (out.kind) {
    case DeltaKind::add:
        out.item.emplace();
        r.required("item", *out.item);
        break;
    case DeltaKind::complete:
    case DeltaKind::remove:
        r.required("item_id", out.itemId);
        break;
    case DeltaKind::update:
        r.required("item_id", out.itemId);
        out.patch.emplace();
        r.required("patch", *out.patch);
        break;
    case DeltaKind::addRule:
        out.rule.emplace();
        r.required("rule", *out.rule);
        break;
    case DeltaKind::updateRule:
        r.required("rule_id", out.ruleId);
        out.rulePatch.emplace();
        r.required("patch", *out.rulePatch);
        break;
    case DeltaKind::removeRule:
    case DeltaKind::pauseRule:
        r.required("rule_id", out.ruleId);
        break;
    case DeltaKind::unknown:
        break;
    }
    r.nullable("reason", out.reason);
    return out;
}

WireProposal decodeProposal(const JsonValue& value) {
    const Reader r(value, QString());
    WireProposal out;
    r.required("schema_version", out.schemaVersion);
    r.required("created_at", out.createdAt);
    r.nullable("agent", out.agent);
    r.nullable("summary", out.summary);
    r.required("deltas", out.deltas);
    return out;
}

JsonValue toJson(const WireDelta& delta) {
    JsonValue o;
    o.set(QStringLiteral("kind"), delta.kindName());
    switch (delta.kind) {
    case DeltaKind::add:
        o.set(QStringLiteral("item"), ::toJson(delta.item.value_or(WireNewItem{})));
        break;
    case DeltaKind::complete:
    case DeltaKind::remove:
        o.set(QStringLiteral("item_id"), delta.itemId);
        break;
    case DeltaKind::update:
        o.set(QStringLiteral("item_id"), delta.itemId);
        o.set(QStringLiteral("patch"), ::toJson(delta.patch.value_or(WireItemPatch{})));
        break;
    case DeltaKind::addRule:
        o.set(QStringLiteral("rule"), ::toJson(delta.rule.value_or(WireNewRule{})));
        break;
    case DeltaKind::updateRule:
        o.set(QStringLiteral("rule_id"), delta.ruleId);
        o.set(QStringLiteral("patch"), ::toJson(delta.rulePatch.value_or(WireRulePatch{})));
        break;
    case DeltaKind::removeRule:
    case DeltaKind::pauseRule:
        o.set(QStringLiteral("rule_id"), delta.ruleId);
        break;
    case DeltaKind::unknown:
        return o;
    }
    put(o, "reason", delta.reason);
    return o;
}

std::optional<Proposal> readReply(QByteArrayView body) {
    const std::optional<JsonValue> reply = JsonValue::parse(body);
    const JsonValue* result = reply && reply->isObject() ? reply->find("result") : nullptr;
    if (!result)
        throw APIError::decoding(QStringLiteral("loadProposal reply was not an object"));
    if (result->isNull())
        return std::nullopt;
    const JsonValue* deltas = result->isObject() ? result->find("deltas") : nullptr;
    if (!deltas || !deltas->isArray())
        throw APIError::decoding(QStringLiteral("proposal had no deltas array"));

    Proposal proposal;
    int position = 0;
    for (const JsonValue& element : deltas->toArray()) {
        ProposalDelta delta;
        delta.raw = element.toJson();
        try {
            delta.wire = decodeDelta(element);
        } catch (const DecodingError& error) {
            throw APIError::decoding(
                QStringLiteral("delta %1: %2").arg(position).arg(error.message()));
        }
        delta.id = ProposalDelta::makeId(delta.wire, position);
        proposal.deltas.append(std::move(delta));
        ++position;
    }

    const auto text = [&](const char* key) -> std::optional<QString> {
        const JsonValue* v = result->find(key);
        return v && v->isString() ? std::optional<QString>(v->toString()) : std::nullopt;
    };
    proposal.createdAtRaw = text("created_at");
    if (proposal.createdAtRaw)
        proposal.createdAt = WireDate::instant(*proposal.createdAtRaw);
    proposal.agent = text("agent");
    proposal.summary = text("summary");
    return proposal;
}

} // namespace ProposalFormat
