#include "Briefing.h"

#include "Json.h"
#include "WireFormats.h"
#include "WireJson.h"

namespace BriefingKinds {

QString text(BriefingKind kind) {
    switch (kind) {
    case BriefingKind::critical:
        return QStringLiteral("critical");
    case BriefingKind::chase:
        return QStringLiteral("chase");
    case BriefingKind::drop:
        return QStringLiteral("drop");
    case BriefingKind::observation:
        break;
    }
    return QStringLiteral("observation");
}

std::optional<BriefingKind> parse(QStringView text) {
    for (BriefingKind kind : {BriefingKind::critical, BriefingKind::chase, BriefingKind::drop,
                              BriefingKind::observation})
        if (BriefingKinds::text(kind) == text)
            return kind;
    return std::nullopt;
}

} // namespace BriefingKinds

bool BriefingBody::isEmpty() const {
    return critical.isEmpty() && chase.isEmpty() && drop.isEmpty() && observations.isEmpty();
}

const QList<BriefingFinding>& BriefingBody::findings(BriefingKind kind) const {
    switch (kind) {
    case BriefingKind::critical:
        return critical;
    case BriefingKind::chase:
        return chase;
    case BriefingKind::drop:
    case BriefingKind::observation:
        break;
    }
    return drop;
}

BriefingRefused::BriefingRefused(QString reason, QString message)
    : m_reason(std::move(reason))
    , m_message(std::move(message))
    , m_what(m_message.toUtf8()) {}

namespace {

[[noreturn]] void bad(const QString& path, const char* what) {
    throw DecodingError(path + QStringLiteral(": ") + QLatin1String(what));
}

// A key that must be there; a nullable one gives null when absent or null.
const JsonValue& required(const JsonValue& object, const char* key, const QString& path) {
    const JsonValue* value = object.find(QLatin1StringView(key));
    if (!value)
        bad(path + QLatin1String(key), "missing");
    return *value;
}
const JsonValue* nullable(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1StringView(key));
    return value && !value->isNull() ? value : nullptr;
}

QString string(const JsonValue& value, const QString& path) {
    if (!value.isString())
        bad(path, "expected a string");
    return value.toString();
}
std::optional<QString> optionalString(const JsonValue& object, const char* key,
                                      const QString& path) {
    const JsonValue* value = nullable(object, key);
    if (!value)
        return std::nullopt;
    return string(*value, path + QLatin1String(key));
}
std::optional<bool> optionalBool(const JsonValue& object, const char* key, const QString& path) {
    const JsonValue* value = nullable(object, key);
    if (!value)
        return std::nullopt;
    if (!value->isBool())
        bad(path + QLatin1String(key), "expected a boolean");
    return value->toBool();
}
const JsonValue::Array& array(const JsonValue& value, const QString& path, qsizetype max) {
    if (!value.isArray())
        bad(path, "expected an array");
    if (qsizetype(value.toArray().size()) > max)
        bad(path, "too many entries");
    return value.toArray();
}
void object(const JsonValue& value, const QString& path) {
    if (!value.isObject())
        bad(path, "expected an object");
}

QList<BriefingFinding> findings(const JsonValue& body, const char* key, const QString& at) {
    const QString path = at + QLatin1String(key);
    QList<BriefingFinding> out;
    const auto& list = array(required(body, key, at), path, BriefingDecoder::maxFindings);
    for (std::size_t i = 0; i < list.size(); ++i) {
        const QString row = path + QStringLiteral("[%1].").arg(i);
        object(list[i], row.chopped(1));
        out.push_back(BriefingFinding{
            string(required(list[i], "item_id", row), row + QLatin1String("item_id")),
            string(required(list[i], "why", row), row + QLatin1String("why")),
            optionalString(list[i], "disposition", row)});
    }
    return out;
}

BriefingBody body(const JsonValue& value, const QString& at) {
    object(value, at.chopped(1));
    BriefingBody out;
    out.headline = string(required(value, "headline", at), at + QLatin1String("headline"));
    out.critical = findings(value, "critical", at);
    out.chase = findings(value, "chase", at);
    out.drop = findings(value, "drop", at);
    const QString path = at + QStringLiteral("observations");
    const auto& list =
        array(required(value, "observations", at), path, BriefingDecoder::maxFindings);
    for (std::size_t i = 0; i < list.size(); ++i) {
        const QString row = path + QStringLiteral("[%1].").arg(i);
        object(list[i], row.chopped(1));
        BriefingObservation observation{
            string(required(list[i], "slug", row), row + QLatin1String("slug")),
            string(required(list[i], "text", row), row + QLatin1String("text")),
            optionalString(list[i], "disposition", row),
            {}};
        const auto& ids = array(required(list[i], "item_ids", row), row + QLatin1String("item_ids"),
                                BriefingDecoder::maxItemIds);
        for (std::size_t j = 0; j < ids.size(); ++j)
            observation.itemIds << string(ids[j], row + QStringLiteral("item_ids[%1]").arg(j));
        out.observations.push_back(std::move(observation));
    }
    return out;
}

Briefing briefing(const JsonValue& value, const QString& at) {
    object(value, at.chopped(1));
    Briefing out;
    out.id = string(required(value, "id", at), at + QLatin1String("id"));
    out.createdAt = BriefingDecoder::date(
        string(required(value, "created_at", at), at + QLatin1String("created_at")));
    out.localDay = string(required(value, "local_day", at), at + QLatin1String("local_day"));
    if (const JsonValue* sent = nullable(value, "items_sent")) {
        if (!sent->isInteger() || sent->toInteger() < 0)
            bad(at + QLatin1String("items_sent"), "expected a count");
        out.itemsSent = sent->toInteger();
    }
    if (const JsonValue* content = nullable(value, "body"))
        out.body = body(*content, at + QStringLiteral("body."));
    return out;
}

JsonValue parsed(QByteArrayView json) {
    QString error;
    auto value = JsonValue::parse(json, &error);
    if (!value)
        throw DecodingError(error);
    object(*value, QStringLiteral("reply"));
    return std::move(*value);
}

} // namespace

namespace BriefingDecoder {

QDateTime date(const QString& text) {
    if (const auto instant = WireDate::instant(text))
        return *instant;
    // The database's own form, always UTC.
    if (text.size() == 19 && text[10] == u' ') {
        const QDate day = QDate::fromString(text.left(10), QStringLiteral("yyyy-MM-dd"));
        const QTime time = QTime::fromString(text.mid(11), QStringLiteral("HH:mm:ss"));
        if (day.isValid() && time.isValid())
            return QDateTime(day, time, Qt::UTC);
    }
    throw DecodingError(QStringLiteral("bad date: ") + text);
}

BriefingReply reply(QByteArrayView json) {
    const JsonValue value = parsed(json);
    const QString at;
    BriefingReply out;
    if (const JsonValue* found = nullable(value, "briefing"))
        out.briefing = briefing(*found, QStringLiteral("briefing."));
    out.ok = optionalBool(value, "ok", at);
    out.queued = optionalBool(value, "queued", at);
    out.reason = optionalString(value, "reason", at);
    out.message = optionalString(value, "message", at);
    out.unread = optionalBool(value, "unread", at);
    out.helpHint = optionalBool(value, "help_hint", at);
    return out;
}

QList<Briefing> history(QByteArrayView json) {
    const JsonValue value = parsed(json);
    const auto& list =
        array(required(value, "briefings", {}), QStringLiteral("briefings"), maxBriefings);
    QList<Briefing> out;
    for (std::size_t i = 0; i < list.size(); ++i)
        out.push_back(briefing(list[i], QStringLiteral("briefings[%1].").arg(i)));
    return out;
}

} // namespace BriefingDecoder
