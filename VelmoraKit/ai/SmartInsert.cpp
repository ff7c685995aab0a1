#include "SmartInsert.h"

#include "APIError.h"
#include "Characters.h"
#include "ClipboardCapture.h"
#include "Json.h"
#include "WireFormats.h"

namespace {

[[noreturn]] void fail(const QString& path, const QString& what) {
    throw APIError::decoding(path + QStringLiteral(": ") + what);
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
        if (isWebLink(url) && !ClipboardCapture::trimBlanks(label).isEmpty())
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

} // namespace

namespace SmartInsert {

SmartInsertOutcome decode(const QByteArray& body) {
    QString error;
    const auto json = JsonValue::parse(body, &error);
    if (!json)
        throw APIError::decoding(error);
    if (!json->isObject())
        throw APIError::decoding(QStringLiteral("expected an object"));

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

namespace SmartAdd {

QString emptyNotice() {
    return QStringLiteral("Copy some text first \u2014 Smart Add turns it into a task for you.");
}

QString longPasteNotice() {
    return QStringLiteral("Long paste \u2014 only the first 1000 characters were read.");
}

QString noAllowanceNotice(qint64 cap) {
    return QStringLiteral("All %1 Smart Adds used this month \u2014 pasted as it came. Resets on "
                          "the 1st.")
        .arg(cap);
}

QString notRunNotice() {
    return QStringLiteral("Smart Add could not run just now, so this was pasted as it came.");
}

QString unreachableNotice() {
    return QStringLiteral("Smart Add could not be reached, so this was pasted as it came.");
}

QCoro::Task<Result> run(std::optional<QString> clipboard, Call call) {
    const QString text = clipboard ? clipboard->trimmed() : QString();
    if (text.isEmpty())
        co_return Result{SmartDraft{}, emptyNotice()};

    const QString sent = Characters::left(text, SmartInsert::maxInputChars);
    const bool overLimit = sent.size() < text.size();

    // The whole paste, not only what is sent: a long one keeps its note when the server
    // cannot help.
    SmartDraft fallback;
    if (const auto local = ClipboardCapture::draft(text)) {
        fallback.title = local->title;
        fallback.details = local->note;
    }

    std::optional<SmartInsertOutcome> outcome;
    try {
        auto task = call(sent);
        outcome = co_await std::move(task);
    } catch (...) {
        co_return Result{fallback, unreachableNotice()};
    }

    if (const auto* drafted = std::get_if<SmartInsertDrafted>(&*outcome)) {
        Result result{drafted->draft, std::nullopt};
        if (overLimit || drafted->truncated)
            result.notice = longPasteNotice();
        co_return result;
    }
    const auto& refused = std::get<SmartInsertRefused>(*outcome);
    co_return Result{fallback, refused.refusal == SmartInsertRefusal::noAllowance
                                   ? noAllowanceNotice(refused.cap)
                                   : notRunNotice()};
}

} // namespace SmartAdd
