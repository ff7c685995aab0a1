#include "AIRecords.h"

#include "Json.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <algorithm>

namespace {
namespace smart {

[[noreturn]] void fail(const QString& path, const QString& what) {
    throw DecodingError(path + QStringLiteral(": ") + what);
}

const JsonValue* member(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1StringView(key));
    return value && !value->isNull() ? value : nullptr;
}

QString required(const JsonValue& object, const char* key, const QString& path) {
    const JsonValue* value = member(object, key);
    if (!value)
        fail(path + QLatin1String(key), QStringLiteral("required key is missing"));
    if (!value->isString())
        fail(path + QLatin1String(key), QStringLiteral("expected a string"));
    return value->toString();
}

std::optional<QString> optionalString(const JsonValue& object, const char* key,
                                      const QString& path) {
    const JsonValue* value = member(object, key);
    if (!value)
        return std::nullopt;
    if (!value->isString())
        fail(path + QLatin1String(key), QStringLiteral("expected a string"));
    return value->toString();
}

qint64 count(const JsonValue& object, const char* key) {
    const JsonValue* value = member(object, key);
    if (!value)
        return 0;
    if (!value->isInteger())
        fail(QLatin1String(key), QStringLiteral("expected an integer"));
    return value->toInteger();
}

bool flag(const JsonValue& object, const char* key, bool required) {
    const JsonValue* value = member(object, key);
    if (!value) {
        if (required)
            fail(QLatin1String(key), QStringLiteral("required key is missing"));
        return false;
    }
    if (!value->isBool())
        fail(QLatin1String(key), QStringLiteral("expected a boolean"));
    return value->toBool();
}

// Not only tabs and spaces.
bool hasWords(const QString& text) {
    return std::any_of(text.begin(), text.end(), [](QChar c) {
        return c != QLatin1Char('\t') && c.category() != QChar::Separator_Space;
    });
}

bool isWebLink(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        return false;
    const QString scheme = url.scheme().toLower();
    return scheme == u"http" || scheme == u"https";
}

QList<ItemLink> links(const JsonValue& draft) {
    const JsonValue* value = member(draft, "links");
    if (!value)
        return {};
    if (!value->isArray())
        fail(QStringLiteral("draft.links"), QStringLiteral("expected an array"));
    QList<ItemLink> kept;
    const JsonValue::Array& array = value->toArray();
    for (std::size_t i = 0; i < array.size(); ++i) {
        const QString path = QStringLiteral("draft.links[%1].").arg(i);
        if (!array[i].isObject())
            fail(path.chopped(1), QStringLiteral("expected an object"));
        const QString label = required(array[i], "label", path);
        const QString url = required(array[i], "url", path);
        // Only the first three are looked at, so a bad one is not made up for by a fourth.
        if (i >= std::size_t(FieldLimits::links))
            continue;
        if (isWebLink(url) && hasWords(label))
            kept.push_back(ItemLink{label, QUrl(url, QUrl::StrictMode)});
    }
    return kept;
}

SmartDraft draft(const JsonValue& object) {
    const QString path = QStringLiteral("draft.");
    if (!object.isObject())
        fail(QStringLiteral("draft"), QStringLiteral("expected an object"));
    SmartDraft draft;
    draft.title = required(object, "title", path);
    draft.details = optionalString(object, "details", path);
    draft.who = optionalString(object, "who", path);
    draft.due = LocalDay::date(optionalString(object, "when", path));
    // Values this client does not know fall back to the form's defaults.
    draft.section =
        Wire::parse<Section>(required(object, "section", path)).value_or(Section::action);
    draft.priority =
        Wire::parse<Priority>(required(object, "priority", path)).value_or(Priority::medium);
    draft.links = links(object);
    return draft;
}

} // namespace smart
} // namespace

namespace SmartInsert {

SmartInsertOutcome decode(const QByteArray& body) {
    using namespace smart;
    QString error;
    const auto json = JsonValue::parse(body, &error);
    if (!json)
        throw DecodingError(error);
    if (!json->isObject())
        throw DecodingError(QStringLiteral("expected an object"));

    const bool ok = flag(*json, "ok", true);
    const std::optional<QString> reason = optionalString(*json, "reason", QString());
    const bool truncated = flag(*json, "truncated", false);
    const qint64 used = count(*json, "used");
    const qint64 cap = count(*json, "cap");
    std::optional<SmartDraft> drafted;
    if (const JsonValue* value = member(*json, "draft"))
        drafted = draft(*value);

    if (!ok || !drafted) {
        const auto refusal = reason ? Wire::parse<SmartInsertRefusal>(*reason) : std::nullopt;
        return SmartInsertRefused{refusal.value_or(SmartInsertRefusal::failed), used, cap};
    }
    return SmartInsertDrafted{std::move(*drafted), truncated, used, cap};
}

} // namespace SmartInsert

namespace {
namespace usage {

// Counts beyond this are no real account's; refusing them keeps the arithmetic safe.
constexpr qint64 maxCount = 1000000000;

const JsonValue* member(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1StringView(key));
    return value && !value->isNull() ? value : nullptr;
}

std::optional<qint64> count(const JsonValue& object, const char* key, bool required) {
    const JsonValue* value = member(object, key);
    if (!value) {
        if (required)
            throw DecodingError(QLatin1String(key) + QStringLiteral(": required key is missing"));
        return std::nullopt;
    }
    if (!value->isInteger() || value->toInteger() < 0 || value->toInteger() > maxCount)
        throw DecodingError(QLatin1String(key) + QStringLiteral(": expected a count"));
    return value->toInteger();
}

std::optional<QString> text(const JsonValue& object, const char* key) {
    const JsonValue* value = member(object, key);
    if (!value)
        return std::nullopt;
    if (!value->isString())
        throw DecodingError(QLatin1String(key) + QStringLiteral(": expected a string"));
    return value->toString();
}

} // namespace usage
} // namespace

bool Usage::tasksFull() const {
    return taskCap && openTasks >= *taskCap;
}

bool Usage::tasksNearCap() const {
    if (!taskCap)
        return false;
    const qint64 margin = *taskCap > 29 ? *taskCap / 10 : 3;
    return openTasks >= *taskCap - margin && openTasks < *taskCap;
}

bool Usage::mcpExhausted() const {
    return mcpUsedToday >= mcpCap;
}

Usage Usage::decode(const QByteArray& body) {
    using namespace usage;
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        throw DecodingError(QStringLiteral("usage: expected an object"));
    Usage usage;
    usage.openTasks = *count(*json, "open_tasks", true);
    usage.taskCap = count(*json, "task_cap", false);
    usage.mcpUsedToday = *count(*json, "mcp_used_today", true);
    usage.mcpCap = *count(*json, "mcp_cap", true);
    usage.email = text(*json, "email");
    usage.name = text(*json, "name");
    return usage;
}

namespace {
namespace credits {

// A reply lists no more than this; the server sends far fewer.
constexpr std::size_t maxRows = 1000;
constexpr qint64 maxCount = 1000000000;

[[noreturn]] void fail(const QString& path, const QString& what) {
    throw DecodingError(path + QStringLiteral(": ") + what);
}

// Reads one object's members with the path to it, for the failure's text.
struct Reader {
    const JsonValue& object;
    QString path;

    const JsonValue* member(const char* key) const {
        const JsonValue* value = object.find(QLatin1StringView(key));
        return value && !value->isNull() ? value : nullptr;
    }
    QString at(const char* key) const { return path + QLatin1String(key); }

    std::optional<QString> optionalText(const char* key) const {
        const JsonValue* value = member(key);
        if (!value)
            return std::nullopt;
        if (!value->isString())
            fail(at(key), QStringLiteral("expected a string"));
        return value->toString();
    }
    QString text(const char* key) const {
        auto value = optionalText(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        return *value;
    }
    qint64 count(const char* key) const {
        const JsonValue* value = member(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        if (!value->isInteger() || value->toInteger() < -maxCount || value->toInteger() > maxCount)
            fail(at(key), QStringLiteral("expected a whole number"));
        return value->toInteger();
    }
    std::optional<QDateTime> optionalDate(const char* key) const {
        const auto value = optionalText(key);
        if (!value)
            return std::nullopt;
        auto date = ServerDate::parse(*value);
        if (!date)
            fail(at(key), QStringLiteral("bad date: ") + *value);
        return date;
    }
    QDateTime date(const char* key) const {
        auto value = optionalDate(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        return *value;
    }
    template <typename Row>
    QList<Row> rows(const char* key, Row (*read)(const Reader&)) const {
        const JsonValue* value = member(key);
        if (!value)
            fail(at(key), QStringLiteral("required key is missing"));
        if (!value->isArray())
            fail(at(key), QStringLiteral("expected an array"));
        QList<Row> out;
        const auto& array = value->toArray();
        for (std::size_t i = 0; i < array.size() && i < maxRows; ++i) {
            const QString rowPath = at(key) + QStringLiteral("[%1]").arg(i);
            if (!array[i].isObject())
                fail(rowPath, QStringLiteral("expected an object"));
            out.push_back(read(Reader{array[i], rowPath + QLatin1Char('.')}));
        }
        return out;
    }
};

CreditLot readLot(const Reader& r) {
    return CreditLot{r.text("id"),
                     r.text("kind"),
                     r.count("amount"),
                     r.count("used"),
                     r.count("remaining"),
                     r.count("lost"),
                     r.optionalText("period"),
                     r.optionalDate("expires_at"),
                     r.date("created_at"),
                     r.text("status")};
}

CreditRun readRun(const Reader& r) {
    return CreditRun{r.text("id"),     r.text("capability"), r.text("trigger_kind"),
                     r.text("status"), r.date("started_at"), r.optionalDate("finished_at")};
}

} // namespace credits
} // namespace

CreditsSnapshot CreditsSnapshot::decode(const QByteArray& body) {
    using namespace credits;
    const auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        fail(QStringLiteral("credits"), QStringLiteral("expected an object"));
    const Reader top{*json, {}};
    const JsonValue* credits = top.member("credits");
    if (!credits || !credits->isObject())
        fail(QStringLiteral("credits"), QStringLiteral("expected an object"));
    const Reader balance{*credits, QStringLiteral("credits.")};
    CreditsSnapshot snapshot;
    snapshot.credits = Credits{balance.count("included"), balance.optionalDate("includedExpiresAt"),
                               balance.count("extra"), balance.count("creditsPerMonth")};
    snapshot.lots = top.rows<CreditLot>("lots", readLot);
    snapshot.runs = top.rows<CreditRun>("runs", readRun);
    return snapshot;
}

namespace ServerDate {

std::optional<QDateTime> parse(const QString& text) {
    if (auto instant = WireDate::instant(text))
        return instant;
    // Read as parts, so a local clock change can never make the time invalid.
    if (text.size() != 19 || text[10] != u' ')
        return std::nullopt;
    const QDate day = QDate::fromString(text.left(10), QStringLiteral("yyyy-MM-dd"));
    const QTime time = QTime::fromString(text.mid(11), QStringLiteral("HH:mm:ss"));
    if (!day.isValid() || !time.isValid())
        return std::nullopt;
    return QDateTime(day, time, Qt::UTC);
}

} // namespace ServerDate

namespace {
namespace findings {

constexpr std::size_t maxRows = 5000;

QString text(const JsonValue& row, const char* key, const QString& path) {
    const JsonValue* value = row.find(QLatin1StringView(key));
    if (!value || !value->isString())
        throw DecodingError(path + QLatin1String(key) + QStringLiteral(": expected a string"));
    return value->toString();
}

} // namespace findings
} // namespace

QList<HandledFinding> HandledFinding::decodeList(const QByteArray& body) {
    using namespace findings;
    const auto json = JsonValue::parse(body);
    const JsonValue* rows = json ? json->find(u"dismissals") : nullptr;
    if (!rows || !rows->isArray())
        throw DecodingError(QStringLiteral("dismissals: expected an array"));
    QList<HandledFinding> out;
    const auto& array = rows->toArray();
    for (std::size_t i = 0; i < array.size() && i < maxRows; ++i) {
        const QString path = QStringLiteral("dismissals[%1].").arg(i);
        const JsonValue* approximate = array[i].find(u"approximate");
        if (!approximate || !approximate->isBool())
            throw DecodingError(path + QStringLiteral("approximate: expected a boolean"));
        out.push_back(HandledFinding{text(array[i], "target", path),
                                     text(array[i], "finding", path), text(array[i], "label", path),
                                     approximate->toBool(), text(array[i], "created_at", path)});
    }
    return out;
}
